#!/usr/bin/env python3
"""The live table as a person sees it in a terminal."""
import os
import signal
import socket
import subprocess
import threading
import unittest

from terminal_support import VANTRY, Cable, HubTestCase, Terminal, announce

COMPONENT = """component "Firmware Driver"
group Sensors
property "Printhead Temperature" number 25 ramp 20 60 4
property "漢字 State 🖨️" text idle
property "A" text "a long text, which no column has room for: {}"
""".format("x" * 300 + "END")


class LiveTable(HubTestCase):
    def setUp(self):
        super().setUp()
        self.owner = announce(self, self.hub, COMPONENT)

    def open(self, *arguments, columns=80, rows=24, address=None):
        where = ["--tcp", address] if address else ["--device", self.hub.device]
        terminal = Terminal([VANTRY, *where, "watch", "--live", *arguments], columns, rows)
        self.addCleanup(terminal.close)
        return terminal

    def test_it_moves_filters_sorts_and_plots(self):
        terminal = self.open()
        terminal.wait_for("1-21 of 38")
        terminal.wait_for(lambda it: it.lines()[2].startswith("Printhead Temperature"))
        terminal.type("G")
        terminal.wait_for("18-38 of 38")
        self.assertTrue(terminal.lines()[22].startswith("ThreadIds"))
        terminal.type("page up")
        terminal.type("up")
        terminal.type("g")
        terminal.wait_for("1-21 of 38")
        terminal.type("/sensors\r")
        terminal.wait_for('1-3 of 3 with "sensors"')
        terminal.wait_for("┤")
        terminal.wait_for("-60 s")
        terminal.type("/\x7f\x7f\x7f\x7f\x7f\x7f\x7fstate\r")
        terminal.wait_for("1-1 of 1")
        terminal.type("escape")
        terminal.type("/A long\x7f\x7f\x7f\x7f\x7f\r")
        terminal.type("s")
        terminal.wait_for("by name")
        terminal.type("q")
        self.assertEqual(terminal.status(), 0)
        self.assertFalse(terminal.is_second)

    def test_a_long_value_can_be_read_whole(self):
        terminal = self.open("A")
        terminal.wait_for("END")

    def test_wide_characters_keep_the_columns(self):
        terminal = self.open("Sensors", columns=200)
        terminal.wait_for("idle")
        terminal.wait_for("State")
        rows = terminal.lines()
        # A wide character is one in two cells, and pyte writes it as one.
        cells = [[terminal.screen.buffer[line][column].data for column in range(200)] for line in (1, 2, 3, 4)]
        column = rows[1].index("value")
        self.assertTrue(all(row[column - 1] in (" ", "") and row[column].strip() for row in cells), rows)

    def test_nothing_of_an_earlier_value_stays(self):
        terminal = self.open("漢字 State 🖨️", "A")
        terminal.wait_for("idle")
        for value in ("an old value", "❤️"):
            subprocess.run([VANTRY, "--device", self.hub.device, "set", "漢字 State 🖨️", value], check=True)
            terminal.wait_for(value[0])
        terminal.wait_for(lambda it: "❤" in it.text() and "old value" not in it.text())

    def test_resizing_keeps_the_screen_full(self):
        terminal = self.open()
        terminal.wait_for("1-21 of 38")
        terminal.type("G")
        terminal.wait_for("18-38 of 38")
        terminal.resize(200, 50)
        terminal.wait_for("1-38 of 38")
        terminal.resize(60, 10)
        terminal.wait_for("32-38 of 38")
        terminal.resize(15, 3)
        terminal.resize(80, 24)
        terminal.wait_for("18-38 of 38")

    def test_it_stops_and_continues(self):
        terminal = Terminal(["bash", "--norc", "-i"], PS1="prompt$ ")
        self.addCleanup(terminal.close)
        terminal.wait_for("prompt$")
        terminal.type("%s --device %s watch --live\n" % (VANTRY, self.hub.device))
        terminal.wait_for("1-21 of 38")
        terminal.type("\x1a")
        terminal.wait_for(lambda it: not it.is_second and "Stopped" in it.text())
        terminal.type("echo $((6 * 7))\n")
        terminal.wait_for("42")
        terminal.type("fg\n")
        terminal.wait_for(lambda it: it.is_second and "1-21 of 38" in it.text())
        terminal.type("q")
        terminal.wait_for(lambda it: not it.is_second)
        terminal.type("stty -a | grep -o ' icanon'\n")
        terminal.wait_for(" icanon")

    def test_the_screen_is_restored_when_it_is_ended(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            terminal = self.open()
            terminal.wait_for("1-21 of 38")
            os.kill(terminal.child, number)
            self.assertEqual(terminal.status(), 0)
            self.assertFalse(terminal.is_second)

    def test_a_killed_owner_is_shown(self):
        terminal = self.open("Sensors")
        terminal.wait_for("1-3 of 3")
        self.owner.kill()
        terminal.wait_for("(owner gone)")

    def test_a_killed_hub_is_shown_and_comes_back(self):
        terminal = self.open()
        terminal.wait_for("connected")
        self.hub.kill()
        terminal.wait_for("NO CONNECTION")
        self.hub.start()
        terminal.wait_for(lambda it: "NO CONNECTION" not in it.text())
        terminal.wait_for("1-21 of 38")

    def test_a_stopped_hub_does_not_delay_the_end(self):
        terminal = self.open()
        terminal.wait_for("1-21 of 38")
        self.hub.process.send_signal(signal.SIGSTOP)
        terminal.type("q")
        terminal.wait_for(lambda it: not it.is_second)
        self.assertEqual(terminal.status(), 0)

    def test_a_pulled_cable_is_noticed(self):
        cable = Cable(self.hub.tcp)
        self.addCleanup(cable.close)
        terminal = self.open(address=cable.address)
        terminal.wait_for("connected")
        cable.is_plugged.clear()
        terminal.wait_for("NO CONNECTION")
        cable.is_plugged.set()
        terminal.wait_for(lambda it: "NO CONNECTION" not in it.text())

    def test_what_is_no_hub_is_told(self):
        server = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(server.close)

        def answer():
            peer = server.accept()[0]
            peer.sendall(b"HTTP/1.1 400 Bad Request\r\n\r\n" * 20)
            peer.recv(1)
            peer.close()
        threading.Thread(target=answer, daemon=True).start()
        terminal = self.open(address="127.0.0.1:%d" % server.getsockname()[1])
        self.assertEqual(terminal.status(), 3)
        self.assertIn("hub", terminal.text())
        self.assertNotIn(b"\x1b[?1049h", terminal.raw)


if __name__ == "__main__":
    unittest.main()
