"""What Sparkplug hosts and Home Assistant get: births, sequences, deaths, documents."""

import json
import os
import re
import signal
import subprocess
import unittest

from broker_support import SOURCE, BridgeTestCase, eventually

import vantry


PROTOC = ["protoc", "-I", SOURCE + "/src/bridge"]
TYPE, FILE = "vantry.sparkplug.Payload", "sparkplug.proto"
PERIOD = "General/Property Publishing Period in ms"


def decoded(payload):
    return subprocess.run([*PROTOC, "--decode", TYPE, FILE], input=payload, check=True,
                          stdout=subprocess.PIPE).stdout.decode()


def number_of(text, field):
    found = re.search(r"^\s*%s: (\d+)" % field, text, re.MULTILINE)
    return int(found.group(1)) if found else None


def session_of(text):
    return int(re.search(r'name: "bdSeq".*?long_value: (\d+)', text, re.DOTALL).group(1))


VALUES = {"4": "long_value", "10": "double_value", "11": "boolean_value", "12": "string_value"}
"""The field of a value by the number of its type."""


def metrics_in(text):
    """The fields of each metric of a payload."""
    return [dict(re.findall(r"^  (\w+): (.*)$", one, re.MULTILINE))
            for one in re.findall(r"^metrics \{\n(.*?)^\}", text, re.MULTILINE | re.DOTALL)]


class Sparkplug(BridgeTestCase):
    def check(self, topic, text, types):
        """Compares a message with what the convention asks of its kind. Keeps the types of births by their aliases."""
        kind = topic.split("/")[2]
        if kind.endswith("CMD"):
            return
        self.assertNotRegex(text, r"(?m)^\s*\d", "a field that the payload doesn't have")
        self.assertRegex(text, r"(?m)^timestamp: \d{13}$")
        self.assertEqual(re.search(r"(?m)^seq: ", text) is None, kind == "NDEATH")
        metrics = metrics_in(text)
        self.assertEqual(kind == "DDEATH", not metrics, topic)
        for metric in metrics:
            about = "%s %s" % (topic, metric)
            if kind != "NDEATH":
                self.assertIn("timestamp", metric, about)
            isBorn = not kind.endswith("DATA")
            self.assertEqual(("name" in metric, "datatype" in metric), (isBorn, isBorn), about)
            # Those of the node itself, which commands name, have none.
            self.assertEqual("alias" in metric, kind[0] == "D", about)
            if "BIRTH" in kind and "alias" in metric:
                self.assertEqual(types.setdefault(metric["alias"], (metric["name"], metric["datatype"])),
                                 (metric["name"], metric["datatype"]))
            type = metric["datatype"] if isBorn else types[metric["alias"]][1]
            held = [field for field in metric if field.endswith("_value") or field == "is_null"]
            self.assertIn(held, ([VALUES[type]], ["is_null"]), about)

    def payloads(self, reader, type):
        return [decoded(payload) for topic, payload, _ in list(reader.messages) if "/%s/" % type in topic]

    def command(self, broker, topic, text):
        payload = subprocess.run([*PROTOC, "--encode", TYPE, FILE], input=text.encode(), check=True,
                                 stdout=subprocess.PIPE).stdout
        subprocess.run(["mosquitto_pub", "-p", str(broker.port), "-t", "spBv1.0/lab/" + topic, "-s"],
                       input=payload, check=True)

    def test_a_host_gets_a_rebirth_at_its_command_and_nothing_at_other_ones(self):
        broker, hub = self.broker(), self.hub()
        reader = self.reader(broker.port, "spBv1.0/#")
        self.bridge(broker, hub, "--style", "sparkplug")
        eventually(lambda: self.payloads(reader, "DBIRTH"))
        before = len(self.payloads(reader, "NBIRTH"))
        self.command(broker, "NCMD/P1", 'metrics { name: "Node Control/Other" boolean_value: true }')
        self.command(broker, "NCMD/P1", 'metrics { name: "Node Control/Rebirth" boolean_value: true }')
        eventually(lambda: len(self.payloads(reader, "NBIRTH")) == before + 1)
        births = self.payloads(reader, "NBIRTH")
        self.assertEqual({number_of(birth, "seq") for birth in births}, {0})
        self.assertEqual(len({session_of(birth) for birth in births}), 1)

    def test_nothing_is_sent_without_the_primary_host_and_what_waited_comes_with_it(self):
        broker, hub = self.broker(), self.hub()
        reader = self.reader(broker.port, "spBv1.0/#")

        def host(online, time):
            subprocess.run(["mosquitto_pub", "-p", str(broker.port), "-t", "spBv1.0/STATE/scada", "-r", "-q", "1", "-m",
                            json.dumps({"online": online, "timestamp": time})], check=True)
        bridge = self.bridge(broker, hub, "--style", "sparkplug", "--primary-host", "scada", "--all-groups",
                             "--history-rate", "1000", "--spool", self.folder)
        eventually(lambda: "connected to the hub" in bridge.said() and "connected to the broker" in bridge.said())
        with vantry.Hub(hub.device) as other:
            other.set(PERIOD.split("/")[1], 750)
        eventually(lambda: any(one.endswith(".seg") for one in os.listdir(self.folder + "/P1")))
        host(False, 100)
        eventually(lambda: reader.messages)
        self.assertEqual(self.payloads(reader, "NBIRTH"), [])
        host(True, 200)
        eventually(lambda: any("is_historical: true" in one for one in self.payloads(reader, "DDATA")))
        host(False, 150)
        host(False, 300)
        eventually(lambda: self.payloads(reader, "NDEATH"))
        births = len(self.payloads(reader, "NBIRTH"))
        eventually(lambda: bridge.said().count("connected to the broker") == 2)
        host(True, 400)
        eventually(lambda: len(self.payloads(reader, "NBIRTH")) > births)
        sessions = [session_of(one) for one in self.payloads(reader, "NBIRTH")]
        self.assertEqual(session_of(self.payloads(reader, "NDEATH")[0]), sessions[0])
        self.assertNotEqual(sessions[0], sessions[-1])

    def test_a_command_writes_every_metric_that_it_names(self):
        broker, hub = self.broker(), self.hub()
        reader = self.reader(broker.port, "spBv1.0/#")
        self.bridge(broker, hub, "--style", "sparkplug", "--all-groups", "--allow-write", "*/Property Publishing*",
                    "--allow-write", "*/Error Log*")
        eventually(lambda: any(PERIOD in one for one in self.payloads(reader, "DBIRTH")))
        self.command(broker, "DCMD/P1/Vantry", 'metrics { name: "General/No Such" string_value: "x" }'
                     'metrics { name: "%s" double_value: 750 } metrics { name: "General/Error Log File Name" '
                     'string_value: "other" }' % PERIOD)
        eventually(lambda: all(any(value in one for one in self.payloads(reader, "DDATA"))
                               for value in ("double_value: 750", 'string_value: "other"')))

    def test_numbers_follow_each_other_and_the_death_belongs_to_the_birth(self):
        broker, hub = self.broker(), self.hub()
        reader = self.reader(broker.port, "spBv1.0/#")
        bridge = self.bridge(broker, hub, "--style", "sparkplug", "--all-groups", "--allow-write", "*")
        eventually(lambda: any(PERIOD in one for one in self.payloads(reader, "DBIRTH")))
        self.command(broker, "DCMD/P1/Vantry", 'metrics { name: "%s" double_value: 750 }' % PERIOD)
        data = eventually(lambda: self.payloads(reader, "DDATA"))[0]
        self.assertIn("double_value: 750", data)
        self.assertNotIn("name:", data)
        birth = [one for one in self.payloads(reader, "DBIRTH") if PERIOD in one][-1]
        alias = number_of(birth[birth.index(PERIOD):], "alias")
        self.assertEqual(number_of(data, "alias"), alias)
        expected, types = None, {}
        for topic, payload, retained in list(reader.messages):
            self.assertFalse(retained)
            self.check(topic, decoded(payload), types)
            if "BIRTH" in topic or "DATA" in topic:
                expected = 0 if "NBIRTH" in topic else (expected + 1) % 256
                self.assertEqual(number_of(decoded(payload), "seq"), expected, topic)
        hub.kill()
        eventually(lambda: self.payloads(reader, "DDEATH"))
        bridge.end(signal.SIGKILL)
        death = eventually(lambda: self.payloads(reader, "NDEATH"))[-1]
        self.assertEqual(session_of(death), session_of(self.payloads(reader, "NBIRTH")[-1]))
        for topic, payload, _ in list(reader.messages):
            self.check(topic, decoded(payload), types)


