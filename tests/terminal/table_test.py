#!/usr/bin/env python3
"""Tables of vantry on a terminal."""
import unittest

from terminal_support import VANTRY, HubTestCase, Terminal, announce

COMPONENT = """component "Firmware Driver"
group Sensors
property "Printhead Temperature" number 25 readonly ramp 20 60 4
property "Heart ❤️" text love
property "Label Text" text "{}"
""".format("x" * 60)


class Tables(HubTestCase):
    def open(self, columns, *arguments):
        terminal = Terminal([VANTRY, "--device", self.hub.device, *arguments], columns)
        self.addCleanup(terminal.close)
        return terminal

    def test_few_are_found_among_many(self):
        others = "".join('property "Other %d" number 0\n' % number for number in range(10000))
        announce(self, self.hub, "component Many\ngroup Others\n" + others + COMPONENT)
        self.open(80, "top", "Sensors").wait_for("of 3 properties")
        self.open(80, "watch", "--live", "Sensors").wait_for("1-3 of 3")


if __name__ == "__main__":
    unittest.main()
