"""A broker that dies while many changes are on their way. With VANTRY_ROUNDS, an hour's changes at 100 times the rate."""

import os
import signal
import time
import unittest

from broker_support import PATIENCE, BridgeTestCase, eventually

import vantry

SUPPLIES = "41B87577-BD88-48CE-BF21-BF5A6BFC9FE3"
COUNT = 50
# 50 properties that change twice a second do in 36 s what one a second does in an hour.
ROUNDS = 72 if "VANTRY_ROUNDS" in os.environ else 12


class Outage(BridgeTestCase):
    def test_what_happens_while_the_broker_is_killed_is_all_told_in_order_and_live_first(self):
        broker, hub = self.broker(), self.hub()
        owner = vantry.Hub(hub.device)
        self.addCleanup(owner.close)
        component = vantry.Component("Supplies", "Substrate Printer Properties", group_guid=SUPPLIES)
        ids = [component.number("Amount %02d in ms" % one, 0) for one in range(COUNT)]
        owner.announce(component)
        before = self.reader(broker.port)
        bridge = self.bridge(broker, hub, "--spool", self.folder + "/spool", "--history-rate", "0.5")
        eventually(lambda: any(len(one["properties"]) >= COUNT for one in before.documents("/state")))
        after = None
        for value in range(1, ROUNDS + 1):
            begin = time.monotonic()
            for one in ids:
                owner.change(one, value)
            if value == ROUNDS // 3:
                # Stopped first, it can't acknowledge an event that its reader never gets.
                eventually(lambda: before.documents("/event"))
                broker.process.send_signal(signal.SIGSTOP)
                broker.kill()
            if value == 2 * ROUNDS // 3:
                after = self.reader_before(bridge, broker)
            time.sleep(max(0, begin + 0.5 - time.monotonic()))
        events = lambda: before.documents("/event") + after.documents("/event")
        historical = lambda: [event["seq"] for event in after.documents("/event") if event.get("historical")]
        last = lambda: max(event["seq"] for event in events())
        lost = lambda: set(range(1, last() + 1)) - {event["seq"] for event in events()}
        # The broker may have taken one more than it could hand on when it was stopped.
        eventually(lambda: COUNT == len({one["property"] for event in events() for one in event["changes"]
                                         if int(one["value"]) == ROUNDS}) and
                   historical() and lost() <= {min(historical()) - 1}, 4 * PATIENCE)
        told = {}
        # An event that came twice is the same one.
        for event in (one for _, one in sorted({event["seq"]: event for event in events()}.items())):
            for change in event["changes"]:
                told.setdefault(change["property"], []).append(int(change["value"]))
        for name, values in told.items():
            self.assertEqual((values[-1], values), (ROUNDS, sorted(values)), name)
        late = after.documents("/event")
        self.assertEqual(historical(), sorted(historical()))
        first_live = next(place for place, event in enumerate(late) if not event.get("historical"))
        last_historical = max(place for place, event in enumerate(late) if event.get("historical"))
        self.assertLess(first_live, last_historical)
        print("%d changes, %d events, %d of them historical, %d lost" % (
            sum(map(len, told.values())), last(), len(historical()), len(lost())))


if __name__ == "__main__":
    unittest.main()
