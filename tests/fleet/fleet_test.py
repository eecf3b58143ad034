"""What somebody who looks after many printers learns from vantry-fleet."""

import csv
import io
import json
import os
import re
import shutil
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bridge"))
from broker_support import BUILD, PATIENCE, SOURCE, BridgeTestCase, eventually, free_port, \
    names_that_are_not_found, retain_many  # noqa: E402

import vantry  # noqa: E402

FLEET = BUILD + "/src/vantry-fleet"
PRINTER_ERRORS = "2EBF9DEF-D51C-47FE-935E-5EDCC530B867"


class Fleet(BridgeTestCase):
    def listed(self, broker, *options):
        """Runs vantry-fleet, and returns its exit status and output."""
        done = subprocess.run([FLEET, "--broker", broker.url, *options], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=4 * PATIENCE)
        return done.returncode, done.stdout

    def retain(self, broker, topic, document):
        text = document if isinstance(document, str) else json.dumps(document)
        subprocess.run(["mosquitto_pub", "-p", str(broker.port), "-t", "vantry/v1/" + topic, "-r", "-q", "1",
                        "-m", text], check=True)

    def printer(self, broker, site, serial, errors=(), online=True, hub=True, age=0, version="1.1.0"):
        sent = int(1000 * (time.time() - age))
        health = {"online": online, "since": sent, "versions": {"bridge": version}}
        if online:
            health.update(time=sent, hub=hub, dropped=3, waiting=1, errors=list(errors))
        self.retain(broker, "%s/%s/health" % (site, serial), health)

    def test_a_printer_is_listed_with_its_errors_and_versions_and_stays_when_it_is_gone(self):
        broker, hub = self.broker(), self.hub()
        bridge = self.bridge(broker, hub)
        component = vantry.Component("Head", "Error", group_guid=PRINTER_ERRORS)
        is_open = component.boolean("Head Open", False)
        owner = vantry.Hub(hub.device)
        self.addCleanup(owner.close)
        owner.announce(component)
        # A hub that starts for the first time has an error of its own: there is no file to load.
        mine = lambda: [error for error in only()["errors"] if not error.startswith("Vantry/")]
        only = lambda: (json.loads(self.listed(broker, "--json")[1] or "[]") or [{}])[0]
        found = eventually(lambda: (lambda one: one if one.get("hub") and one["versions"]["firmware"] else None)(only()))
        self.assertEqual((found["site"], found["serial"], found["online"], mine()), ("lab", "P1", True, []))
        owner.change(is_open, True)
        eventually(lambda: mine() == ["Head/Error/Head Open"])
        owner.change(is_open, False)
        eventually(lambda: mine() == [])
        hub.kill()
        eventually(lambda: "no hub" in self.listed(broker, "--troubled")[1])
        news = only()["news"]
        bridge.end(9)
        gone = eventually(lambda: (lambda one: None if one["online"] else one)(only()))
        self.assertEqual(gone["versions"]["firmware"], found["versions"]["firmware"])
        self.assertGreaterEqual(gone["news"], gone["since"])
        self.assertLessEqual(gone["news"], news)

    def test_filters_choose_and_the_exit_status_says_whether_there_are_any(self):
        broker = self.broker()
        self.printer(broker, "a", "P1", age=10)
        self.printer(broker, "a", "P2", errors=["Head/Error/Open", "Cutter/Error/Jam"])
        self.printer(broker, "b", "P3", online=False, age=86400, version="1.0.0")
        self.retain(broker, "b/P3/state", {"properties": {"x": {"time": 9e15}}, "time": int(1000 * time.time() - 7.2e6)})
        self.printer(broker, "b", "Q4", hub=False, age=60)
        serials = lambda output: [row["serial"] for row in csv.DictReader(io.StringIO(output))]
        eventually(lambda: len(serials(self.listed(broker, "--csv")[1])) == 4)
        cases = [([], "P1 P2 P3 Q4"), (["--site", "b"], "P3 Q4"), (["--site", "a", "--site", "b"], "P1 P2 P3 Q4"),
                 (["--serial", "P*"], "P1 P2 P3"), (["--online"], "P1 P2 Q4"), (["--offline"], "P3"),
                 (["--errors"], "P2"), (["--troubled"], "P2 P3 Q4"), (["--version-is", "1.0*"], "P3"),
                 (["--older-than", "1h"], "P3"), (["--older-than", "3h"], ""), (["--oldest-first"], "P3 Q4 P1 P2"),
                 (["--site", "c"], ""), (["--protocol", "3.1.1", "--offline"], "P3")]
        for options, expected in cases:
            status, output = self.listed(broker, "--csv", *options)
            self.assertEqual((status, serials(output)), (0 if expected else 1, expected.split()), options)
        status, table = self.listed(broker)
        self.assertIn("4 printers: 3 online, 1 with errors; the oldest news are 2h old, of b/P3", table)
        self.assertIn("Head/Error/Open, Cutter/Error/Jam", table)

    @unittest.skipUnless(shutil.which("promtool"), "the package prometheus isn't installed")
    def test_promtool_takes_the_metrics_and_the_rules_fire_on_them(self):
        broker = self.broker()
        self.printer(broker, "a", "P1", errors=['Head/Error/"Open"\\'])
        self.printer(broker, "b", "P2", online=False)
        metrics = eventually(lambda: (lambda text: text if 'site="b"' in text and 'site="a"' in text else None)(
            self.listed(broker, "--metrics")[1]))
        check = ["promtool", "check"]
        told = subprocess.run([*check, "metrics"], input=metrics, text=True, capture_output=True)
        self.assertEqual((told.returncode, told.stderr), (0, ""))
        rules = SOURCE + "/packaging/prometheus/vantry-fleet.rules.yml"
        subprocess.run([*check, "rules", rules], check=True, stdout=subprocess.DEVNULL)
        series = [line.rsplit(" ", 1) for line in metrics.splitlines() if not line.startswith("#")]
        expected = {"exp_labels": {"severity": "critical", "site": "b"},
                    "exp_annotations": {"summary": "All printers of b are offline"}}
        with open(self.folder + "/rules_test.yml", "w") as file:
            json.dump({"rule_files": [rules], "tests": [{
                "interval": "1m",
                "input_series": [{"series": name, "values": "%sx20" % value} for name, value in series],
                "alert_rule_test": [{"eval_time": "10m", "alertname": "VantrySiteOffline", "exp_alerts": [expected]},
                                    {"eval_time": "20m", "alertname": "VantryPrintersOffline", "exp_alerts": []}]}]}, file)
        told = subprocess.run(["promtool", "test", "rules", file.name], text=True, capture_output=True)
        self.assertEqual(told.returncode, 0, told.stdout + told.stderr)
        with open(SOURCE + "/packaging/prometheus/vantry-fleet-dashboard.json") as dashboard:
            used = set(re.findall(r"vantry_fleet_\w+", dashboard.read()))
        self.assertLessEqual(used, {name.split("{")[0] for name, _ in series})

    def test_what_others_leave_at_the_broker_does_no_harm(self):
        broker = self.broker()
        self.printer(broker, "a", "P1")
        for number, text in enumerate(["{", "[]", '{"online": 7}', '{"online": true, "errors": 1}', "\x1b[2J", "9" * 400]):
            self.retain(broker, "a/X%d/health" % number, text)
            self.retain(broker, "a/X%d/state" % number, text)
        self.printer(broker, "a", "red", errors=["\x1b[31mred"])
        status, output = eventually(lambda: (lambda one: one if "2 printers" in one[1] else None)(self.listed(broker)))
        self.assertEqual(status, 0)
        self.assertIn("messages can't be read", output)
        self.assertNotIn("\x1b", output)

    def test_thousands_of_printers_are_all_listed(self):
        broker, count = self.broker(), 5000
        retain_many(broker.port, {
            "vantry/v1/s%d/P%d/%s" % (one % 7, one, kind): '{"online": true, "hub": true, "time": 5, "fill": "%s"}' % ("x" * 400)
            for one in range(count) for kind in ("health", "state")})
        self.assertEqual(len(self.listed(broker, "--csv")[1].splitlines()), count + 1)

    def test_a_broker_that_is_not_there_or_silent_is_told_apart(self):
        class Nothing:
            url = "mqtt://127.0.0.1:%d" % free_port()
        self.assertEqual(self.listed(Nothing)[0], 3)
        self.assertEqual(self.listed(Nothing, "--older-than", "long")[0], 2)
        import socket
        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            silent.listen()
            Nothing.url = "mqtt://127.0.0.1:%d" % silent.getsockname()[1]
            status, output = self.listed(Nothing, "--timeout", "300ms")
        self.assertEqual(status, 4)
        self.assertIn("does not answer in time", output)
        Nothing.url = "mqtt://broker.slow"
        with names_that_are_not_found():
            status, output = self.listed(Nothing, "--plain-text", "--timeout", "300ms")
        self.assertEqual(status, 4)
        self.assertIn("look-up", output)


if __name__ == "__main__":
    unittest.main()
