"""What outlives the bridge and the broker. VANTRY_ROUNDS kills it more often than three times."""

import os
import signal
import unittest

from broker_support import BridgeTestCase, eventually, names_that_are_not_found

import vantry

ERRORS = "2EBF9DEF-D51C-47FE-935E-5EDCC530B867"
ROUNDS = int(os.environ.get("VANTRY_ROUNDS", "3"))


class Spool(BridgeTestCase):
    def kept(self):
        return sum(file.stat().st_size for file in os.scandir(self.folder + "/spool/P1")
                   if file.name.endswith(".seg")) if os.path.isdir(self.folder + "/spool/P1") else 0

    def test_no_event_is_lost_when_the_bridge_is_killed_while_the_broker_is_away(self):
        broker, hub = self.broker(), self.hub()
        component = vantry.Component("Fan Control", "Error", group_guid=ERRORS)
        fan = component.number("Fan in ms", 0)
        owner = vantry.Hub(hub.device)
        self.addCleanup(owner.close)
        owner.announce(component)
        broker.kill()
        for value in range(1, ROUNDS + 1):
            bridge = self.bridge(broker, hub, "--spool", self.folder + "/spool", "--history-rate", "1000")
            eventually(lambda: bridge.said().count("connected to the hub") == value)
            before = self.kept()
            owner.change(fan, value)
            eventually(lambda: self.kept() > before)
            bridge.end(signal.SIGKILL)
        bridge = self.bridge(broker, hub, "--spool", self.folder + "/spool", "--history-rate", "1000")
        reader = self.reader_before(bridge, broker)
        values = lambda: [change["value"] for event in reader.documents("/event") for change in event["changes"]
                          if change["property"].endswith("Fan in ms")]
        eventually(lambda: values()[-1:] == [ROUNDS])
        self.assertEqual(values(), list(range(1, ROUNDS + 1)))
        self.assertTrue(all(event["historical"] for event in reader.documents("/event")))
        self.assertEqual(bridge.end(), 0)

    def test_a_name_server_that_does_not_answer_holds_nothing_up(self):
        hub = self.hub()
        component = vantry.Component("Fan Control", "Error", group_guid=ERRORS)
        fan = component.number("Fan in ms", 0)
        owner = vantry.Hub(hub.device)
        self.addCleanup(owner.close)
        owner.announce(component)

        class Slow:
            url = "mqtt://broker.slow"
        with names_that_are_not_found():
            bridge = self.bridge(Slow, hub, "--plain-text", "--spool", self.folder + "/spool")
        eventually(lambda: "connected to the hub" in bridge.said())
        for value in range(1, ROUNDS + 1):
            before = self.kept()
            owner.change(fan, value)
            eventually(lambda: self.kept() > before)
        self.assertEqual(bridge.end(), 0)


if __name__ == "__main__":
    unittest.main()
