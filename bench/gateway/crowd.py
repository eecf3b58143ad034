#!/usr/bin/env python3
"""Measures a gateway with many readers of events, some of which read too slowly.

    crowd.py BUILD-DIRECTORY [READERS [SLOW [SECONDS]]]     200, 20 and 20 if none are named

One component changes 499 properties every 250 ms, the most that the hub tells in a tick. Each value holds the
time at which it was made. A reader's delay is the time from there until it has the change, so it holds
the hub's tick. Prints the delays of the readers that keep up, with and without the slow ones, and what
gateway and hub used.
"""
import os
import selectors
import signal
import socket
import subprocess
import sys
import threading
import time

SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
BUILD = os.path.abspath(sys.argv[1])
os.environ["VANTRYD"] = BUILD + "/src/vantryd"
sys.path[:0] = [SOURCE + "/python", SOURCE + "/python/tests"]
from support import RunningHub  # noqa: E402
import vantry  # noqa: E402

READERS, SLOW, SECONDS = (list(map(int, sys.argv[2:])) + [200, 20, 20][len(sys.argv) - 2:])[:3]
PROPERTIES = 499


def processor_seconds(process):
    with open("/proc/%d/stat" % process) as stat:
        fields = stat.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def kibibytes(process, name="VmRSS"):
    with open("/proc/%d/status" % process) as status:
        return int(next(line for line in status if line.startswith(name + ":")).split()[1])


def change_for_ever(address, stop):
    with vantry.Hub(address) as hub:
        owner = vantry.Component("Crowd", "Crowd")
        ids = [owner.text("Property %03d" % number, "0") for number in range(PROPERTIES)]
        hub.announce(owner)
        while not stop.wait(0.25):
            now = "%.6f" % time.time()
            for one in ids:
                hub.change(one, now)


def open_stream(port, slow):
    link = socket.socket()
    if slow:
        link.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    link.connect(("127.0.0.1", port))
    link.sendall(b"GET /api/changes?component=Crowd HTTP/1.1\r\nHost: localhost\r\n\r\n")
    link.setblocking(False)
    return link


def measure(port, readers, slow, hub, gateway):
    quick = selectors.DefaultSelector()
    for _ in range(readers):
        quick.register(open_stream(port, False), selectors.EVENT_READ)
    sluggish = [open_stream(port, True) for _ in range(slow)]
    delays, received, begins, trickle = [], 0, 0, time.monotonic()
    end = time.monotonic() + 5 + SECONDS
    before = None
    while (now := time.monotonic()) < end:
        if before is None and now > end - SECONDS:
            before, delays, received = (processor_seconds(gateway), processor_seconds(hub), now), [], 0
        if now - trickle > 1:  # 2 KiB a second is far too slow.
            trickle = now
            for link in sluggish:
                try:
                    begins += link.recv(2048).count(b"event: begin")
                except (BlockingIOError, ConnectionResetError):
                    pass
        for key, _ in quick.select(0.1):
            part = key.fileobj.recv(1 << 20)
            received += len(part)
            at = part.rfind(b'"value":"17')
            if at >= 0 and len(part) > at + 27:
                delays.append(time.time() - float(part[at + 9:at + 26]))
    after = processor_seconds(gateway), processor_seconds(hub), time.monotonic()
    used = [(new - old) / (after[2] - before[2]) * 100 for new, old in zip(after[:2], before[:2])]
    for link in list(quick.get_map().values()):
        link.fileobj.close()
    for link in sluggish:
        link.close()
    delays.sort()
    print("%3d readers, %2d slow: delay %4.0f ms median, %4.0f ms 99th; %5.1f MB/s; gateway %3.0f %% of a processor, "
          "%d MiB; hub %2.0f %%, %d MiB; %d begins of slow ones" % (
              readers, slow, delays[len(delays) // 2] * 1000, delays[len(delays) * 99 // 100] * 1000,
              received / 1e6 / SECONDS, used[0], kibibytes(gateway) >> 10, used[1], kibibytes(hub) >> 10, begins),
          flush=True)


def main():
    hub = RunningHub()
    gateway = subprocess.Popen([BUILD + "/src/vantry-gateway", "--device", hub.device, "--listen", "127.0.0.1:0"],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    port = int(gateway.stdout.readline().rstrip("/\n").rpartition(":")[2])
    stop = threading.Event()
    owner = os.fork()
    if owner == 0:
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        change_for_ever(hub.device, stop)
    try:
        time.sleep(3)
        for readers, slow in ((1, 0), (READERS, 0), (READERS, SLOW)):
            measure(port, readers, slow, hub.process.pid, gateway.pid)
    finally:
        os.kill(owner, signal.SIGKILL)
        os.waitpid(owner, 0)
        gateway.terminate()
        gateway.wait()
        hub.end()


if __name__ == "__main__":
    main()
