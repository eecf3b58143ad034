#!/usr/bin/env python3
"""A recorder whose disk fills and empties again: a small file system in memory that belongs to the test alone."""

import json
import os
import subprocess
import sys
import time
import unittest

sys.path[:0] = [os.path.abspath(os.path.join(os.path.dirname(__file__), *place)) for place in
                (("..", "..", "python"), ("..", "..", "python", "tests"))]
from support import PATIENCE, RunningHub  # noqa: E402
import vantry  # noqa: E402

VANTRY = os.environ.get("VANTRY", "vantry")
PROPERTIES = 60
DISK = 1 << 20


class Disk:
    """A disk of a MiB. Only processes that are started with its command see it; `path` leads there from outside."""

    def __init__(self, folder):
        os.mkdir(folder)
        mounting = 'mount -t tmpfs -o size=%d none "$0" && echo mounted && exec cat' % DISK
        self.holder = subprocess.Popen(["unshare", "--map-root-user", "--mount", "sh", "-c", mounting, folder], text=True,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if self.holder.stdout.readline() != "mounted\n":
            _, why = self.holder.communicate()
            raise unittest.SkipTest("no disk can be mounted here: " + why.strip())
        self.command = ["nsenter", "--target", str(self.holder.pid), "--user", "--mount", "--preserve-credentials"]
        self.path = "/proc/%d/root%s" % (self.holder.pid, folder)

    def fill(self):
        with open(self.path + "/filler", "ab", buffering=0) as filler:
            for size in 4096, 1:
                try:
                    while filler.write(bytes(size)):
                        pass
                except OSError:
                    pass

    def empty(self):
        os.remove(self.path + "/filler")

    def close(self):
        self.holder.communicate()


class FullDisk(unittest.TestCase):
    def setUp(self):
        self.hub = RunningHub()
        self.addCleanup(self.hub.end)
        self.folder = self.hub.folder.name + "/disk"
        self.disk = Disk(self.folder)
        self.addCleanup(self.disk.close)
        self.owner = vantry.Hub(self.hub.device)
        self.addCleanup(self.owner.close)
        machine = vantry.Component("Machine", "Numbers")
        self.ones = [machine.text("Number %02d" % place, "start") for place in range(PROPERTIES)]
        self.owner.announce(machine)

    def record(self):
        recorder = subprocess.Popen(
            [*self.disk.command, VANTRY, "--device", self.hub.device, "history", "record", "--commit", "0.1",
             "--file", self.folder + "/history.db"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(recorder.communicate)
        self.addCleanup(recorder.kill)
        self.assertTrue(recorder.stdout.readline().startswith("recording to"))
        return recorder

    def recorded(self):
        """The values of each property, the oldest first."""
        told = subprocess.run([*self.disk.command, VANTRY, "--json", "history", "export", "Numbers/*",
                               "--file", self.folder + "/history.db"], capture_output=True, text=True)
        values = {one.member: [] for one in self.ones}
        for line in told.stdout.splitlines():
            change = json.loads(line)
            values[change["guid"]].append(change["value"])
        return values

    def wait_for(self, what):
        deadline = time.monotonic() + PATIENCE
        while not what():
            self.assertLess(time.monotonic(), deadline, "waited in vain")
            time.sleep(0.05)

    def change(self, word):
        for one in self.ones:
            self.owner.change(one, word)

    def test_what_changes_while_the_disk_is_full_is_written_when_it_empties(self):
        recorder = self.record()
        words = ["start"]
        self.wait_for(lambda: all(values == words for values in self.recorded().values()))
        for turn in range(2):
            self.disk.fill()
            words.append("full %d " % turn + "x" * 1000)
            self.change(words[-1])
            self.assertIn("wait in memory", recorder.stderr.readline())
            self.disk.empty()
            self.wait_for(lambda: all(values == words for values in self.recorded().values()))
        words.append("after")
        self.change("after")
        self.wait_for(lambda: all(values == words for values in self.recorded().values()))
        recorder.terminate()
        self.assertEqual(recorder.wait(), 0)

    def test_a_recorder_that_is_killed_on_a_full_disk_leaves_a_whole_file(self):
        recorder = self.record()
        self.wait_for(lambda: all(values == ["start"] for values in self.recorded().values()))
        self.disk.fill()
        self.change("lost " + "x" * 1000)
        self.assertIn("wait in memory", recorder.stderr.readline())
        recorder.kill()
        recorder.wait()
        self.disk.empty()
        self.change("after")
        self.record()
        self.wait_for(lambda: all(values[0] == "start" and values[-1] == "after" for values in self.recorded().values()))


if __name__ == "__main__":
    unittest.main()