class HomeAssistant(BridgeTestCase):
    def test_the_document_describes_what_the_values_hold(self):
        import jsonschema
        broker, hub = self.broker(), self.hub()
        reader = self.reader(broker.port)
        self.bridge(broker, hub, "--style", "homeassistant", "--all-groups", "--allow-write", "*")
        config = eventually(lambda: reader.documents("homeassistant/device/P1/config"))[-1]
        with open(SOURCE + "/tests/bridge/home_assistant.schema.json") as schema:
            jsonschema.validate(config, json.load(schema))
        values = eventually(lambda: reader.documents("/values"))[-1]
        for entity in config["cmps"].values():
            if "value_template" in entity:
                self.assertIn(re.search(r"\['(.*)'\]", entity["value_template"]).group(1), values)
        period = next(one for one in config["cmps"].values() if one["name"] == PERIOD.replace("/", " "))
        self.assertEqual((period["p"], period["unit_of_measurement"], period["device_class"]),
                         ("number", "ms", "duration"))
        text = period["command_template"].replace("{{ value | tojson }}", "750")
        subprocess.run(["mosquitto_pub", "-p", str(broker.port), "-t", period["command_topic"], "-m", text],
                       check=True)
        eventually(lambda: reader.documents("/values")[-1]["Vantry/" + PERIOD] == 750)
        count = len(reader.documents("/config"))
        subprocess.run(["mosquitto_pub", "-p", str(broker.port), "-t", "homeassistant/status", "-m", "online"],
                       check=True)
        eventually(lambda: len(reader.documents("/config")) > count)


if __name__ == "__main__":
    unittest.main()
