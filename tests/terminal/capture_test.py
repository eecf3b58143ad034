#!/usr/bin/env python3
"""`vantry capture`: that nothing is lost or changed, that its file is whole, and that the dissector reads it."""
import os
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import unittest

from terminal_support import SOURCE, VANTRY, HubTestCase

DISSECTOR = SOURCE + "/wireshark/vantry.lua"
EXAMPLE = SOURCE + "/wireshark/example.pcapng"
MAGIC = bytes.fromhex("B3EC099A229248FA83D006840BC99102")


def frame(text):
    return MAGIC + struct.pack("<I", len(text)) + text


def packets(path):
    """The packets of a pcapng file: interface, direction, the bytes, and the length on the line."""
    with open(path, "rb") as file:
        data = file.read()
    found, at = [], 0
    while at < len(data):
        kind, length = struct.unpack_from("<II", data, at)
        body = data[at + 8:at + length - 4]
        assert struct.unpack_from("<I", data, at + length - 4)[0] == length, "a block isn't whole"
        if kind == 6:
            interface, _, _, kept, whole = struct.unpack_from("<IIIII", body)
            flags = struct.unpack_from("<I", body, 20 + (kept + 3) // 4 * 4 + 4)[0]
            found.append((interface, flags, body[20:20 + kept], whole))
        at += length
    return found


def dissected(path, *fields, port=None):
    command = ["tshark", "-X", "lua_script:" + DISSECTOR, "-r", path, "-T", "fields", "-E", "separator=|"]
    for name in fields:
        command += ["-e", name]
    run = subprocess.run(command, capture_output=True, text=True, check=True,
                         env=dict(os.environ, XDG_CONFIG_HOME="/nonexistent", HOME="/nonexistent"))
    assert "Lua" not in run.stderr, run.stderr
    return [line.split("|") for line in run.stdout.splitlines()]


class Capture(HubTestCase):
    def start(self, *arguments):
        self.path = self.hub.folder.name + "/talk.pcapng"
        self.tapped = self.hub.folder.name + "/tapped"
        capture = subprocess.Popen([VANTRY, "--device", self.hub.device, "capture", self.path, "--listen",
                                    self.tapped, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   text=True)
        self.addCleanup(capture.wait)
        self.addCleanup(capture.kill)
        self.addCleanup(capture.stdout.close)
        self.addCleanup(capture.stderr.close)
        capture.stderr.readline()
        return capture

    def connect(self):
        client = socket.socket(socket.AF_UNIX)
        self.addCleanup(client.close)
        client.connect(self.tapped)
        return client

    def test_programs_work_through_it_and_every_frame_is_kept(self):
        capture = self.start()
        for command in (["get", "UsbPrnTxTimeout"], ["set", "UsbPrnTxTimeout", "1234"]):
            run = subprocess.run([VANTRY, "--device", self.tapped, *command], capture_output=True, text=True)
            self.assertEqual((run.returncode, run.stderr), (0, ""))
        capture.send_signal(signal.SIGINT)
        self.assertEqual(capture.wait(), 0)
        self.assertIn("frames", capture.stdout.read())
        self.assertFalse(os.path.exists(self.tapped))
        found = packets(self.path)
        self.assertEqual({direction for _, direction, _, _ in found}, {1, 2})
        written = [data for _, direction, data, _ in found if direction == 1 and b"PropertySetRequests" in data]
        self.assertEqual(len(written), 1)
        self.assertIn(b"1234", written[0])
        for _, _, data, length in found:
            self.assertEqual((data[:20], length), (frame(data[20:])[:20], len(data)))
        if shutil.which("tshark"):
            names = {section for row in dissected(self.path, "vantry.section") for section in row[0].split(",")}
            self.assertLessEqual({"GetAllProperties", "PropertySetRequests", "PropertyGetResponses"}, names)

    def test_what_is_no_frame_is_kept_too(self):
        capture = self.start()
        client = self.connect()
        long = frame(b"[" * (4 << 20))
        client.sendall(b"sixteen bytes...")
        client.sendall(frame(b'{"GetAllProperties":true}')[:30])
        client.sendall(frame(b'{"GetAllProperties":true}')[30:])
        self.assertTrue(client.recv(10))
        client.sendall(long)
        client.sendall(MAGIC)
        client.shutdown(socket.SHUT_WR)
        while client.recv(1 << 20):
            pass
        self.eventually(lambda: any(data == MAGIC for _, _, data, _ in packets(self.path)))
        capture.kill()
        inward = [(data, length) for _, direction, data, length in packets(self.path) if direction == 1]
        self.assertEqual(inward[0], (b"sixteen bytes...", 16))
        self.assertEqual(inward[1][0], frame(b'{"GetAllProperties":true}'))
        self.assertEqual(inward[2], (long[:262144], len(long)))
        self.assertEqual(inward[3], (MAGIC, 16))

    def test_a_program_that_does_not_read_costs_no_memory(self):
        capture = self.start()
        clients = [self.connect() for _ in range(4)]
        request = frame(b'{"GetAllProperties":true}') * 1000
        for client in clients:
            client.setblocking(False)
        for _ in range(50):
            for client in clients:
                try:
                    client.send(request)
                except OSError:
                    pass
        with open("/proc/%d/status" % capture.pid) as file:
            peak = int(next(line for line in file if line.startswith("VmHWM")).split()[1])
        self.assertLess(peak, 256 << 10)
        run = subprocess.run([VANTRY, "--device", self.tapped, "get", "UsbPrnTxTimeout"], capture_output=True)
        self.assertEqual(run.returncode, 0)

    def test_it_replaces_nothing_without_being_told(self):
        with open(self.hub.folder.name + "/talk.pcapng", "w") as file:
            file.write("precious")
        capture = self.start()
        self.assertEqual(capture.wait(), 1)
        with open(self.path) as file:
            self.assertEqual(file.read(), "precious")
        os.mkdir(self.tapped)
        self.assertEqual(self.start("--force").wait(), 1)
        os.rmdir(self.tapped)
        # What an earlier capture left behind when it was killed is replaced.
        self.start("--force").kill()
        self.eventually(lambda: os.path.exists(self.tapped))
        capture = self.start("--force")
        self.connect().close()
        capture.send_signal(signal.SIGTERM)
        self.assertEqual(capture.wait(), 0)

    def test_a_hub_that_is_away_is_told(self):
        capture = self.start()
        self.hub.kill()
        self.assertEqual(self.connect().recv(1), b"")
        self.assertIn("can't reach the hub", capture.stderr.readline())
        self.hub.start()
        run = subprocess.run([VANTRY, "--device", self.tapped, "get", "UsbPrnTxTimeout"], capture_output=True)
        self.assertEqual(run.returncode, 0)


@unittest.skipUnless(shutil.which("tshark"), "tshark isn't installed")
class Dissector(unittest.TestCase):
    def test_it_reads_the_example(self):
        rows = dissected(EXAMPLE, "vantry.section", "vantry.entries", "frame.packet_flags_direction", "json.key",
                         "_ws.expert.message", "_ws.col.Info")
        self.assertEqual(rows[0][:3], ["GetAllProperties", "", "0x00000001"])
        self.assertTrue(any(row[0] == "PropertyGetResponses" and row[1] == "2" and row[2] == "0x00000002" and
                            "NameString" in row[3] for row in rows), rows)
        self.assertTrue(any(row[0] == "PropertySetRequests" for row in rows), rows)
        self.assertTrue(any("drops" in row[4] for row in rows), rows)
        self.assertTrue(any("Only the begin" in row[4] for row in rows), rows)
        self.assertEqual(rows[1][5], "from the hub: GetAllPropertiesResponse, PropertyGetResponses 2")

    def test_it_puts_messages_together_over_tcp(self):
        get, answer = frame(b'{"GetAllProperties": true}'), frame(b'{"PropertyGetResponses": [{"Value": "{\\"["},{}]}')
        stream = get + b"sixteen bytes..." + answer + answer
        path = self.enterContext(tempfile.TemporaryDirectory()) + "/tcp.pcap"
        with open(path, "wb") as file:
            file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 101))
            at = 0
            for length in (10, 30, len(stream) - 70, 30):
                part = stream[at:at + length]
                segment = struct.pack(">HHIIBBHHH", 40000, 9102, 1 + at, 1, 0x50, 0x18, 8192, 0, 0) + part
                packet = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(segment), 0, 0x4000, 64, 6, 0,
                                     bytes([127, 0, 0, 1]), bytes([127, 0, 0, 1])) + segment
                file.write(struct.pack("<IIII", at, 0, len(packet), len(packet)) + packet)
                at += length
        rows = dissected(path, "vantry.section", "vantry.entries", "vantry.junk")
        sections = ",".join(row[0] for row in rows if row[0])
        self.assertEqual(sections, "GetAllProperties,PropertyGetResponses,PropertyGetResponses")
        self.assertEqual(",".join(row[1] for row in rows if row[1]), "2,2")
        self.assertEqual("".join(row[2] for row in rows), b"sixteen bytes...".hex())


if __name__ == "__main__":
    unittest.main()
