"""Gateways of their own for tests, with a hub each, and the ways to talk with them."""

import contextlib
import http.client
import json
import os
import signal
import socket
import subprocess
import sys
import time
import unittest

SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path[:0] = [SOURCE + "/python", SOURCE + "/python/tests"]
from support import PATIENCE, RunningHub  # noqa: E402

GATEWAY = os.environ.get("VANTRY_GATEWAY", "vantry-gateway")
HOST = b"Host: localhost\r\n"
LIST = b"GET /api/properties HTTP/1.1\r\n" + HOST


def make_certificate(name):
    key, certificate = (name + end for end in (".key", ".pem"))
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                    "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost", "-days", "2",
                    "-keyout", key, "-out", certificate], check=True, stderr=subprocess.DEVNULL)
    return key, certificate


class Gateway:
    """A running gateway. Its address is that of a free port of 127.0.0.1."""

    def __init__(self, *options, listen="127.0.0.1:0"):
        self.process = subprocess.Popen([GATEWAY, "--listen", listen, *options], text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        ready = self.process.stdout.readline()
        assert ready.startswith("ready http"), ready + self.process.stderr.read()
        self.url = ready.split()[1]
        self.port = int(self.url.rstrip("/").rpartition(":")[2])

    def end(self):
        """Stops it as the service manager does. Returns its exit status."""
        self.process.send_signal(signal.SIGTERM)
        self.process.communicate(timeout=PATIENCE)
        return self.process.returncode

    def kibibytes(self, name="VmRSS"):
        with open("/proc/%d/status" % self.process.pid) as status:
            return int(next(line for line in status if line.startswith(name + ":")).split()[1])

    def ask(self, target, method="GET", body=None, **headers):
        """Returns status, body and headers. The body is decoded if it is JSON."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        with contextlib.closing(connection):
            connection.request(method, target, body,
                               {name.replace("_", "-"): value for name, value in headers.items()})
            answer = connection.getresponse()
            text = answer.read().decode()
            if answer.headers["Content-Type"] == "application/json" and text:
                return answer.status, json.loads(text), answer.headers
            return answer.status, text, answer.headers

    def put(self, path, value, **headers):
        return self.ask("/api/properties/" + path, "PUT", json.dumps({"value": value}),
                        Content_Type="application/json", **headers)[:2]

    def say(self, text, keep_sending=False):
        """Sends bytes as they are. Returns all that comes back until the gateway closes."""
        with socket.create_connection(("127.0.0.1", self.port), PATIENCE) as link:
            link.sendall(text)
            if not keep_sending:
                link.shutdown(socket.SHUT_WR)
            heard = b""
            with contextlib.suppress(ConnectionResetError):
                while part := link.recv(65536):
                    heard += part
            return heard


class Events:
    """A reader of events."""

    def __init__(self, gateway, query="", last_id=None):
        self.connection = http.client.HTTPConnection("127.0.0.1", gateway.port, timeout=PATIENCE)
        self.connection.request("GET", "/api/changes" + query,
                                headers={"Last-Event-ID": last_id} if last_id else {})
        self.answer = self.connection.getresponse()
        assert self.answer.status == 200, self.answer.status
        self.last_id = None

    def next(self):
        """The type and the data of the next event."""
        event = {}
        while True:
            line = self.answer.readline().decode()
            assert line, "the stream has ended"
            if line == "\n" and "data" in event:
                self.last_id = event.get("id", self.last_id)
                return event["event"], json.loads(event["data"])
            name, _, value = line.rstrip("\n").partition(": ")
            event[name] = value

    def until(self, kind, **members):
        """Skips events until one of this type has these members. Returns what it skipped, and it."""
        seen = []
        while True:
            seen.append(self.next())
            if seen[-1][0] == kind and members.items() <= seen[-1][1].items():
                return seen

    def close(self):
        self.connection.close()


class GatewayTestCase(unittest.TestCase):
    """Has a fresh hub as self.hub."""

    def setUp(self):
        self.hub = RunningHub()
        self.addCleanup(self.hub.end)

    def gateway(self, *options, **more):
        gateway = Gateway(*more.pop("hub", ("--device", self.hub.device)), *options, **more)
        self.addCleanup(lambda: gateway.process.poll() is not None or gateway.end())
        return gateway

    def events(self, *arguments, **more):
        events = Events(*arguments, **more)
        self.addCleanup(events.close)
        return events

    def eventually(self, what):
        deadline = time.monotonic() + PATIENCE
        while not (outcome := what()):
            self.assertLess(time.monotonic(), deadline, "waited in vain")
            time.sleep(0.02)
        return outcome
