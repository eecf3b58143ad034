"""Hubs of their own for tests, and a way to wait for what is to come."""

import os
import signal
import subprocess
import tempfile
import time
import unittest

VANTRYD = os.environ.get("VANTRYD", "vantryd")
PATIENCE = 30


class RunningHub:
    """A hub in a folder of its own, which can be killed, stopped and started again."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory()
        self.device = self.folder.name + "/devices/PRN1"
        self.process = None
        self.start()

    def start(self):
        self.process = subprocess.Popen(
            [VANTRYD, "--root", self.folder.name + "/root", "--devices", self.folder.name + "/devices",
             "--port", "0", "--bind", "127.0.0.1"], stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL, text=True)
        ready = self.process.stdout.readline()
        assert ready.startswith("ready "), ready
        self.tcp = "127.0.0.1:" + ready.split("port=")[1].split()[0]

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()
        self.process.stdout.close()

    def end(self):
        self.kill()
        self.folder.cleanup()


class HubTestCase(unittest.TestCase):
    """Has a fresh hub as self.hub."""

    def setUp(self):
        self.hub = RunningHub()
        self.addCleanup(self.hub.end)

    def eventually(self, what):
        """Waits until what() is true, and returns what it returned then."""
        deadline = time.monotonic() + PATIENCE
        while True:
            outcome = what()
            if outcome:
                return outcome
            self.assertLess(time.monotonic(), deadline, "waited in vain")
            time.sleep(0.01)
