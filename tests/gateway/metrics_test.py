#!/usr/bin/env python3
"""What a monitoring system reads of a gateway. Needs the package prometheus, and is skipped without it."""

import contextlib
import http.client
import json
import shutil
import socket
import subprocess
import unittest
from urllib.parse import quote

from gateway_support import SOURCE, GatewayTestCase
import vantry


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


class Metrics(GatewayTestCase):
    def setUp(self):
        super().setUp()
        self.owner = vantry.Hub(self.hub.device)
        self.addCleanup(self.owner.close)
        odd = vantry.Component('Odd "names" \\ \n', "Müll\udcff")
        odd.number("Wait in ms", 4000000000)
        odd.boolean("Door Open", True)
        odd.text("No Number", "12 apples")
        self.owner.announce(odd)
        self.metrics_gateway = self.gateway()
        self.eventually(lambda: "Door Open" in self.metrics_gateway.ask("/metrics")[1])

    def test_properties_and_figures_are_shown_with_their_labels(self):
        status, text, headers = self.metrics_gateway.ask("/metrics")
        self.assertEqual((status, headers["Content-Type"]), (200, "text/plain; version=0.0.4; charset=utf-8"))
        lines = text.splitlines()
        names = 'component="Odd \\"names\\" \\\\ \\n",group="Müll\ufffd"'
        for wanted in ('vantry_property_value{%s,name="Wait in ms",unit="ms",' % names,
                       'vantry_property_value{%s,name="Door Open",id=' % names,
                       "vantry_hub_up{endpoint=", "vantry_hub_round_trip_seconds ",
                       "vantry_hub_reconnections_total 0", "vantry_gateway_responses_total{status=\"200\"}"):
            self.assertTrue([line for line in lines if line.startswith(wanted)], wanted + "\n" + text)
        self.assertNotIn("No Number", text)
        self.assertTrue(all(line.startswith(("# ", "vantry_")) for line in lines))
        _, text, headers = self.metrics_gateway.ask("/metrics", Accept="application/openmetrics-text")
        self.assertEqual((text[-6:], headers["Content-Type"].partition(";")[0]),
                         ("# EOF\n", "application/openmetrics-text"))

    @unittest.skipUnless(shutil.which("promtool"), "the package prometheus isn't installed")
    def test_promtool_has_nothing_to_say(self):
        _, text, _ = self.metrics_gateway.ask("/metrics")
        for command, given in ((["check", "metrics"], text),
                               (["check", "rules", SOURCE + "/packaging/prometheus/vantry.rules.yml"], None)):
            told = subprocess.run(["promtool", *command], input=given, text=True, capture_output=True)
            self.assertEqual((told.returncode, told.stderr), (0, ""), told.stdout + told.stderr)

    @unittest.skipUnless(shutil.which("prometheus"), "the package prometheus isn't installed")
    def test_a_prometheus_scrapes_it_and_answers_the_questions_of_the_dashboard(self):
        folder, port = self.hub.folder.name, free_port()
        with open(folder + "/prometheus.yml", "w") as file:
            json.dump({"global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
                       "rule_files": [SOURCE + "/packaging/prometheus/vantry.rules.yml"],
                       "scrape_configs": [{"job_name": "vantry", "static_configs": [
                           {"targets": ["127.0.0.1:%d" % self.metrics_gateway.port]}]}]}, file)
        server = subprocess.Popen(
            ["prometheus", "--config.file=" + folder + "/prometheus.yml", "--storage.tsdb.path=" + folder + "/tsdb",
             "--web.listen-address=127.0.0.1:%d" % port], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(lambda: (server.kill(), server.wait()))

        def ask(expression):
            connection = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
            with contextlib.closing(connection):
                try:
                    connection.request("POST", "/api/v1/query", "query=" + quote(expression),
                                       {"Content-Type": "application/x-www-form-urlencoded"})
                    return json.loads(connection.getresponse().read())
                except (OSError, http.client.HTTPException, ValueError):  # It is starting.
                    return {"status": "not there", "data": {"result": []}}

        found = self.eventually(lambda: ask('vantry_property_value{name="Wait in ms"}')["data"]["result"])
        self.assertEqual((found[0]["value"][1], found[0]["metric"]["unit"]), ("4000000000", "ms"))
        with open(SOURCE + "/packaging/prometheus/vantry-dashboard.json") as file:
            panels = json.load(file)["panels"]
        expressions = [target["expr"] for panel in panels for target in panel["targets"]]
        self.assertGreater(len(expressions), 8)
        for expression in expressions:
            answer = ask(expression.replace("$component", ".*").replace("$__rate_interval", "1m"))
            self.assertEqual(answer["status"], "success", expression)
        self.eventually(lambda: ask("rate(vantry_hub_changes_received_total[1m])")["data"]["result"])
        rules = self.eventually(lambda: ask("vantry:properties:changes_per_second")["data"]["result"])
        self.assertEqual(len(rules), 1)


if __name__ == "__main__":
    unittest.main()
