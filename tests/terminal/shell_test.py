#!/usr/bin/env python3
"""The shell of vantry, and the completion of bash, as a person types at a terminal."""
import unittest

from terminal_support import SOURCE, VANTRY, Cable, HubTestCase, Terminal, announce

COMPONENT = """component C
group Motors
property "Fan On" bool False
property "漢字 State" text idle
"""


class Shell(HubTestCase):
    def setUp(self):
        super().setUp()
        self.owner = announce(self, self.hub, COMPONENT)

    def open(self, *arguments, columns=100):
        terminal = Terminal([VANTRY, *(arguments or ["--device", self.hub.device, "shell"])], columns,
                            HOME=self.hub.folder.name, XDG_STATE_HOME=self.hub.folder.name + "/state")
        self.addCleanup(terminal.close)
        return terminal

    def test_it_completes_names_and_values_and_remembers(self):
        terminal = self.open()
        terminal.wait_for("PRN1>")
        terminal.type("get usbp\t\r")
        terminal.wait_for("35000")
        terminal.type("set fan\tt\t")
        terminal.wait_for('set "Fan On" True')
        terminal.type("\r")
        terminal.wait_for("Fan On is now True")
        terminal.type("get 漢\t\r")
        terminal.wait_for("idle")
        terminal.type("exit\r")
        self.assertEqual(terminal.status(), 0)
        terminal = self.open()
        terminal.wait_for("PRN1>")
        for _ in range(3):
            terminal.type("up")
        terminal.wait_for('set "Fan On" True')
        terminal.type("\x03")
        terminal.wait_for("^C")
        terminal.type("\x04")
        self.assertEqual(terminal.status(), 0)

    def test_an_interrupt_ends_the_command_alone(self):
        terminal = self.open()
        terminal.wait_for("PRN1>")
        terminal.type('watch "Fan On"\r')
        terminal.wait_for("Fan On is False")
        terminal.type("\x03")
        terminal.wait_for(lambda it: it.text().count("PRN1>") == 2)
        terminal.type("watch --live\r")
        terminal.wait_for(lambda it: it.is_second and " of 37" in it.text())
        terminal.type("q")
        terminal.wait_for(lambda it: not it.is_second)
        terminal.type("get UsbPrnTxTimeout\r")
        terminal.wait_for("35000")

    def test_vantry_alone_offers_it(self):
        terminal = Terminal([VANTRY], 80, VANTRY_DEVICE=self.hub.device, HOME=self.hub.folder.name)
        self.addCleanup(terminal.close)
        terminal.wait_for("vantry watch --live")
        terminal.wait_for("PRN1>")
        terminal.type("\x04")
        self.assertEqual(terminal.status(), 0)

    def test_owners_and_hubs_that_die_are_told(self):
        terminal = self.open()
        terminal.wait_for("PRN1>")
        self.owner.kill()
        self.owner.wait()
        terminal.type('set "Fan On" on\r')
        terminal.wait_for("is gone")
        self.hub.kill()
        terminal.type("list\r")
        terminal.wait_for("can't reach the hub")
        terminal.wait_for("PRN1 (not connected)>")
        self.hub.start()
        terminal.type("get UsbPrnTxTimeout\r")
        terminal.wait_for("35000")

    def test_a_pulled_cable_does_not_hang_it(self):
        cable = Cable(self.hub.tcp)
        self.addCleanup(cable.close)
        terminal = self.open("--tcp", cable.address, "shell")
        terminal.wait_for(cable.address + ">")
        cable.is_plugged.clear()
        terminal.type("get firm\t--timeout 0.5\r")
        terminal.wait_for("(not connected)>")
        cable.is_plugged.set()
        terminal.type("get 'Firmware Version'\r")
        terminal.wait_for("1.1.153310")

    def test_the_shells_complete_in_quotes_and_without(self):
        folder = SOURCE + "/packaging/completions"
        for arguments, setup, in_quotes in (
                (["bash", "--norc", "-i"], "source %s/vantry.bash" % folder, '"Fan On"'),
                (["zsh", "-f", "-i"], "fpath=(%s $fpath); autoload -Uz compinit; compinit -u -D" % folder, '"Fan On"'),
                (["fish", "-N", "-i"], "source %s/vantry.fish" % folder, "Fan\\ On")):
            with self.subTest(arguments[0]):
                terminal = Terminal(arguments, 100, PS1="$ ", VANTRY_DEVICE=self.hub.device,
                                    HOME=self.hub.folder.name, PATH=VANTRY.rsplit("/", 1)[0] + ":/usr/bin:/bin")
                self.addCleanup(terminal.close)
                terminal.type('cd "$HOME"; ' + setup + '; echo read""y\r')
                terminal.wait_for("\nready")
                for typed, wanted in (("get fan\t", "get Fan\\ On"),
                                      ("set \"fan o\tt\t", "set %s True" % in_quotes),
                                      ("set UsbPrnTxTimeout=1 fan\tt\t", "set UsbPrnTxTimeout=1 Fan\\ On=True"),
                                      ("list --group mot\t", "list --group Motors"),
                                      ("save comp\t", "save component")):
                    terminal.type("vantry " + typed)
                    terminal.wait_for("vantry " + wanted)
                    terminal.type("\x15")


if __name__ == "__main__":
    unittest.main()
