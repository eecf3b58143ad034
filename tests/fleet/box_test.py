"""The fleet in a box: it starts, shows its printers, keeps their rights apart, and leaves nothing."""

import csv
import io
import os
import signal
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bridge"))
from broker_support import BUILD, HAS_BROKER, PATIENCE, SOURCE, eventually  # noqa: E402


def running(folder):
    """Returns the processes whose command line names the folder."""
    found = []
    for number in filter(str.isdecimal, os.listdir("/proc")):
        try:
            with open("/proc/%s/cmdline" % number) as file:
                if folder in file.read():
                    found.append(int(number))
        except OSError:
            pass
    return found


@unittest.skipUnless(HAS_BROKER, "mosquitto or mosquitto-clients isn't installed")
class Box(unittest.TestCase):
    def test_the_box_shows_its_printers_and_leaves_nothing(self):
        box = subprocess.Popen([SOURCE + "/examples/fleet/run", "3", "2", "--batch", "0.1"], stdout=subprocess.PIPE,
                               text=True, env=dict(os.environ, VANTRY_BUILD=BUILD), start_new_session=True)
        self.addCleanup(box.kill)
        self.addCleanup(box.stdout.close)
        ready = box.stdout.readline()
        self.assertTrue(ready.startswith("ready "), ready)
        words = dict(word.split("=") for word in ready.split()[1:])
        folder = words["folder"]
        fleet = [BUILD + "/src/vantry-fleet", "--config", folder + "/fleet.conf", "--csv"]

        def online():
            listed = subprocess.run(fleet, stdout=subprocess.PIPE, text=True).stdout
            return [row["serial"] for row in csv.DictReader(io.StringIO(listed)) if row["state"] == "online"]
        eventually(lambda: online() == ["P00001", "P00002", "P00003"])
        # A printer may read its own commands alone, so it gets nothing of the others.
        other = subprocess.run(["mosquitto_sub", "-h", "localhost", "-p", words["port"], "--cafile", folder + "/ca.crt",
                                "--cert", folder + "/P00001.crt", "--key", folder + "/P00001.key", "-t", "vantry/#",
                                "-i", "thief", "-W", "1"], stdout=subprocess.PIPE)
        self.assertEqual(other.stdout, b"")
        os.killpg(box.pid, signal.SIGINT)
        self.assertEqual(box.wait(4 * PATIENCE), 0)
        self.assertFalse(os.path.exists(folder))
        self.assertEqual(running(folder), [])


if __name__ == "__main__":
    unittest.main()
