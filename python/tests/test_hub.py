"""Watching, owning and writing properties, against a real hub."""

import asyncio
import glob
import socket
import threading
import time

from support import HubTestCase

import vantry
from vantry import ChangeKind, Component, Hub, Options

PERIOD = "General/Property Publishing Period in ms"
FAST = Options(first_pause=0.02, longest_pause=0.1, interval=0.5)


class Reading(HubTestCase):
    def test_values_are_read_and_set_by_name(self):
        with Hub(self.hub.device) as hub:
            period = hub.read(PERIOD)
            self.assertEqual((period.value, period.number, period.boolean), ("500", 500, None))
            self.assertEqual(hub.set(period.id, 750).value, "750")
            self.assertEqual(hub.read(period.id).number, 750)
            self.assertIn(period.id, [one.id for one in hub.read_group(period.id.group)])
            for missing in ("No Such Thing", vantry.PropertyId("C", "G", "P")):
                with self.assertRaisesRegex(vantry.NotFound, "has no property"):
                    hub.read(missing)

    def test_external_connections_are_refused_what_the_hub_would_ignore(self):
        with Hub(self.hub.tcp) as hub:
            self.assertEqual(hub.read("Firmware Version").group_name, "Product Info")
            with self.assertRaisesRegex(vantry.Refused, "ignores writes"):
                hub.write(hub.read("Firmware Version").id, "x")

    def test_many_threads_each_get_their_own_answer(self):
        with Hub(self.hub.device) as hub:
            every = hub.read_all()
            wrong = []

            def ask(one):
                for _ in range(20):
                    if hub.read(one.id).id != one.id:
                        wrong.append(one)

            threads = [threading.Thread(target=ask, args=(one,)) for one in every[:8]]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            self.assertEqual(wrong, [])


    def test_an_orderly_end_leaves_no_line_in_the_log(self):
        def log():
            (file,) = glob.glob(self.hub.folder.name + "/root/**/*Log*", recursive=True)
            with open(file) as lines:
                return lines.read()

        # The hub's own first line is there.
        before = self.eventually(log)
        for address in (self.hub.device, self.hub.tcp):
            with Hub(address) as hub, hub.changes() as changes:
                changes.next()
        with socket.socket(socket.AF_UNIX) as link:
            link.connect(self.hub.device)
            link.sendall(b"no frame, which the hub logs behind all that came before it")
        lines = self.eventually(lambda: log()[len(before):])
        self.assertEqual(lines.count("\n"), 1, lines)


class Owning(HubTestCase):
    def setUp(self):
        super().setUp()
        self.owner = Hub(self.hub.device, FAST)
        self.addCleanup(self.owner.close)
        self.other = Hub(self.hub.device, FAST)
        self.addCleanup(self.other.close)

    def test_texts_come_back_as_they_were(self):
        texts = ['say "hi"', "back\\slash \\n", "tab\t, line\n, \x01", "äöü 漢字 🙂", "", "a" * 500_000,
                 b"\xff\xc3 bytes".decode("utf-8", "surrogateescape")]
        fan = Component('The "Fan"', "Group \\ slash")
        words = fan.text('A "name"', "start", lambda written: written)
        self.owner.announce(fan)
        for text in texts:
            with self.subTest(ascii(text[:20])):
                self.assertTrue(self.other.set(words, text).value == text)
                self.owner.change(words, text + ".")
                self.owner.flush()
                self.assertTrue(self.other.read(words).value == text + ".")
        found = self.other.read(words)
        self.assertEqual((str(found), found.component_name),
                         ('Group \\ slash/A "name"', 'The "Fan"'))

    def test_a_write_that_its_writer_did_not_escape_is_never_an_answer(self):
        got = []
        fan = Component("Fan")
        words = fan.text("Words", "", lambda written: got.append(written))
        self.owner.announce(fan)
        with socket.socket(socket.AF_UNIX) as link:
            link.connect(self.hub.device)
            from test_vectors import talk
            talk(link, '{"PropertySetRequests": [{"Component": "%s","GUID": "%s","Value": "say \\"hi\\""}]}'
                 % (words.component, words.guid))
            for _ in range(50):
                self.assertEqual(self.owner.read(words).id, words)
            self.eventually(lambda: got == ['say "hi"'])

    def test_handlers_get_typed_values_and_may_use_the_hub(self):
        fan = Component("Fan")
        seen = []

        def turn(speed):
            seen.append((speed, self.owner.read(PERIOD).number))
            if speed == 13:
                raise ValueError("unlucky")
            return None if speed > 3000 else speed

        speed = fan.number("Speed", 0, turn)
        light = fan.boolean("Light", False, lambda on: on)
        stop = fan.command("Stop", lambda: True)
        self.owner.announce(fan)
        self.assertEqual(self.other.set(speed, 1200).number, 1200)
        self.assertIs(self.other.set(light, True).boolean, True)
        self.assertIs(self.other.set(stop, True).boolean, True)
        with Hub(self.hub.device, Options(deadline=1)) as hasty, self.assertLogs("vantry"):
            for refused in (5000, 13, "fast"):
                with self.assertRaisesRegex(vantry.TimedOut, "did not take '%s'" % refused):
                    hasty.set(speed, refused)
        self.assertEqual(seen, [(1200, 500), (5000, 500), (13, 500)])

    def test_what_cannot_be_announced_is_refused(self):
        fan = Component("Fan")
        fan.number("Speed", 1)
        self.owner.announce(fan)
        with self.assertRaisesRegex(vantry.Refused, "announced already"):
            self.owner.announce(fan)
        (speed,) = fan
        for value in (-1, 2**32, "fast", True, "+7", " 1"):
            with self.assertRaises(vantry.Refused):
                self.owner.change(speed.id, value)
        for wrong in (dict(guid=vantry.OWN_COMPONENT), dict(group_guid="a:b")):
            with self.assertRaises(vantry.Refused):
                Component("Fan", **wrong).text("Words", "")
        with self.assertRaises(vantry.Refused):
            fan.text("Words", "nul\0")

    def test_a_return_right_behind_a_withdrawal_is_heard_last(self):
        fan = Component("Fan")
        speed = fan.number("Speed", 1)
        self.owner.announce(fan)
        with self.other.changes(speed) as changes:
            self.assertEqual(changes.next().kind, ChangeKind.PRESENT)
            self.owner.withdraw(speed)
            again = Component("Fan")
            again.number("Speed", 2)
            self.owner.announce(again)
            kinds = [changes.next(20).kind, changes.next(20).kind]
        self.assertEqual(kinds, [ChangeKind.GONE, ChangeKind.CHANGED])
        self.assertEqual(self.other.read(speed).number, 2)

    def test_a_killed_hub_is_found_again_with_all_that_changed_meanwhile(self):
        fan = Component("Fan")
        speed = fan.number("Speed", 0, lambda value: value)
        old = fan.number("Old", 0)
        self.owner.announce(fan)
        changes = self.other.changes()
        # Until both are known to it.
        self.eventually(lambda: changes.next(20).property.id == speed)
        self.hub.kill()
        self.eventually(lambda: not self.owner.connected)
        self.owner.change(speed, 7)
        self.owner.withdraw(old)
        with self.assertRaises(vantry.NoConnection):
            self.owner.read(speed)
        self.hub.start()
        self.eventually(lambda: self.owner.connected)
        self.owner.change(speed, 8)
        self.eventually(lambda: self.other.connected)
        heard = {}

        def all_heard():
            change = changes.next(20)
            heard[change.property.id] = change
            return old in heard and speed in heard and heard[speed].property.value == "8"

        self.eventually(all_heard)
        self.assertEqual(heard[old].kind, ChangeKind.GONE)
        self.assertTrue(heard[old].missed)
        self.assertEqual(self.other.set(speed, 9).number, 9)


