#!/usr/bin/env python3
"""What clients of a gateway get: properties, changes, and confirmations of what they set."""

import os
import subprocess
import unittest
from urllib.parse import quote

from gateway_support import GatewayTestCase
import vantry


class ApiTestCase(GatewayTestCase):
    """Has a component with a fan on the hub."""

    def setUp(self):
        super().setUp()
        self.owner = vantry.Hub(self.hub.device)
        self.addCleanup(self.owner.close)
        fan = vantry.Component("Fan / Control", "Fans")
        self.speed = fan.number("Fan Speed", 100, lambda speed: speed if speed <= 3000 else None)
        self.air = fan.number("Air in ms", 20)
        self.note = fan.text("Note", 'Ünï "quoted" \\ </script>')
        self.owner.announce(fan)

    def path(self, one):
        return "/".join(quote(part, safe="") for part in (one.component, one.group, one.member))

    def known(self, gateway, one):
        """Waits until the gateway knows a property, and returns it."""
        return self.eventually(lambda: next(iter(
            [body for status, body, _ in [gateway.ask("/api/properties/" + self.path(one))]
             if status == 200]), None))


class Properties(ApiTestCase):
    def test_a_property_is_shown_with_all_that_is_known_of_it(self):
        gateway = self.gateway("--allow-write", "Fan*")
        self.assertLessEqual({
            "componentName": "Fan / Control", "groupName": "Fans", "name": "Air in ms", "value": "20",
            "available": True, "settable": True, "description": {"type": "number", "unit": "ms"},
        }.items(), self.known(gateway, self.air).items())
        self.assertEqual(self.known(gateway, self.note)["value"], 'Ünï "quoted" \\ </script>')
        long = vantry.Component("Long", "Long")
        text = long.text("Text", "x" * 300000)
        self.owner.announce(long)
        shown = self.known(gateway, text)
        self.assertEqual((len(shown["value"]), shown["valueBytes"]), (65536, 300000))
        self.owner.withdraw(self.air)
        self.eventually(lambda: not self.known(gateway, self.air)["available"])

    def test_filters_choose_properties(self):
        gateway = self.gateway()
        self.known(gateway, self.note)
        fan, air, note = "Fan Speed", "Air in ms", "Note"
        for query, wanted in (
                ("component=fan*&group=fans", {fan, air, note}), ("group=FANS&name=*e*", {fan, note}),
                ("match=fans/fan+speed", {fan}), ("match=*control/*/note", {note}),
                ("name=" + self.air.member, {air}), ("available=false&group=fans", set()),
                ("name=" + "*a" * 200 + "*b", set()), ("name=*%C3%BC*", set())):
            status, body, _ = gateway.ask("/api/properties?" + query)
            self.assertEqual((status, {one["name"] for one in body["properties"]}), (200, wanted), query)
        for query in ("nam=x", "available=maybe", "name=a&name=b", "name=%zz"):
            self.assertEqual(gateway.ask("/api/properties?" + query)[0], 400, query)


class Writes(ApiTestCase):
    def test_a_write_is_answered_by_what_became_of_it(self):
        gateway = self.gateway("--allow-write", "Fans/*", "--allow-write", "General/*")
        for one in self.speed, self.air:
            self.known(gateway, one)
        status, body = gateway.put(self.path(self.speed), "0250")
        self.assertEqual((status, body["value"]), (200, "250"))
        period = vantry.PropertyId(vantry.OWN_COMPONENT, "99A61D40-20CE-41EA-A579-EB92C6ED94C6",
                                   "DA821DC5-948D-4659-9B52-177E4C102129")
        for one, value, wanted in ((self.speed, "9000", 504), (self.air, "fast", 422),
                                   (period, "-1", 422), (period, "250", 200)):
            self.assertEqual(gateway.put(self.path(one), value)[0], wanted, value)
        for body, kind, wanted in (("{}", "application/json", 400), ('{"value":1}', "application/json", 400),
                                   ('{"value":"1","more":1}', "application/json", 400),
                                   ("[" * 100000, "application/json; charset=utf-8", 400),
                                   ('{"value":"1"}', "text/plain", 415)):
            self.assertEqual(gateway.ask("/api/properties/" + self.path(self.speed), "PUT", body,
                                         Content_Type=kind)[0], wanted, body[:20])
        self.assertEqual(gateway.put("A/B/C", "1")[0], 404)

    def test_nothing_is_written_that_was_not_allowed(self):
        for options, one in ((), self.speed), (("--allow-write", "Fans/Fan*"), self.air):
            gateway = self.gateway(*options)
            self.known(gateway, one)
            self.assertEqual(gateway.put(self.path(one), "1")[0], 403)
        self.assertEqual(self.owner.read(self.air).value, "20")


