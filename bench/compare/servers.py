"""The servers that are compared: how they are started, what they use, and how they are spoken to."""

from __future__ import annotations

import re
import socket
import struct
import subprocess
import tempfile
import time
from pathlib import Path
from typing import TypeVar

T = TypeVar("T")

MAGIC = bytes.fromhex("B3EC099A229248FA83D006840BC99102")
OWN = "955CFDC2-8EA6-478E-A927-7C870022EA03"
# A group and a property of the hub that external peers may see.
ERRORS = "2EBF9DEF-D51C-47FE-935E-5EDCC530B867"
LOAD_ERROR = "A32AFFED-7C37-47FE-80DB-B21875E226BD"


def frame(text: str) -> bytes:
    data = text.encode()
    return MAGIC + struct.pack("<I", len(data)) + data


def one_property(guid: str = LOAD_ERROR, group: str = ERRORS, component: str = OWN) -> str:
    return '{"PropertyGetRequests": [{"Component": "%s","GUID": "%s:%s"}]}' % (component, group, guid)


class Server:
    """A process that is killed at the end. Times are of its processor use, in seconds."""

    def __init__(self, *arguments: str, says_ready: bool = False) -> None:
        self.process = subprocess.Popen(
            arguments, stdout=subprocess.PIPE if says_ready else subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, text=True)
        self.line = self.process.stdout.readline() if self.process.stdout else ""
        if says_ready and not self.line:
            raise RuntimeError(f"{arguments[0]} did not start")

    def cpu(self) -> float:
        # The processor-time clock of another process, as clock_getcpuclockid computes it.
        return time.clock_gettime((~self.process.pid) << 3 | 2)

    def resident(self) -> float:
        """Returns the resident memory in KiB."""
        status = Path(f"/proc/{self.process.pid}/status").read_text()
        return float(re.findall(r"VmRSS:\s+(\d+)", status)[0])

    def wait_for_threads(self, count: int) -> None:
        """Waits until the process has so many threads."""
        for _ in range(1000):
            if len(list(Path(f"/proc/{self.process.pid}/task").iterdir())) >= count:
                return
            time.sleep(0.01)
        raise RuntimeError(f"there are no {count} threads")

    def kill(self) -> None:
        self.process.kill()
        self.process.wait()

    def __enter__(self: T) -> T:
        return self

    def __exit__(self, *_: object) -> None:
        self.kill()


class TcpServer(Server):
    """A server that listens on a free TCP port. `arguments` has "PORT" where the number belongs."""

    def __init__(self, *arguments: str) -> None:
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        super().__init__(*(part.replace("PORT", str(self.port)) for part in arguments))
        for _ in range(500):
            try:
                self.connect().close()
                return
            except OSError:
                time.sleep(0.01)
        self.kill()
        raise RuntimeError(f"{arguments[0]} does not listen")

    def connect(self) -> socket.socket:
        return socket.create_connection(("127.0.0.1", self.port), 10)


def redis() -> TcpServer:
    return TcpServer("redis-server", "--port", "PORT", "--save", "", "--bind", "127.0.0.1")


def redis_command(*parts: bytes) -> bytes:
    return b"*%d\r\n" % len(parts) + b"".join(b"$%d\r\n%s\r\n" % (len(p), p) for p in parts)


def mosquitto(directory: Path) -> TcpServer:
    # mosquitto reads its port from a file only, and takes the one of the command line as a default.
    settings = directory / "mosquitto.conf"
    settings.write_text("allow_anonymous true\nmax_queued_messages 0\n")
    return TcpServer("mosquitto", "-c", str(settings), "-p", "PORT")


class Echo(Server):
    def __init__(self, program: Path, request: int, answer: int, way: str) -> None:
        super().__init__(str(program), str(request), str(answer), way, says_ready=True)
        self.port = int(self.line)


class Hub(Server):
    """A hub on a fresh directory, with bounds that no row reaches."""

    LIMITS = ("connections = 4096\ntcp-connections = 4000\nproperties = 200000\n"
              "all-properties = 200000\nproperty-text = 1000000000\nall-property-text = 1000000000\n"
              "output = 1000000000\noutputs = 1000000000\nwaiting-records = 200000\n"
              "answer = 1000000000\nanswers = 1000000000\n")

    def __init__(self, program: Path) -> None:
        self.directory = tempfile.TemporaryDirectory(prefix="vantry-compare-")
        limits = Path(self.directory.name) / "limits"
        limits.write_text(self.LIMITS)
        self.devices = Path(self.directory.name) / "devices"
        super().__init__(str(program), "--root", self.directory.name + "/root", "--devices",
                         str(self.devices), "--port", "0", "--bind", "127.0.0.1", "--limits",
                         str(limits), says_ready=True)
        self.port = int(re.findall(r"port=(\d+)", self.line)[0])
        self.device = str(self.devices / "PRN1")

    def tcp(self) -> Peer:
        return Peer(socket.create_connection(("127.0.0.1", self.port), 10))

    def local(self) -> Peer:
        client = socket.socket(socket.AF_UNIX)
        client.connect(self.device)
        return Peer(client)

    def kill(self) -> None:
        super().kill()
        self.directory.cleanup()


class Peer:
    """A connection to a hub."""

    def __init__(self, connected: socket.socket) -> None:
        self.socket = connected
        self.socket.settimeout(30)

    def send(self, text: str) -> None:
        self.socket.sendall(frame(text))

    def receive(self) -> bytes:
        head = self._exactly(20)
        return self._exactly(struct.unpack("<I", head[16:])[0])

    def ask(self, text: str) -> bytes:
        self.send(text)
        return self.receive()

    def _exactly(self, length: int) -> bytes:
        parts = bytearray()
        while len(parts) < length:
            piece = self.socket.recv(length - len(parts))
            if not piece:
                raise EOFError("the hub closed the connection")
            parts += piece
        return bytes(parts)


class Component:
    """A component of the printer that reports properties over the local device."""

    COMPONENT = "B80EB2EA-4F49-423A-875C-8ACB1ACB9734"
    # External peers see this group, so that all subscribers get the same.
    GROUP = "41B87577-BD88-48CE-BF21-BF5A6BFC9FE3"

    def __init__(self, hub: Hub, count: int) -> None:
        self.peer = hub.local()
        self.count = count
        for start in range(0, count, 1000):
            self._report(range(start, min(start + 1000, count)), 0, True)
        self.settle()

    def change(self, value: int) -> None:
        """Reports another value of each property."""
        for start in range(0, self.count, 1000):
            self._report(range(start, min(start + 1000, self.count)), value, False)

    def settle(self) -> None:
        """Waits until the hub has taken all reports and has published them."""
        self.peer.ask(one_property())
        time.sleep(1.2)

    def request(self, number: int) -> str:
        return one_property("%036d" % number, self.GROUP, self.COMPONENT)

    def _report(self, numbers: range, value: int, whole: bool) -> None:
        names = ('"ComponentString": "Firmware Driver","GroupString": "Substrate",'
                 '"NameString": "A property named %d",' if whole else "")
        entries = ('{"Component": "%s","GUID": "%s:%036d",%s"Status": "Successful","Value": "%d"}' % (
            self.COMPONENT, self.GROUP, number, names % number if whole else "", value * 1000 + number)
            for number in numbers)
        self.peer.send('{"PropertyGetResponses": [' + ",".join(entries) + "]}")
