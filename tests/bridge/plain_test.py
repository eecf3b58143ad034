"""What a reader at the broker loses when the bridge fails it, in the plain style."""

import json
import signal
import subprocess
import unittest

from broker_support import PATIENCE, Bridge, BridgeTestCase, eventually

import vantry

PERIOD = "Vantry/General/Property Publishing Period in ms"
ERRORS = "2EBF9DEF-D51C-47FE-935E-5EDCC530B867"


def fans(count=1):
    fans = vantry.Component("Fan Control", "Error", group_guid=ERRORS)
    return fans, [fans.number("Fan %d in ms" % one, 0) for one in range(count)]


class Plain(BridgeTestCase):
    def owner(self, hub, count=1):
        owner = vantry.Hub(hub.device)
        self.addCleanup(owner.close)
        component, ids = fans(count)
        owner.announce(component)
        return owner, ids

    def test_state_events_and_health_are_published_and_the_will_tells_a_death(self):
        broker, hub = self.broker(), self.hub()
        owner, ids = self.owner(hub)
        reader = self.reader(broker.port)
        bridge = self.bridge(broker, hub)
        state = eventually(lambda: reader.documents("/state"))[-1]
        self.assertEqual(state["properties"]["Fan Control/Error/Fan 0 in ms"]["value"], 0)
        self.assertNotIn(PERIOD, state["properties"], "a group that isn't for outside")
        owner.change(ids[0], 17)
        event = eventually(lambda: reader.documents("/event"))[0]
        self.assertEqual((event["seq"], event["changes"][0]["value"]), (1, 17))
        eventually(lambda: reader.documents("/health")[-1]["hub"])
        bridge.end(signal.SIGKILL)
        eventually(lambda: not reader.documents("/health")[-1]["online"])
        late = self.reader(broker.port)
        eventually(lambda: len(late.messages) == 2)
        self.assertTrue(all(retained for _, _, retained in late.messages))

    def test_a_bridge_finds_hub_and_broker_that_come_later_and_come_back(self):
        for version in ("5", "3.1.1"):
            with self.subTest(version):
                broker, hub = self.broker(), self.hub()
                broker.kill(), hub.kill()
                self.bridge(broker, hub, "--protocol", version, "--all-groups", serial="L" + version[0])
                hub.start(), broker.start()
                reader = self.reader(broker.port)
                eventually(lambda: any(PERIOD in one["properties"] for one in reader.documents("/state")))
                hub.kill()
                eventually(lambda: not reader.documents("/health")[-1]["hub"])
                hub.start()
                eventually(lambda: reader.documents("/health")[-1]["hub"])

    def test_what_happens_without_a_broker_is_sent_later_in_order_behind_what_is_new(self):
        broker, hub = self.broker(), self.hub()
        owner, ids = self.owner(hub)
        reader = self.reader(broker.port)
        bridge = self.bridge(broker, hub, "--history-rate", "1000")
        eventually(lambda: reader.documents("/state"))
        broker.kill()
        # The hub publishes the latest value of a period, so each one waits for the one before.
        with vantry.Hub(hub.device) as other, other.changes() as changes:
            for value in range(1, 6):
                owner.change(ids[0], value)
                eventually(lambda: (lambda one: one.name.startswith("Fan") and one.value == str(value))(
                    changes.next(PATIENCE).property))
        reader = self.reader_before(bridge, broker)
        values = lambda events: [one["value"] for event in events for one in event["changes"]]
        eventually(lambda: 5 in values(reader.documents("/event")))
        eventually(lambda: len(reader.documents("/event")) == max(one["seq"] for one in reader.documents("/event")))
        events = reader.documents("/event")
        told = values(sorted(events, key=lambda event: event["seq"]))
        self.assertEqual((told[-1], told), (5, sorted(set(told))))
        late = values([event for event in events if event.get("historical")])
        self.assertEqual((late[0], late), (told[0], sorted(late)))
        self.assertEqual(reader.documents("/state")[0]["properties"]["Fan Control/Error/Fan 0 in ms"]["value"], 5)

    def test_writes_are_obeyed_only_where_they_are_allowed_and_are_answered(self):
        broker, hub = self.broker(), self.hub()
        reader = self.reader(broker.port)
        self.bridge(broker, hub, "--all-groups", "--allow-write", "*/Property Publishing*")
        eventually(lambda: any(PERIOD in one["properties"] for one in reader.documents("/state")))
        name = "Vantry/General/Error Log File Name"
        cases = [({"property": PERIOD, "value": 750, "correlation": "a"}, True),
                 ({"property": PERIOD, "value": "fast"}, "takes a"),
                 ({"property": PERIOD, "value": 750, "expires": 1}, "too late"),
                 ({"property": name, "value": "x"}, "may not be written"),
                 ({"property": "Nobody/Has/This", "value": 1}, "no property"),
                 ({"value": 1}, "a write is"), ("{", "a write is")]
        for number, (write, expected) in enumerate(cases):
            text = write if isinstance(write, str) else json.dumps(write)
            subprocess.run(["mosquitto_pub", "-p", str(broker.port), "-t", "vantry/v1/lab/P1/cmd/set",
                            "-m", text], check=True)
            answer = eventually(lambda: reader.documents("/answer")[number:])[0]
            self.assertEqual(answer["ok"], expected is True, answer)
            self.assertIn("" if expected is True else expected, answer.get("error", ""))
        self.assertEqual(reader.documents("/answer")[0]["correlation"], "a")
        response = subprocess.run(
            ["mosquitto_rr", "-V", "5", "-p", str(broker.port), "-t", "vantry/v1/lab/P1/cmd/set", "-e", "own/answer",
             "-m", json.dumps({"property": PERIOD, "value": 500}), "-W", "30"], stdout=subprocess.PIPE)
        self.assertEqual(json.loads(response.stdout)["value"], 500)
        subprocess.run(["mosquitto_pub", "-p", str(broker.port), "-t", "vantry/v1/lab/P1/cmd/set", "-r", "-m",
                        json.dumps({"property": PERIOD, "value": 750})], check=True)

    def test_retire_removes_what_is_retained(self):
        broker, hub = self.broker(), self.hub()
        bridge = self.bridge(broker, hub)
        reader = self.reader(broker.port)
        eventually(lambda: reader.documents("/state"))
        bridge.end()
        self.assertFalse(reader.documents("/health")[-1]["online"])
        self.assertEqual(self.bridge(broker, hub, "--retire").process.wait(PATIENCE), 0)
        self.assertEqual(subprocess.run(["mosquitto_sub", "-p", str(broker.port), "-t", "#", "-W", "1"],
                                        stdout=subprocess.PIPE).stdout, b"")

    def test_a_list_of_printers_is_followed_while_the_bridge_runs(self):
        broker, one, two = self.broker(), self.hub(), self.hub()
        reader = self.reader(broker.port)
        name = self.folder + "/printers"

        def listed(text):
            with open(name, "w") as file:
                file.write(text)
        listed("# all of them\nA device=%s\n" % one.device)
        bridge = Bridge(self.folder, "--broker", broker.url, "--site", "lab", "--printers", name)
        self.addCleanup(bridge.end)
        eventually(lambda: reader.documents("lab/A/health"))
        listed("A device=%s\nB tcp=%s\n" % (one.device, two.tcp))
        eventually(lambda: reader.documents("lab/B/state"))
        listed("B tcp=%s\nB tcp=%s\n" % (two.tcp, two.tcp))
        eventually(lambda: "line 2: B stands twice" in bridge.said())
        listed("B tcp=%s\n" % two.tcp)
        eventually(lambda: not reader.documents("lab/A/health")[-1]["online"])
        self.assertTrue(reader.documents("lab/B/health")[-1]["online"])


if __name__ == "__main__":
    unittest.main()
