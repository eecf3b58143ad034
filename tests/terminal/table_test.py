#!/usr/bin/env python3
"""Tables on terminals with little room, and with characters about whose width terminals disagree."""
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

    def rows(self, columns, *arguments):
        """Returns the screen of a command that has ended, without empty lines."""
        terminal = self.open(columns, *arguments)
        self.assertEqual(terminal.status(), 0)
        return [line for line in terminal.lines() if line]

    def test_emojis_move_no_column(self):
        announce(self, self.hub, COMPONENT)
        # pyte shows nothing behind the character that makes an emoji, until the cursor is placed.
        rows = self.rows(80, "list", "Sensors", "--columns", "name,value,owner")
        self.assertEqual(rows[1].index("love"), rows[0].index("value"))
        self.assertEqual(rows[1].index("alive"), rows[0].index("owner"))
        rows = self.rows(120, "list", "Sensors")
        self.assertEqual(rows[1].index("love"), rows[2].index("xxx"))

    def test_a_narrow_terminal_breaks_no_line(self):
        announce(self, self.hub, COMPONENT)
        for columns in (40, 60):
            rows = self.rows(columns, "list", "Sensors", "--columns", "name,value,unit,owner,age")
            self.assertEqual(len(rows), 4, rows)
            self.assertIn("…", rows[2])
            self.assertTrue(all("alive" in row for row in rows[1:]), rows)
        rows = self.rows(40, "list", "Sensors")
        self.assertRegex(rows[-1], "Printhead Temperature +[0-9]+$")
        self.open(40, "top", "Sensors").wait_for("Prin")

    def test_few_are_found_among_many(self):
        others = "".join('property "Other %d" number 0\n' % number for number in range(10000))
        announce(self, self.hub, "component Many\ngroup Others\n" + others + COMPONENT)
        self.open(80, "top", "Sensors").wait_for("of 3 properties")
        self.open(80, "watch", "--live", "Sensors").wait_for("1-3 of 3")


if __name__ == "__main__":
    unittest.main()
