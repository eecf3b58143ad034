"""The conversations of docs/vectors, held with this package's frames and read by its parser."""

import glob
import json
import os
import socket
import struct

from support import HubTestCase

from vantry import Component, PropertyId, messages

VECTORS = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "vectors")


def talk(link, text):
    link.sendall(messages.MAGIC + struct.pack("<I", len(text)) + text.encode())


def hear(link):
    head = link.recv(messages.HEAD_BYTES, socket.MSG_WAITALL)
    assert head.startswith(messages.MAGIC), head
    return link.recv(struct.unpack("<I", head[16:])[0], socket.MSG_WAITALL)


class Vectors(HubTestCase):
    def link(self, text):
        if "link: external" in text:
            host, port = self.hub.tcp.split(":")
            return socket.create_connection((host, int(port)))
        link = socket.socket(socket.AF_UNIX)
        link.connect(self.hub.device)
        return link

    def test_answers_are_read_as_they_are_meant(self):
        files = sorted(glob.glob(VECTORS + "/*.txt"))
        self.assertGreaterEqual(len(files), 5)
        for name in files:
            with open(name) as file, self.subTest(os.path.basename(name)):
                text = file.read()
                with self.link(text) as link:
                    for line in text.splitlines():
                        if line.startswith("> "):
                            talk(link, line[2:])
                        elif line.startswith("< "):
                            self.check(hear(link), line[2:])

    def check(self, answer, wanted):
        message = messages.parse(answer)
        if "..." in wanted:
            self.assertTrue(message.answers_all)
            self.assertGreater(len(message.found), 5)
            return
        self.assertEqual(answer.decode(), wanted)
        sections = json.loads(wanted)
        values = [(entry["Component"], entry["GUID"], entry["NameString"], entry["Value"])
                  for entry in sections.get("PropertyGetResponses", [])
                  if entry["Status"] != "Property Not Found"]
        self.assertEqual([(one.id.component, one.id.guid, one.name, one.value)
                          for one in message.found], values)
        self.assertEqual([value for _, value in message.writes],
                         [entry["Value"] for entry in sections.get("PropertySetRequests", [])])

    def test_what_this_package_sends_is_what_the_vectors_send(self):
        def sent(data):
            return json.loads(data[messages.HEAD_BYTES:])

        def vector(name, number):
            with open(os.path.join(VECTORS, name)) as file:
                return json.loads([line[2:] for line in file if line.startswith("> ")][number])

        period = PropertyId("955CFDC2-8EA6-478E-A927-7C870022EA03",
                            "99A61D40-20CE-41EA-A579-EB92C6ED94C6",
                            "DA821DC5-948D-4659-9B52-177E4C102129")
        asked = sent(messages.list_question("1", [period], False))["PropertyGetRequests"]
        self.assertEqual(asked[1:], vector("read.txt", 0)["PropertyGetRequests"])
        self.assertEqual(sent(messages.all_question(False)), vector("read.txt", 3))
        self.assertEqual(sent(messages.write_request([(period, "750")]))["PropertySetRequests"],
                         vector("write.txt", 0)["PropertySetRequests"])
        own = Component("My Component", "My Group", guid="C", group_guid="G")
        own.text('My "quoted" Name', 'a "b"', guid="P")
        (report,) = messages.reports(one.record() for one in own)
        self.assertEqual(sent(report), vector("own.txt", 1))