class Bursts(HubTestCase):
    def test_a_subscriber_is_right_again_after_the_interval(self):
        for count in (600, 2000):
            fan = Component("Fan %d" % count)
            ids = [fan.number("Speed %d" % i, 0) for i in range(count)]
            with self.subTest(count), Hub(self.hub.device) as owner, \
                    Hub(self.hub.device, Options(interval=2)) as other:
                owner.announce(fan)
                subscriptions = {"all": other.changes(), "list": other.changes(*ids)}
                known = {name: {} for name in subscriptions}
                missed = dict.fromkeys(subscriptions, 0)

                def drain(value):
                    for name, changes in subscriptions.items():
                        change = changes.next(0.05)
                        while change is not None:
                            known[name][change.property.id] = change.property.value
                            missed[name] += change.missed
                            change = changes.next(0.05)
                    return all([known[name].get(one) for one in ids] == [value] * count
                               for name in subscriptions)

                self.eventually(lambda: drain("0"))
                start = time.monotonic()
                for one in ids:
                    owner.change(one, 1)
                self.eventually(lambda: drain("1"))
                print("%d properties at once: right after %.1f s; read again: %s"
                      % (count, time.monotonic() - start, missed))


class NoHub(HubTestCase):
    def test_the_other_side_is_named_when_it_is_no_hub(self):
        cases = {b"HTTP/1.1 400 Bad Request\r\n": "is not a hub: it says",
                 bytes.fromhex("B3EC099A229248FA83D006840BC99102FFFFFFFF"): "a message of 4294967295",
                 b"": "did not answer as a hub in 1 s"}
        for said, error in cases.items():
            with self.subTest(said), socket.create_server(("127.0.0.1", 0)) as server:
                name = "127.0.0.1:%d" % server.getsockname()[1]

                def serve():
                    link, _ = server.accept()
                    with link:
                        link.sendall(said)
                        while link.recv(4096):
                            pass

                serving = threading.Thread(target=serve)
                serving.start()
                with self.assertRaisesRegex(vantry.NotAHub, name + ".*" + error):
                    Hub(name)
                serving.join()
        for address in (name, self.hub.folder.name + "/nothing"):
            with self.assertRaisesRegex(vantry.NoConnection, "can't reach the hub at " + address):
                Hub(address)


class Asyncio(HubTestCase):
    def test_coroutines_iterators_and_handlers_work_together(self):
        async def main():
            async with await vantry.AsyncHub.connect(self.hub.device) as owner, \
                    await vantry.AsyncHub.connect(self.hub.device) as other:

                async def turn(speed):
                    await asyncio.sleep(0)
                    return speed + 1

                fan = Component("Fan", "Fans")
                speed = fan.number("Speed", 0, turn)
                await owner.announce(fan)
                async with other.changes(group=speed.group) as changes:
                    values = [(await changes.next()).property.number]
                    await other.write("Fans/Speed", 5)
                    async for change in changes:
                        values.append(change.property.number)
                        if change.property.number == 6:
                            break
                both = await asyncio.gather(other.read(speed), other.read_all())
                return values, both[0].number

        self.assertEqual(asyncio.run(main()), ([0, 6], 6))
