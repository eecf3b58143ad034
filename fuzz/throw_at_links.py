#!/usr/bin/env python3
"""Throws bytes at every link of a vantryd: real frames, mutated ones, and noise.

    throw_at_links.py VANTRYD [SECONDS]

Starts that vantryd (build it with the asan preset), throws for so long, and checks meanwhile that a
well-behaved client beside it is always answered, and at the end that the hub stops cleanly. Exit
status 0 if all of that held.
"""
import os
import random
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

MAGIC = bytes.fromhex("B3EC099A229248FA83D006840BC99102")
SEEDS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
ASK = b'{"PropertyGetRequests": [{"Component": "955CFDC2-8EA6-478E-A927-7C870022EA03","GUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6:DA821DC5-948D-4659-9B52-177E4C102129"}]}'


def frame(text):
    return MAGIC + struct.pack("<I", len(text)) + text


def load_seeds():
    seeds = []
    for folder, wrap in (("messages", False), ("frames", False), ("json", True)):
        for name in sorted(os.listdir(os.path.join(SEEDS, folder))):
            data = open(os.path.join(SEEDS, folder, name), "rb").read()
            seeds.append(frame(data) if wrap else data)
    return seeds


def mutated(data, rng):
    data = bytearray(data)
    for _ in range(rng.randrange(4)):
        place = rng.randrange(len(data) + 1)
        kind = rng.randrange(4)
        if kind == 0:
            data[place:place] = rng.randbytes(rng.randrange(1, 20))
        elif kind == 1:
            del data[place:place + rng.randrange(1, 20)]
        elif kind == 2 and data:
            data[place % len(data)] = rng.randrange(256)
        else:
            start = rng.randrange(len(data) + 1)
            data[place:place] = data[start:start + rng.randrange(200)]
    return bytes(data)


class Throwing:
    def __init__(self, connectors, deadline):
        self.connectors, self.deadline = connectors, deadline
        self.seeds = load_seeds()
        self.thrown = self.answered = 0
        self.failure = None

    def throw(self, name, seed):
        rng = random.Random(seed)
        while time.time() < self.deadline and not self.failure:
            try:
                with self.connectors[name]() as peer:
                    peer.settimeout(0.05)
                    for _ in range(rng.randrange(1, 30)):
                        noise = rng.randbytes(rng.randrange(1, 400))
                        data = noise if rng.random() < 0.2 else mutated(rng.choice(self.seeds), rng)
                        peer.sendall(data)
                        self.thrown += 1
                        if rng.random() < 0.3:
                            peer.recv(rng.randrange(1, 65536))
            except OSError:
                pass

    def behave(self, name):
        """Asks again and again on one connection, and must be answered in ten seconds each time."""
        with self.connectors[name]() as peer:
            peer.settimeout(10)
            while time.time() < self.deadline:
                try:
                    peer.sendall(frame(ASK))
                    head = self.exactly(peer, 20)
                    self.exactly(peer, struct.unpack("<I", head[16:])[0])
                    self.answered += 1
                except OSError as error:
                    self.failure = f"{name}: a well-behaved client was not answered: {error}"
                    return
                time.sleep(0.002)

    @staticmethod
    def exactly(peer, count):
        data = b""
        while len(data) < count:
            piece = peer.recv(count - len(data))
            if not piece:
                raise OSError("end of the stream")
            data += piece
        return data


def unix(path):
    def connect():
        peer = socket.socket(socket.AF_UNIX)
        peer.settimeout(10)
        peer.connect(path)
        return peer
    return connect


def main():
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 600
    base = tempfile.mkdtemp()
    errors = open(os.path.join(base, "errors"), "w+")
    hub = subprocess.Popen([sys.argv[1], "--root", base + "/r", "--devices", base + "/d", "--port",
                            "0", "--bind", "127.0.0.1"],
                           stdout=subprocess.PIPE, stderr=errors, text=True)
    port = int(hub.stdout.readline().split()[1].split("=")[1])
    connectors = {"TCP": lambda: socket.create_connection(("127.0.0.1", port))}
    connectors.update({name: unix(f"{base}/d/{name}") for name in ("PRN1", "UMF1", "BTD0")})
    throwing = Throwing(connectors, time.time() + seconds)
    threads = [threading.Thread(target=throwing.throw, args=(name, seed))
               for seed, name in enumerate(["TCP", "TCP", "PRN1", "UMF1", "BTD0"])]
    threads += [threading.Thread(target=throwing.behave, args=(name,)) for name in ("TCP", "PRN1")]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    hub.send_signal(signal.SIGTERM)
    try:
        status = hub.wait(60)
    except subprocess.TimeoutExpired:
        hub.kill()
        status = "none: it hung"
    errors.seek(0)
    told = [line for line in errors if not line.startswith("error: ")]
    marker = os.path.exists(base + "/r/DriverUnloadSuccessful")
    print(f"thrown {throwing.thrown}, answered {throwing.answered}, exit status {status}, "
          f"clean unload {marker}")
    sys.stdout.writelines(told[:40])
    if throwing.failure:
        print(throwing.failure)
    sys.exit(0 if status == 0 and marker and not told and not throwing.failure else 1)


if __name__ == "__main__":
    main()
