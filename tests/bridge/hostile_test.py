"""What a broker that misbehaves can do to the bridge: nothing but to be left, with words that say why."""

import contextlib
import os
import random
import socket
import threading
import time
import unittest
import unittest.mock

from broker_support import PATIENCE, SANITIZED, BridgeTestCase, eventually, mqtt_packet, mqtt_text

import vantry

ERRORS = "2EBF9DEF-D51C-47FE-935E-5EDCC530B867"
ROUNDS = int(os.environ.get("VANTRY_ROUNDS", "3"))
MOST_MEMORY = 64 << 20
MOST_OF_A_PACKET = 256 << 20
ACCEPTED = mqtt_packet(0x20, b"\x00\x00\x00")


class Hostile:
    """A server whose clients are each treated by behave(connection, packets), where packets are those they send."""

    def __init__(self, behave):
        self.behave, self.socket, self.count = behave, socket.create_server(("127.0.0.1", 0)), 0
        self.url = "mqtt://127.0.0.1:%d" % self.socket.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        with contextlib.suppress(OSError):
            while True:
                connection, self.count = self.socket.accept()[0], self.count + 1
                threading.Thread(target=self._serve, args=[connection], daemon=True).start()

    def _serve(self, connection):
        with connection, contextlib.suppress(OSError, EOFError):
            self.behave(connection, packets(connection))

    def close(self):
        self.socket.close()


def packets(connection):
    """Yields the packets that arrive, as their first byte and the rest."""
    def exactly(count):
        data = b""
        while len(data) < count:
            part = connection.recv(count - len(data))
            if not part:
                raise EOFError
            data += part
        return data
    while True:
        head, length, shift = exactly(1)[0], 0, 0
        while True:
            byte = exactly(1)[0]
            length |= (byte & 127) << shift
            shift += 7
            if byte < 128:
                break
        yield head, exactly(length)


def drain(received):
    for _ in received:
        pass


def accept(connection, received):
    next(received)
    connection.sendall(ACCEPTED)


def noise(connection, received):
    accept(connection, received)
    generator = random.Random(os.environ.get("VANTRY_SEED", "1"))
    while True:
        kind = generator.randrange(256)
        connection.sendall(mqtt_packet(kind, generator.randbytes(generator.randrange(60))))


def noise_at_first(connection, received):
    connection.sendall(random.Random(2).randbytes(4000))
    drain(received)


def never_reads(connection, received):
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    accept(connection, received)
    threading.Event().wait(2 * PATIENCE)


def refuses(reason):
    def behave(connection, received):
        accept(connection, received)
        for head, body in received:
            if head >> 4 == 3:
                start = 2 + int.from_bytes(body[:2], "big")
                if head & 6:
                    connection.sendall(mqtt_packet(0x40, body[start:start + 2] + bytes([reason, 0])))
            elif head >> 4 == 8:
                connection.sendall(mqtt_packet(0x90, body[:2] + b"\x00\x80"))
    return behave


def huge(connection, received):
    """Sends nearly all of a retained message of 256 MiB, or 16 under a sanitizer, as fast as the client takes it."""
    accept(connection, received)
    start = mqtt_text("vantry/v1/lab/P1/cmd/set") + b"\x00"
    head = b"\x31\xff\xff\xff" + (b"\x07" if SANITIZED else b"\x7f") + start
    connection.sendall(head)
    for _ in range(15 if SANITIZED else 255):
        connection.sendall(bytes(1 << 20))
    drain(received)


def many(connection, received):
    """Sends retained writes without an end."""
    accept(connection, received)
    message = mqtt_packet(0x31, mqtt_text("vantry/v1/lab/P1/cmd/set") + b"\x00" + b'{"property": "x", "value": 1}')
    threading.Thread(target=drain, args=[received], daemon=True).start()
    while True:
        connection.sendall(100 * message)


def breaks(connection, received):
    """Sends a message of version 5 with very many properties, the last of which there isn't, and hangs up."""
    accept(connection, received)
    properties = 90000 * b"\x26\x00\x01x\x00\x01y" + b"\x7f"
    length = len(properties)
    sizes = bytes([length & 127 | 128, length >> 7 & 127 | 128, length >> 14])
    connection.sendall(mqtt_packet(0x30, mqtt_text("vantry/v1/lab/P1/cmd/set") + sizes + properties))
    connection.shutdown(socket.SHUT_WR)
    drain(received)


def closes(connection, received):
    accept(connection, received)


