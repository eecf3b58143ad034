"""A terminal in which a program runs, its screen, and a network cable that can be pulled."""
import fcntl
import os
import pty
import select
import signal
import socket
import struct
import subprocess
import sys
import termios
import threading
import time

import pyte

SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path.insert(0, SOURCE + "/python/tests")
from support import PATIENCE, HubTestCase  # noqa: E402,F401

VANTRY = os.environ.get("VANTRY", "vantry")
KEYS = {"up": "\x1b[A", "down": "\x1b[B", "page up": "\x1b[5~", "page down": "\x1b[6~", "escape": "\x1b"}


class Terminal:
    """A pseudo-terminal with a shell or a program in it."""

    def __init__(self, arguments, columns=80, rows=24, **environment):
        self.raw = b""
        self.screen = pyte.Screen(columns, rows)
        self.stream = pyte.ByteStream(self.screen)
        # A terminal with a second screen goes back to the first one; pyte has one only.
        self.is_second = False
        self.child, self.master = pty.fork()
        if self.child == 0:
            os.environ.update(environment, TERM="xterm-256color", LC_ALL="C.UTF-8")
            os.execvp(arguments[0], arguments)
        self.resize(columns, rows)

    def resize(self, columns, rows):
        self.screen.resize(rows, columns)
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def type(self, text):
        os.write(self.master, KEYS.get(text, text).encode())

    def read(self):
        while select.select([self.master], [], [], 0.02)[0]:
            try:
                data = os.read(self.master, 65536)
            except OSError:
                return
            if not data:
                return
            self.raw += data
            self.is_second = self.raw.rfind(b"\x1b[?1049h") > self.raw.rfind(b"\x1b[?1049l")
            self.stream.feed(data)

    def lines(self):
        self.read()
        return [line.rstrip() for line in self.screen.display]

    def text(self):
        return "\n".join(self.lines())

    def wait_for(self, what):
        """Waits until the screen has this text, or until what(self) is true."""
        deadline = time.monotonic() + PATIENCE
        while not (what(self) if callable(what) else what in self.text()):
            if time.monotonic() > deadline:
                raise AssertionError("waited in vain for %s; the screen has\n%s" % (what, self.text()))
            self.read()

    def status(self):
        """Waits until the program has ended, and returns its exit status or the negative signal."""
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            self.read()
            process, status = os.waitpid(self.child, os.WNOHANG)
            if process:
                self.child = 0
                return os.waitstatus_to_exitcode(status)
        raise AssertionError("it never ended; the screen has\n" + self.text())

    def close(self):
        if self.child:
            os.kill(self.child, signal.SIGKILL)
            os.waitpid(self.child, 0)
        os.close(self.master)


class Cable:
    """A connection to a TCP port, which can be pulled: then nothing goes through, and nobody is told."""

    def __init__(self, address):
        host, port = address.split(":")
        self.target = (host, int(port))
        self.is_plugged = threading.Event()
        self.is_plugged.set()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                near = self.listener.accept()[0]
            except OSError:
                return
            far = socket.create_connection(self.target)
            for source, sink in ((near, far), (far, near)):
                threading.Thread(target=self.carry, args=(source, sink), daemon=True).start()

    def carry(self, source, sink):
        try:
            while data := source.recv(65536):
                self.is_plugged.wait()
                sink.sendall(data)
            sink.shutdown(socket.SHUT_WR)
        except OSError:
            pass
        finally:
            source.close()

    def close(self):
        self.is_plugged.set()
        self.listener.close()


def announce(test, hub, text):
    """Runs a component that is described by the text, and returns its process."""
    name = hub.folder.name + "/component"
    with open(name, "w") as file:
        file.write(text)
    owner = subprocess.Popen([VANTRY, "--device", hub.device, "announce", name],
                             stdout=subprocess.PIPE, text=True)
    test.addCleanup(owner.stdout.close)
    test.addCleanup(owner.wait)
    test.addCleanup(owner.kill)
    owner.stdout.readline()
    return owner