@unittest.skipUnless(os.path.exists(os.environ.get("VANTRY", "")), "the command line isn't built")
class Past(ApiTestCase):
    def test_what_was_recorded_is_told_while_it_is_recorded_and_afterwards(self):
        past = self.hub.folder.name + "/past/history.db"
        gateway = self.gateway("--history", past)
        self.known(gateway, self.air)
        query = "/api/history?component=%s&group=%s&guid=%s" % (self.air.component, self.air.group, self.air.member)
        self.assertEqual(gateway.ask(query)[0], 404)
        # A recorder has begun with its file, and has written nothing yet.
        os.mkdir(os.path.dirname(past))
        open(past, "w").close()
        self.assertEqual(gateway.ask(query)[0], 404)
        recorder = subprocess.Popen([os.environ["VANTRY"], "--device", self.hub.device, "history", "record",
                                     "--file", past, "--commit", "0.1"], stdout=subprocess.DEVNULL)
        self.addCleanup(lambda: (recorder.kill(), recorder.wait()))

        def values():
            return [change["value"] for change in gateway.ask(query)[1].get("changes", [])]
        for value in "20", "21", "19":
            self.owner.change(self.air, int(value))
            self.eventually(lambda: values()[-1:] == [value])
        self.assertEqual(values(), ["20", "21", "19"])
        changes = gateway.ask(query)[1]["changes"]
        kinds = [change["kind"] for change in changes]
        self.assertEqual(kinds[0], "start")
        # On a machine that is held up for long, reading again can come before a publication.
        self.assertLessEqual(set(kinds[1:]), {"change", "reconciled"})
        self.assertEqual([change["time"] for change in changes], sorted(change["time"] for change in changes))
        sums = [one for one in gateway.ask(query + "&since=-60&step=3600")[1]["steps"] if one["changes"]]
        self.assertEqual([(sum(one["changes"] for one in sums), min(one["minimum"] for one in sums),
                           max(one["maximum"] for one in sums))], [(3, 19, 21)])
        self.assertEqual(gateway.ask(query.replace(self.air.member, "X"))[0], 404)
        for wrong in "&since=x", "&since=10&until=5", "&step=0.001&since=-86400", "&most=0", "&color=1":
            self.assertEqual(gateway.ask(query + wrong)[0], 400, wrong)
        recorder.terminate()
        recorder.wait()
        self.assertEqual(values(), ["20", "21", "19", None][:len(values())])
        self.assertGreaterEqual(len(values()), 3)


class Changes(ApiTestCase):
    def test_a_reader_gets_the_present_values_and_then_each_change(self):
        gateway = self.gateway()
        self.known(gateway, self.note)
        events = self.events(gateway)
        self.assertEqual(events.next()[1]["reason"], "start")
        present = [data for kind, data in events.until("end") if kind == "property"]
        self.assertLess({"Fan Speed", "Air in ms", "Note"}, {one["name"] for one in present})
        self.owner.change(self.air, 21)
        events.until("change", guid=self.air.member, value="21")
        fan = vantry.Component("Fan / Control", "Fans")
        later = fan.text("Later", "here")
        self.owner.announce(fan)
        events.until("property", guid=later.member, name="Later", value="here")
        self.owner.withdraw(later)
        events.until("change", guid=later.member, available=False)

    def test_a_reader_that_was_away_gets_what_it_missed(self):
        gateway = self.gateway()
        self.known(gateway, self.note)
        first = self.events(gateway, "?match=Fans/*")
        first.until("end")
        first.close()
        self.owner.change(self.air, 22)
        self.eventually(lambda: self.known(gateway, self.air)["value"] == "22")
        again = self.events(gateway, "?match=Fans/*", last_id=first.last_id)
        self.assertEqual(len(again.until("change", guid=self.air.member, value="22")), 1)
        for unknown in "1-1", first.last_id + "0", "x":
            stranger = self.events(gateway, last_id=unknown)
            self.assertEqual(stranger.next()[1]["reason"], "gap", unknown)
            stranger.until("property", guid=self.air.member, value="22")

    def test_a_hub_that_dies_and_comes_back_is_told(self):
        gateway = self.gateway()
        self.known(gateway, self.note)
        events = self.events(gateway)
        events.until("end")
        self.hub.kill()
        events.until("hub", connected=False)
        self.assertEqual(gateway.ask("/healthz")[:2], (503, {"gateway": "ok", "hub": "absent"}))
        self.assertEqual(self.known(gateway, self.note)["name"], "Note")
        self.hub.start()
        events.until("hub", connected=True)
        self.eventually(lambda: gateway.ask("/healthz")[0] == 200)

    def test_a_gateway_without_a_hub_waits_for_one(self):
        self.hub.kill()
        gateway = self.gateway()
        self.assertEqual(gateway.ask("/healthz")[0], 503)
        events = self.events(gateway)
        self.assertFalse(events.next()[1]["about"]["hub"]["connected"])
        self.hub.start()
        events.until("property", name="Firmware Version")
        self.assertEqual(gateway.end(), 0)


if __name__ == "__main__":
    unittest.main()