class Hostility(BridgeTestCase):
    def most_memory(self, bridge):
        with open("/proc/%d/status" % bridge.process.pid) as file:
            return next(1024 * int(line.split()[1]) for line in file if line.startswith("VmHWM"))

    def suffer(self, behave, words, rounds=ROUNDS, memory=MOST_MEMORY):
        """Lets the hub have changes meanwhile. Another client gets each, and the bridge ends in order at last."""
        server, hub = Hostile(behave), self.hub()
        self.addCleanup(server.close)
        owner = vantry.Hub(hub.device)
        self.addCleanup(owner.close)
        component = vantry.Component("Fan Control", "Error", group_guid=ERRORS)
        fan, text = component.number("Fan", 0), component.text("Text", "")
        owner.announce(component)
        # Standard error may be long, so the words are looked for in the file.
        bridge = self.bridge(server, hub, "--spool", self.folder + "/spool", "--spool-size", "1MiB", "--allow-write", "*")
        with vantry.Hub(hub.device) as other, other.changes() as changes:
            for value in range(1, rounds + 1):
                owner.change(text, "%d " % value + 100000 * "x")
                owner.change(fan, value)
                eventually(lambda: (lambda one: one.name == "Fan" and one.value == str(value))(
                    changes.next(PATIENCE).property))
        for word in words:
            eventually(lambda: word in bridge.said(), 4 * PATIENCE)
        if not SANITIZED:
            self.assertLess(self.most_memory(bridge), memory)
        self.assertEqual(bridge.end(), 0)
        return server, bridge

    @contextlib.contextmanager
    def a_lost_packet(self):
        """The address sanitizer doesn't complain of what libmosquitto loses meanwhile."""
        with open(self.folder + "/lost", "w") as file:
            file.write("leak:libmosquitto\n")
        with unittest.mock.patch.dict(os.environ, LSAN_OPTIONS="suppressions=" + file.name):
            yield

    def test_packets_that_make_no_sense_end_the_connection(self):
        with self.a_lost_packet():
            self.suffer(noise, ["connected to the broker", "lost the broker"])

    def test_noise_instead_of_an_answer_is_no_broker(self):
        self.suffer(noise_at_first, ["can't reach the broker"])

    def test_a_broker_that_never_reads_is_no_reason_to_hoard(self):
        # 100 changes of 100 KB don't fit into the sockets.
        _, bridge = self.suffer(never_reads, ["connected to the broker"], max(ROUNDS, 60))
        kept = sum(file.stat().st_size for file in os.scandir(self.folder + "/spool/P1"))
        self.assertLess(kept, 2 << 20)

    def test_refused_messages_are_told_and_dropped(self):
        self.suffer(refuses(0x87), ["refuses a message: Not authorized", "refuses the subscription to commands"])

    def test_a_broker_that_has_enough_gets_less(self):
        self.suffer(refuses(0x97), ["wants fewer messages"])

    def test_a_huge_retained_message_is_not_taken(self):
        # The library reads on while more arrives, so on one machine much of a packet can have come before it is cut off.
        self.suffer(huge, ["sends what was not asked for"], memory=MOST_MEMORY + MOST_OF_A_PACKET)

    def test_writes_without_an_end_take_no_memory(self):
        self.suffer(many, ["connected to the broker"])

    def test_packets_that_break_the_library_lose_memory_once_at_most(self):
        server = Hostile(breaks)
        self.addCleanup(server.close)
        with self.a_lost_packet():
            bridge = self.bridge(server, self.hub())
        eventually(lambda: server.count >= 10)
        if not SANITIZED:
            self.assertLess(self.most_memory(bridge), MOST_MEMORY)
        self.assertEqual(bridge.end(), 0)

    def test_a_broker_that_does_not_answer_the_encryption_costs_no_processor(self):
        server = Hostile(lambda connection, received: threading.Event().wait(8 * PATIENCE))
        self.addCleanup(server.close)
        server.url = server.url.replace("mqtt:", "mqtts:")
        bridge = self.bridge(server, self.hub())
        eventually(lambda: "does not answer" in bridge.said(), 8 * PATIENCE)
        with open("/proc/%d/stat" % bridge.process.pid) as file:
            ticks = sum(map(int, file.read().rsplit(")", 1)[1].split()[11:13]))
        # A loop that never rests takes what it gets of 30 s.
        self.assertLess(ticks / os.sysconf("SC_CLK_TCK"), 1)

    def test_a_broker_that_hangs_up_is_not_asked_again_at_once(self):
        begin = time.monotonic()
        server, bridge = self.suffer(closes, ["lost the broker"])
        # The pauses are 0.1 s at least.
        self.assertLessEqual(server.count, 2 + (time.monotonic() - begin) / 0.1)


if __name__ == "__main__":
    unittest.main()
