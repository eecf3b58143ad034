"""A broker, bridges and readers of their messages for tests. Needs mosquitto and its clients."""

import contextlib
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import unittest.mock

SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path[:0] = [SOURCE + "/python", SOURCE + "/python/tests"]
from support import PATIENCE, RunningHub  # noqa: E402,F401

BUILD = os.environ.get("VANTRY_BUILD", SOURCE + "/build/release")
BRIDGE = BUILD + "/src/vantry-bridge"
MOSQUITTO = shutil.which("mosquitto", path=os.environ["PATH"] + ":/usr/sbin")
SANITIZED = bool(os.environ.get("VANTRY_SANITIZE"))
"""Whether the programs hold the memory of a sanitizer besides their own."""
SLOW_NAMES = os.environ.get("SLOW_NAMES", "")
HAS_BROKER = bool(MOSQUITTO and shutil.which("mosquitto_sub"))


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def eventually(what, patience=PATIENCE):
    """Waits until what() is true, and returns what it returned then."""
    deadline = time.monotonic() + patience
    while True:
        outcome = what()
        if outcome:
            return outcome
        assert time.monotonic() < deadline, "waited in vain"
        time.sleep(0.02)


def started(command, log):
    """Starts a program whose words are added to a file."""
    with open(log, "ab") as file:
        return subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=file)


@contextlib.contextmanager
def names_that_are_not_found():
    """Programs that are started meanwhile look for names under ".slow" without an end."""
    if not os.path.exists(SLOW_NAMES):
        raise unittest.SkipTest("the library that delays look-ups isn't built")
    # The address sanitizer wants to be the first library, and works as the second one.
    sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
    with unittest.mock.patch.dict(os.environ, LD_PRELOAD=SLOW_NAMES, ASAN_OPTIONS=sanitizer):
        yield


def mqtt_text(text):
    data = text.encode()
    return len(data).to_bytes(2, "big") + data


def mqtt_packet(head, body):
    """Returns a packet of MQTT: its first byte, the length of the rest in seven bits a byte, and the rest."""
    length, bytes_of_length = len(body), b""
    while True:
        length, low = divmod(length, 128)
        bytes_of_length += bytes([low | (128 if length else 0)])
        if not length:
            return bytes([head]) + bytes_of_length + body


def retain_many(port, documents):
    """Publishes many retained messages {topic: text} over one connection, and waits until the broker has them."""
    with socket.create_connection(("127.0.0.1", port)) as client:
        client.sendall(mqtt_packet(0x10, mqtt_text("MQTT") + bytes([4, 2, 0, 60]) + mqtt_text("many")))
        for topic, text in documents.items():
            client.sendall(mqtt_packet(0x31, mqtt_text(topic) + text.encode()))
        client.sendall(mqtt_packet(0xc0, b""))
        answer = b""
        while not answer.endswith(b"\xd0\x00"):
            answer += client.recv(100)


class Broker:
    """A mosquitto on a port of its own, which keeps the port when it is started again."""

    def __init__(self, folder, settings="allow_anonymous true\n"):
        self.folder, self.settings, self.process = folder, settings, None
        self.scheme, self.port = "mqtt", free_port()
        self.start()

    def start(self):
        for _ in range(20):
            name = os.path.join(self.folder, "mosquitto.conf")
            with open(name, "w") as file:
                file.write("user root\nlistener %d 127.0.0.1\n%s" % (self.port, self.settings))
            self.process = started([MOSQUITTO, "-c", name], self.folder + "/mosquitto.log")
            while self.process.poll() is None:
                with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", self.port)):
                    return
                time.sleep(0.02)
            self.port = free_port()
        raise AssertionError("mosquitto doesn't start")

    def kill(self):
        if self.process:
            self.process.kill()
            self.process.wait()
            self.process = None

    @property
    def url(self):
        return "%s://localhost:%d" % (self.scheme, self.port)


class Reader:
    """Collects the messages of a filter as (topic, payload, retained); payloads are bytes."""

    def __init__(self, port, filter="#", more=()):
        self.messages = []
        self.process = subprocess.Popen(
            ["mosquitto_sub", "-p", str(port), "-t", filter, "-q", "1", "-F", "%r %t %x", *more],
            stdout=subprocess.PIPE, text=True)
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            retained, topic, payload = line.rstrip("\n").split(" ")
            self.messages.append((topic, bytes.fromhex(payload), retained == "1"))

    def documents(self, ending):
        return [json.loads(payload) for topic, payload, _ in list(self.messages)
                if topic.endswith(ending) and payload]

    def end(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()


class Bridge:
    """A running vantry-bridge, whose words are in a file."""

    def __init__(self, folder, *options):
        self.log = os.path.join(folder, "bridge.log")
        self.process = started([BRIDGE, *options], self.log)

    def said(self):
        with open(self.log) as file:
            return file.read()

    def end(self, number=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(number)
        return self.process.wait(PATIENCE)


@unittest.skipUnless(HAS_BROKER, "mosquitto or mosquitto-clients isn't installed")
class BridgeTestCase(unittest.TestCase):
    """Has a folder, and starts brokers, hubs, readers and bridges that end with the test."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def broker(self, settings="allow_anonymous true\n"):
        broker = Broker(self.folder, settings)
        self.addCleanup(broker.kill)
        return broker

    def hub(self):
        hub = RunningHub()
        self.addCleanup(hub.end)
        return hub

    def reader(self, port, filter="#", more=()):
        reader = Reader(port, filter, more)
        self.addCleanup(reader.end)
        return reader

    def reader_before(self, bridge, broker):
        """Starts the broker again, with a reader that has subscribed before the bridge connects."""
        bridge.process.send_signal(signal.SIGSTOP)
        broker.start()
        reader = self.reader(broker.port)

        def is_there():
            subprocess.run(["mosquitto_pub", "-p", str(broker.port), "-t", "mark", "-m", "x"], check=True)
            return reader.messages
        eventually(is_there)
        bridge.process.send_signal(signal.SIGCONT)
        return reader

    def bridge(self, broker, hub, *options, serial="P1"):
        bridge = Bridge(self.folder, "--broker", broker.url, "--site", "lab", "--device", hub.device,
                        "--serial", serial, "--batch", "0.1", "--batch-numbers", "0.1",
                        "--reconnect-first", "0.1", "--reconnect-longest", "0.5", *options)
        self.addCleanup(bridge.end)
        return bridge
