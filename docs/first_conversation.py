#!/usr/bin/env python3
"""A first conversation with a running hub: read a property, set it, read it again, set it back."""
import json
import socket
import struct
import sys

MAGIC = bytes.fromhex("B3EC099A229248FA83D006840BC99102")
PERIOD = ('"Component": "955CFDC2-8EA6-478E-A927-7C870022EA03",'
          '"GUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6:DA821DC5-948D-4659-9B52-177E4C102129"')


def send(hub, text):
    print(">", text)
    data = text.encode()
    hub.sendall(MAGIC + struct.pack("<I", len(data)) + data)


def receive_exactly(hub, count):
    data = b""
    while len(data) < count:
        piece = hub.recv(count - len(data))
        if not piece:
            sys.exit("the hub has ended the connection")
        data += piece
    return data


def receive(hub):
    head = receive_exactly(hub, 20)
    text = receive_exactly(hub, struct.unpack("<I", head[16:])[0]).decode()
    print("<", text)
    return json.loads(text)


def read(hub):
    send(hub, '{"PropertyGetRequests": [{%s}]}' % PERIOD)
    return receive(hub)["PropertyGetResponses"][0]["Value"]


def write(hub, value):
    send(hub, '{"PropertySetRequests": [{%s,"Value": "%s"}]}' % (PERIOD, value))


def main():
    hub = socket.socket(socket.AF_UNIX)
    hub.connect(sys.argv[1])
    before = read(hub)
    write(hub, "750")
    read(hub)
    write(hub, before)
    # This answer shows that the hub has read what was sent before.
    read(hub)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: first_conversation.py PATH-OF-PRN1")
    main()
