#!/usr/bin/env python3
"""Clients that mean harm, or don't know better: each gets a clear answer, and no other one notices."""

import contextlib
import os
import random
import re
import signal
import socket
import ssl
import unittest

from gateway_support import GatewayTestCase, HOST, LIST, PATIENCE, make_certificate
import vantry

LONGEST = (4 << 20) - 1024
"""A value that the hub just takes: a message has 4 MiB."""
END = b"Connection: close\r\n\r\n"


def put_at(host):
    return b"PUT /api/properties/a/b/c HTTP/1.1\r\n" + host


def wrong_requests(host):
    """Requests to a gateway with this line of its address, some of them right, and their statuses."""
    return (
        # Who is asked, and by whom
        (200, b"GET /healthz HTTP/1.1\r\n" + host + END),
        (200, b"GET /healthz HTTP/1.1\r\nHost: LocalHost\r\n" + END),
        (200, b"GET /healthz HTTP/1.1\r\n" + HOST + b"Origin: http://localhost:80\r\n" + END),
        (400, b"GET /healthz HTTP/1.1\r\n" + END),
        (400, b"GET /healthz HTTP/1.1\r\n" + HOST + HOST + END),
        (400, b"GET /healthz HTTP/1.1\r\nHost: user@localhost\r\n" + END),
        (400, b"GET /healthz HTTP/1.1\r\nHost: localhost:x\r\n" + END),
        (421, b"GET /healthz HTTP/1.1\r\nHost: rebound.example\r\n" + END),
        (421, b"GET /healthz HTTP/1.1\r\nHost: localhost.rebound.example\r\n" + END),
        (421, b"GET /healthz HTTP/1.1\r\nHost: 10.0.0.1\r\n" + END),
        (403, LIST + b"Origin: null\r\n" + END),
        (403, LIST + b"Origin: http://localhost:1\r\n" + END),
        (403, LIST + b"Origin: http://localhost.rebound.example\r\n" + END),
        (403, LIST + b"Origin: file://\r\n" + END),
        # Paths
        (404, b"GET /etc/passwd HTTP/1.1\r\n" + HOST + END),
        (404, b"GET //api/properties HTTP/1.1\r\n" + HOST + END),
        (404, b"GET /api/properties/ HTTP/1.1\r\n" + HOST + END),
        (404, b"GET /api%2fproperties HTTP/1.1\r\n" + HOST + END),
        (400, b"GET /../etc/passwd HTTP/1.1\r\n" + HOST + END),
        (400, b"GET /%2e%2e/%2e%2e/etc/passwd HTTP/1.1\r\n" + HOST + END),
        (400, b"GET /api/%00 HTTP/1.1\r\n" + HOST + END),
        (400, b"GET /api/%zz HTTP/1.1\r\n" + HOST + END),
        (400, b"GET /api/% HTTP/1.1\r\n" + HOST + END),
        (400, b"GET http://localhost/healthz HTTP/1.1\r\n" + HOST + END),
        (400, b"GET * HTTP/1.1\r\n" + HOST + END),
        # Methods, bodies and texts that are no requests
        (405, b"TRACE /healthz HTTP/1.1\r\n" + HOST + END),
        (405, b"BREW /healthz HTTP/1.1\r\n" + HOST + END),
        (413, put_at(host) + b"Content-Length: 999999999\r\n" + END),
        (431, b"GET /healthz HTTP/1.1\r\n" + HOST + b"X: " + b"x" * 20000 + b"\r\n" + END),
        (431, b"GET /" + b"x" * 20000),
        (400, b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03"),
        (400, b"GET /healthz HTTP/2.0\r\n" + HOST + END),
        (400, b"GET /healthz\r\n\r\n"),
        (400, b"GET /healthz HTTP/1.1\r\nHo st: localhost\r\n" + END),
        (400, put_at(host) + b"Content-Length: 1\r\nContent-Length: 2\r\n" + END),
        (400, put_at(host) + b"Content-Length: -1\r\n" + END))


class Requests(GatewayTestCase):
    def test_each_wrong_request_gets_its_status(self):
        gateway = self.gateway()
        self.eventually(lambda: gateway.ask("/healthz")[0] == 200)
        here = b"Host: 127.0.0.1:%d\r\n" % gateway.port
        for wanted, text in wrong_requests(here):
            heard = gateway.say(text)
            self.assertTrue(heard.startswith(b"HTTP/1.1 %d " % wanted), (wanted, text[:80], heard[:80]))
            self.assertIn(b"\r\nContent-Security-Policy: default-src 'none'; ", heard)
            self.assertNotIn(b"unsafe", heard)
        self.assertEqual(gateway.say(LIST + b"\r\n" + LIST + END).count(b"HTTP/1.1 200 OK"), 2)
        for smuggled in (b"Content-Length: 4\r\nTransfer-Encoding: chunked\r\n", b"Transfer-Encoding: chunked, identity\r\n",
                         b"Transfer-Encoding: \x0bchunked\r\n", b"Content-Length: +4\r\n", b"Content-Length: 4, 4\r\n"):
            heard = gateway.say(put_at(here) + smuggled + b"\r\n0\r\n\r\nGET /healthz HTTP/1.1\r\n" + HOST + END)
            self.assertEqual(heard.count(b"HTTP/1.1 "), 1, (smuggled, heard))
        self.assertEqual(gateway.say((b"GET /healthz HTTP/1.1\r\n" + HOST + b"\r\n") * 500 + LIST + END).count(
            b"HTTP/1.1 200 OK\r\n"), 501)
        head = gateway.say(b"HEAD /metrics HTTP/1.1\r\n" + HOST + END)
        self.assertTrue(head.startswith(b"HTTP/1.1 200") and head.endswith(b"\r\n\r\n"), head)
        self.assertNotIn(b"chunked", gateway.say(b"GET /api/properties HTTP/1.0\r\n" + HOST + b"\r\n"))

    def test_a_body_that_is_too_long_is_refused_before_it_is_read(self):
        gateway = self.gateway("--allow-write", "*")
        one = self.eventually(lambda: gateway.ask("/api/properties?name=*in+ms")[1]["properties"])[0]
        put = ("PUT /api/properties/%(component)s/%(group)s/%(guid)s HTTP/1.1\r\nHost: localhost\r\n"
               "Content-Type: application/json\r\n" % one).encode()
        for text in (b"Content-Length: 300000\r\n\r\n" + b"x" * 300000,
                     b"Transfer-Encoding: chunked\r\n\r\n493e0\r\n" + b"x" * 300000 + b"\r\n0\r\n\r\n"):
            self.assertIn(b" 413 ", gateway.say(put + text, keep_sending=True)[:20])
        self.assertIn(b"100 Continue", gateway.say(
            put + b"Expect: 100-continue\r\nConnection: close\r\nContent-Length: 15\r\n\r\n" + b'{"value":"500"}'))

    def test_random_bytes_and_torn_requests_leave_it_as_it_was(self):
        gateway = self.gateway()
        chance = random.Random(1)
        seeds = [LIST + b"Accept: */*\r\nLast-Event-ID: 1-2\r\n\r\n", b"PUT /api/properties/a/b/c HTTP/1.1\r\n"
                 + HOST + b"Transfer-Encoding: chunked\r\nContent-Type: application/json\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
                 b"GET /api/history?component=%20&group=+&guid=x&since=-1e3&step=0.5 HTTP/1.1\r\n" + HOST + b"\r\n",
                 b"GET /api/properties?name=*a*b*c?&available=true HTTP/1.1\r\n" + HOST + b"\r\n"]
        for _ in range(int(os.environ.get("VANTRY_ROUNDS", "400"))):
            text = bytearray(chance.choice(seeds))
            for _ in range(chance.randrange(1, 9)):
                at = chance.randrange(len(text))
                text[at:at + chance.randrange(3)] = chance.choice(
                    (b"", bytes([chance.randrange(256)]), b"\r\n", b"%", b"\0", chance.randbytes(9), bytes(text[:at])))
            heard = gateway.say(bytes(text))
            self.assertTrue(not heard or re.match(rb"HTTP/1\.1 [1-5]\d\d ", heard), (text, heard[:99]))
        self.assertEqual(gateway.ask("/healthz")[0], 200)
        self.assertEqual(gateway.end(), 0)


class Crowds(GatewayTestCase):
    def links(self, gateway, count, text):
        opened = contextlib.ExitStack()
        self.addCleanup(opened.close)
        for _ in range(count):
            link = opened.enter_context(socket.create_connection(("127.0.0.1", gateway.port), PATIENCE))
            link.sendall(text)
        return opened

    def test_clients_that_say_nothing_or_half_keep_no_other_one_out(self):
        gateway = self.gateway()
        self.links(gateway, 300, b"")
        self.links(gateway, 300, b"GET /healthz HTTP/1.1\r\nHost: loc")
        self.eventually(lambda: gateway.ask("/healthz")[0] == 200)
        self.assertEqual(gateway.say(b"GET /healthz HTTP/1.1\r\nHost: loc", keep_sending=True), b"")

    def test_clients_that_send_or_take_their_bodies_slowly_keep_no_other_one_out(self):
        gateway = self.gateway()
        owner = vantry.Hub(self.hub.device)
        self.addCleanup(owner.close)
        long = vantry.Component("Long", "Long")
        for number in range(40):
            long.text("Text %d" % number, "x" * 60000)
        owner.announce(long)
        self.eventually(lambda: len(gateway.ask("/api/properties?group=Long")[1]["properties"]) == 40)
        for text in (b"GET /healthz HTTP/1.1\r\n" + HOST + b"Content-Length: 200000\r\n\r\nslowly", LIST + b"\r\n"):
            with self.links(gateway, 600, text):
                self.eventually(lambda: gateway.ask("/healthz")[0] == 200)

    def test_stalled_handshakes_keep_no_other_one_out(self):
        key, certificate = make_certificate(self.hub.folder.name + "/used")
        gateway = self.gateway("--tls-cert", certificate, "--tls-key", key)
        self.links(gateway, 300, b"")
        self.links(gateway, 300, b"\x16\x03\x01\x02\x00\x01\x00")
        self.assertTrue(ssl.get_server_certificate(("127.0.0.1", gateway.port), timeout=PATIENCE))

    def test_readers_beyond_the_bound_are_told(self):
        gateway = self.gateway()
        readers = self.links(gateway, 400, b"GET /api/changes HTTP/1.1\r\n" + HOST + b"\r\n")
        self.eventually(lambda: gateway.ask("/api/changes?available=x")[0] == 400)
        self.eventually(lambda: b" 503 " in gateway.say(
            b"GET /api/changes HTTP/1.1\r\n" + HOST + b"\r\n")[:20])
        self.assertEqual(gateway.ask("/healthz")[0], 200)
        readers.close()
        self.eventually(lambda: "\nvantry_gateway_streams 0\n" in gateway.ask("/metrics")[1])

    def test_a_hub_that_is_stopped_is_told_and_a_write_to_it_waits_for_no_other_request(self):
        gateway = self.gateway("--allow-write", "*")
        one = self.eventually(lambda: gateway.ask("/api/properties?name=*in+ms")[1]["properties"])[0]
        self.hub.process.send_signal(signal.SIGSTOP)
        # The signal stops one thread after the other, and a session that still runs would answer.
        threads = "/proc/%d/task" % self.hub.process.pid
        self.eventually(lambda: all(
            open("%s/%s/stat" % (threads, thread)).read().rpartition(")")[2].split()[0] == "T"
            for thread in os.listdir(threads)))
        path = "%(component)s/%(group)s/%(guid)s" % one
        self.assertEqual(gateway.put(path, "500")[0], 504)
        self.eventually(lambda: gateway.ask("/healthz")[0] == 503)
        self.hub.process.send_signal(signal.SIGCONT)
        self.eventually(lambda: gateway.ask("/healthz")[0] == 200)
        self.assertEqual(gateway.put(path, "750")[0], 200)


class Hubs(GatewayTestCase):
    """A hub whose components tell what harms a careless reader."""

    def setUp(self):
        super().setUp()
        self.owner = vantry.Hub(self.hub.device)
        self.addCleanup(self.owner.close)

    def test_hostile_texts_stay_texts(self):
        hostile = ["<script>alert(1)</script>", "a\r\nSet-Cookie: x=1\r\n\r\n<html>", "data: x\n\nevent: end\n\n",
                   "\x01\x1b[31m\x7f\u2028", "\udcff\udc80", "*?[a]/../%2e%2e", '"},{"value":"', "x" * 5000]
        component = vantry.Component("<b>C</b>\r\n", "G\r\nX: y")
        ones = [component.text("Name %s" % text[:500], text) for text in hostile]
        self.owner.announce(component)
        gateway = self.gateway()
        events = self.events(gateway, "?component=*%3Cb%3E*")

        def listed():
            return {one["guid"]: one["value"] for one in gateway.ask("/api/properties")[1]["properties"]}
        self.eventually(lambda: {one.member for one in ones} <= set(listed()))
        shown = listed()
        told = {}
        while not {one.member for one in ones} <= set(told):
            kind, data = events.next()
            if kind == "property":
                told[data["guid"]] = data["value"]
        for one, text in zip(ones, hostile):
            wanted = text.encode(errors="surrogateescape").decode(errors="replace")
            self.assertEqual((shown[one.member], told[one.member]), (wanted, wanted))
        status, text, headers = gateway.ask("/metrics")
        self.assertEqual((status, headers["X"], headers["Set-Cookie"]), (200, None, None))
        self.assertTrue(all(line.startswith(("# ", "vantry_")) for line in text.split("\n") if line))

    def test_very_long_values_and_very_many_properties_are_carried(self):
        gateway = self.gateway()
        long = vantry.Component("Long", "Long")
        text = long.text("Text", "")
        self.owner.announce(long)
        # A change of a property that the gateway doesn't know yet would be no change for the reader.
        self.eventually(lambda: gateway.ask("/api/properties?group=Long")[1]["properties"])
        reader = self.events(gateway, "?group=Long")
        reader.until("end")
        for turn, length in enumerate([3 << 20, LONGEST, LONGEST, 3 << 20]):
            self.owner.change(text, str(turn) * length)
            reader.until("change", value=str(turn) * 65536, valueBytes=length)
        many = 3000
        for begin in range(0, many, 1000):
            component = vantry.Component("Many", "Many")
            for number in range(begin, begin + 1000):
                component.number("Number %06d" % number, number)
            self.owner.announce(component)
        self.eventually(lambda: gateway.ask("/metrics")[1].count('group="Many"') == many)
        self.assertEqual(len(gateway.ask("/api/properties?group=Many")[1]["properties"]), many)
        self.assertLess(gateway.kibibytes(), (400 << 10) + many * 8)

    def test_two_hundred_readers_outlive_their_hub(self):
        gateway = self.gateway()
        self.eventually(lambda: gateway.ask("/healthz")[0] == 200)
        readers = [self.events(gateway) for _ in range(200)]
        for reader in readers:
            reader.until("end")
        for _ in range(2):
            self.hub.kill()
            for reader in readers:
                reader.until("hub", connected=False)
            self.hub.start()
            for reader in readers:
                reader.until("hub", connected=True)
        self.assertIn("\nvantry_gateway_streams 200\n", gateway.ask("/metrics")[1])


if __name__ == "__main__":
    unittest.main()
