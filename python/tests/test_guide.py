"""Installs the package with pip, and runs the blocks of docs/PYTHON.md and the examples with it."""

import contextlib
import os
import re
import shutil
import subprocess
import sys
import tempfile
import threading

from support import PATIENCE, HubTestCase

import vantry

PYTHON = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
EXAMPLES = os.path.join(PYTHON, "examples")


def blocks(language):
    with open(os.path.join(PYTHON, "..", "docs", "PYTHON.md")) as guide:
        return re.findall(r"```%s\n(.*?)```" % language, guide.read(), re.S)


class Installed(HubTestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        shutil.copytree(PYTHON, cls.folder.name + "/python")
        (install,) = blocks("sh")
        flags = " --no-build-isolation --no-index --quiet --target installed"
        subprocess.run(install.strip() + flags, shell=True, check=True, cwd=cls.folder.name,
                       env=dict(os.environ, PIP_BREAK_SYSTEM_PACKAGES="1", PIP_ROOT_USER_ACTION="ignore",
                                PATH=os.path.dirname(sys.executable) + ":" + os.environ["PATH"]))

    def start(self, *arguments):
        return subprocess.Popen(
            [sys.executable, *arguments], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            env=dict(os.environ, VANTRY_DEVICE=self.hub.device, PYTHONPATH=self.folder.name + "/installed"))

    def output(self, *arguments):
        with self.start(*arguments) as process:
            return process.communicate(timeout=PATIENCE)[0]

    @contextlib.contextmanager
    def running(self, *arguments):
        """A program that runs until the end of the block; its lines are added to the list it gets."""
        lines = []
        process = self.start(*arguments)
        reading = threading.Thread(target=lambda: [lines.append(line) for line in process.stdout])
        reading.start()
        try:
            yield lines
        finally:
            process.terminate()
            process.wait()
            reading.join()
            process.stdout.close()

    def value(self, hub, name):
        try:
            return hub.read(name).value
        except vantry.NotFound:
            return None

    def test_the_guide_does_what_it_says(self):
        read, wrong, write, watch, owners, component, broken, export = blocks("python")
        self.assertEqual(self.output("-c", read), "500 500 Vantry\n")
        self.assertIn("can't reach the hub at 127.0.0.1:1: Connection refused", self.output("-c", wrong))
        self.assertEqual(self.output("-c", write), "750\n")
        self.assertIn("present Product Info/Firmware Version ", self.output("-c", watch))
        self.assertIn("General,Property Publishing Period in ms,750", self.output("-c", export))
        with vantry.Hub(self.hub.device) as hub:
            with self.running("-c", component) as lines:
                self.eventually(lambda: self.value(hub, "Fans/Fan Speed") == "0")
                self.assertEqual(hub.set("Fan Speed", 1200).number, 1200)
                self.eventually(lambda: "the fan turns at 1200\n" in lines)
                self.assertRegex(self.output("-c", owners), r"Fans/Fan Speed \| alive \| [0-9]+ m?s\n")
                self.eventually(lambda: int(self.value(hub, "Air Temperature")) > 20)
            with self.running("-c", broken):
                self.eventually(lambda: self.value(hub, "Printhead Temperature") == "4294967295")

    def test_the_examples_run(self):
        def path(name):
            return os.path.join(EXAMPLES, name)

        csv = self.folder.name + "/changes.csv"
        with vantry.Hub(self.hub.device) as hub:
            with self.running(path("simulator.py")), self.running(path("component.py")) as turned:
                self.eventually(lambda: self.value(hub, "Sensor Fault") == "none")
                self.eventually(lambda: self.value(hub, "Fan Speed") == "0")
                hub.set("Fan Speed", 7)
                self.eventually(lambda: "the fan turns at 7\n" in turned)
                with self.running(path("watch.py"), "Simulated Temperature") as watched:
                    self.eventually(lambda: len(watched) >= 2)
                    hub.set("Sensor Fault", "absurd")
                    self.eventually(lambda: "= 4294967295" in watched[-1])
                    hub.set("Sensor Fault", "flapping")
                    self.eventually(lambda: any(line.endswith("= gone\n") for line in watched))
                    hub.set("Sensor Fault", "gone")
                    self.eventually(lambda: self.value(hub, "Simulated Temperature") is None)
                self.assertIn("Faults/Sensor Fault = gone\n", self.output(path("read.py"), "Sensor Fault"))
                self.assertIn("no property called 'Nothing'", self.output(path("read.py"), "Nothing"))
                self.assertEqual(self.output(path("export.py"), csv, "2", "Air Temperature"), "")
            with open(csv) as file:
                lines = file.read().splitlines()
            self.assertEqual(lines[0], "time,component,group,name,value,kind,read again")
            self.assertIn(",Fan Control,Fans,Air Temperature,", lines[1])
