"""What a program learns about the owners of properties and the age of values."""

import subprocess
import sys

from support import HubTestCase

import vantry
from vantry import HEARTBEAT_GROUP, Component, Hub, Options, Owners, Presence
from vantry.heartbeat import Heartbeat

OWNER = """
import os, sys, time, vantry
hub = vantry.Hub(sys.argv[1])
fan = vantry.Component("Fan Control")
fan.number("Fan Speed", 0, lambda speed: os._exit(0))
hub.announce(fan)
time.sleep(600)
"""


def beat(**changes):
    """A heartbeat of this process that lists one property."""
    heartbeat = Heartbeat.of_this_process()
    heartbeat.interval = 10
    heartbeat.changed = {"G": {"P": heartbeat.clock - 5}}
    for name, change in changes.items():
        setattr(heartbeat, name, change(getattr(heartbeat, name)))
    return vantry.Property(vantry.PropertyId("C", HEARTBEAT_GROUP, "G:P"), "", "", "", heartbeat.text())


class Presences(HubTestCase):
    def test_a_presence_is_never_claimed_without_a_reason(self):
        one = vantry.PropertyId("C", "G", "P")
        another = {"processes": lambda _: "pid:[1]"}
        cases = (
            ({}, Presence.ALIVE, "runs"),
            ({"started": lambda at: at + 1}, Presence.GONE, "has ended"),
            ({"ended": lambda _: True}, Presence.GONE, "has left"),
            ({"clock": lambda at: at - 41}, Presence.UNKNOWN, "silent for 4"),
            (another, Presence.ALIVE, "runs"),
            ({"clock": lambda at: at - 41, **another}, Presence.GONE, "silent"),
            ({"boot": lambda _: "another"}, Presence.UNKNOWN, "no second heartbeat"),
            ({"changed": lambda _: {}}, Presence.UNKNOWN, "keeps no heartbeat"),
        )
        for changes, presence, why in cases:
            owners = Owners([beat(**changes)])
            self.assertIs(owners.of(one).presence, presence, changes)
            self.assertIn(why, owners.of(one).why)
        for text in ("", "[]", '{"process": 1}', "{"):
            heartbeat = vantry.Property(beat().id, "", "", "", text)
            self.assertIs(Owners([beat(), heartbeat]).of(one).presence, Presence.UNKNOWN)
        value = vantry.Property(one, "", "", "", "1")
        self.assertEqual(str(Owners([value]).age_of(one))[:2], "> ")
        # Seconds are cut, and the clocks of the two sides are read one after the other.
        self.assertRegex(str(Owners([value, beat()]).age_of(one)), "^[45] s$")
        heard = vantry.Change(value, vantry.ChangeKind.CHANGED)
        owners = Owners([value, beat()])
        owners.take(heard)
        self.assertLess(owners.age_of(one).seconds, 5)

    def test_a_write_to_a_property_whose_owner_has_died_says_so(self):
        with subprocess.Popen([sys.executable, "-c", OWNER, self.hub.device]) as owner, Hub(
            self.hub.device, Options(deadline=2.0)
        ) as hub:
            self.addCleanup(owner.kill)
            self.eventually(lambda: [one for one in hub.read_all() if one.name == "Fan Speed"])
            speed = hub.read("Fan Speed").id
            owners = Owners(hub.read_all())
            self.assertEqual(owners.of(speed).process, owner.pid)
            self.assertIs(owners.of(speed).presence, Presence.ALIVE)
            self.assertEqual(owners.changes(), [speed])
            with self.assertRaisesRegex(vantry.OwnerGone, "has ended"):
                hub.set(speed, 1)  # The handler ends the process.
            self.eventually(lambda: owners.changes() == [speed])
            self.assertIs(owners.of(speed).presence, Presence.GONE)
            heir = Component("Fan Control")
            heir.number("Fan Speed", 0, lambda speed: speed)
            with Hub(self.hub.device, Options(heartbeat=0)) as other:
                other.announce(heir)
                self.assertEqual(hub.set(speed, 2).number, 2)

    def test_heartbeats_follow_what_is_announced_and_set(self):
        def age(one):
            return Owners(reader.read_all()).age_of(one).seconds

        def heartbeats():
            return len(reader.read_group(HEARTBEAT_GROUP))

        with Hub(self.hub.device) as reader:
            with Hub(self.hub.device, Options(heartbeat=0.05)) as hub:
                sensors = Component("Sensors")
                first, second = sensors.number("First", 1), sensors.number("Second", 1)
                hub.announce(sensors)
                later = Component("Sensors")
                third = later.number("Third", 1)
                hub.announce(later)
                owners = Owners(reader.read_all())
                for one in (first, second, third):
                    self.assertIs(owners.of(one).presence, Presence.ALIVE)
                self.eventually(lambda: age(first) > 0.3)
                hub.change(second, 2)
                self.eventually(lambda: age(second) + 0.2 < age(first))
                hub.withdraw(first)
                self.assertEqual(heartbeats(), 1)
                hub.withdraw(second)
                self.eventually(lambda: reader.read(third) and heartbeats() == 1)
            self.assertIs(Owners(reader.read_all()).of(third).presence, Presence.GONE)
            with Hub(self.hub.device) as hub:
                hub.announce(later)
                self.assertEqual(heartbeats(), 2)
                hub.withdraw(third)
                self.eventually(lambda: heartbeats() == 1)
