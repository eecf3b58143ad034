"""The row of the publications: what it costs a server to send a change to many subscribers."""

from __future__ import annotations

import selectors
import socket
import struct
import time
from typing import Callable, Dict, List

from servers import Component, Server, mosquitto, redis, redis_command
from stand import SUBSCRIBE_ALL, Stand


class Subscriber:
    """A socket, and the end of what was received from it."""

    def __init__(self, connected: socket.socket) -> None:
        self.socket = connected
        self.rest = b""


def drain(selector: selectors.BaseSelector, mark: bytes, wanted: int) -> int:
    """Receives until `wanted` marks have arrived. The end of what was received is kept, so that a
    mark which two receives share is found."""
    seen = 0
    deadline = time.monotonic() + 60
    while seen < wanted:
        for key, _ in selector.select(0.05):
            client: Subscriber = key.data
            data = client.rest + client.socket.recv(1 << 20)
            seen += data.count(mark)
            client.rest = data[-len(mark) + 1:]
        if time.monotonic() > deadline:
            raise RuntimeError(f"only {seen} of {wanted} records arrived")
    return seen


def fan_out(server: Server, sockets: List[socket.socket], mark: bytes, changes: int, rounds: int,
            publish: Callable[[int], None]) -> float:
    """Returns the processor time of the server for each delivered record, in microseconds."""
    with selectors.DefaultSelector() as selector:
        for client in sockets:
            client.setblocking(False)
            selector.register(client, selectors.EVENT_READ, Subscriber(client))
        before = server.cpu()
        delivered = 0
        for number in range(1, rounds + 1):
            publish(number)
            delivered += drain(selector, mark, changes * len(sockets))
        return (server.cpu() - before) / delivered * 1e6


def fan_out_of_hub(stand: Stand, subscribers: int, changes: int, local: bool) -> float:
    with stand.hub() as hub:
        component = Component(hub, changes)
        peers = [hub.local() if local else hub.tcp() for _ in range(subscribers)]
        for peer in peers:
            peer.ask(SUBSCRIBE_ALL)
        return fan_out(hub, [peer.socket for peer in peers], b'"Status"', changes, 8,
                       component.change)


def fan_out_of_relay(stand: Stand, subscribers: int, changes: int) -> float:
    """The least that the bytes of the hub's publications cost: they are received and sent on."""
    with stand.hub() as hub:
        component = Component(hub, 1)
        answer = hub.tcp().ask(component.request(0))
    records = (answer[answer.index(b"[") + 1:-2] + b",") * changes
    with stand.echo(len(records), 0, "relay") as relay:
        clients = [socket.create_connection(("127.0.0.1", relay.port), 10)
                   for _ in range(subscribers + 1)]
        # It sends on to the connections that it has accepted, each of which has a thread.
        relay.wait_for_threads(len(clients) + 1)
        return fan_out(relay, clients[1:], b'"Status"', changes, 8,
                       lambda _: clients[0].sendall(records))


def fan_out_of_redis(subscribers: int, changes: int) -> float:
    with redis() as store:
        clients = [store.connect() for _ in range(subscribers)]
        for client in clients:
            client.sendall(redis_command(b"PSUBSCRIBE", b"*"))
            client.recv(200)
        publisher = store.connect()

        def publish(number: int) -> None:
            publisher.sendall(b"".join(
                redis_command(b"PUBLISH", b"vantry/G/%036d" % i, b"%d" % (number * 1000 + i))
                for i in range(changes)))
            publisher.recv(1 << 20)

        # A message to a pattern names the topic once.
        return fan_out(store, clients, b"vantry/G/", changes, 8, publish)


def fan_out_of_mosquitto(stand: Stand, subscribers: int, changes: int) -> float:
    with mosquitto(stand.scratch) as broker:
        def client(name: bytes) -> socket.socket:
            connected = broker.connect()
            body = b"\0\4MQTT\4\2\0\0" + struct.pack(">H", len(name)) + name
            connected.sendall(b"\x10" + bytes([len(body)]) + body)
            connected.recv(4)
            return connected

        clients = [client(b"s%d" % number) for number in range(subscribers)]
        for connected in clients:
            connected.sendall(b"\x82\x06\0\1\0\1#\0")
            connected.recv(5)
        publisher = client(b"publisher")

        def publish(number: int) -> None:
            messages = bytearray()
            for i in range(changes):
                topic, payload = b"vantry/G/%036d" % i, b"%d" % (number * 1000 + i)
                body = struct.pack(">H", len(topic)) + topic + payload
                messages += b"\x30" + bytes([len(body)]) + body
            publisher.sendall(messages)

        return fan_out(broker, clients, b"vantry/G/", changes, 8, publish)


def delivered_records(stand: Stand) -> None:
    """Row E."""
    changes = 400
    for subscribers in (1, 16, 128):
        got: Dict[str, List[float]] = {
            name: [] for name in ("PRN1", "TCP", "relay", "redis", "mosquitto")}
        for _ in range(stand.runs):
            got["PRN1"].append(fan_out_of_hub(stand, subscribers, changes, True))
            got["TCP"].append(fan_out_of_hub(stand, subscribers, changes, False))
            got["relay"].append(fan_out_of_relay(stand, subscribers, changes))
            got["redis"].append(fan_out_of_redis(subscribers, changes))
            got["mosquitto"].append(fan_out_of_mosquitto(stand, subscribers, changes))
        at = f"{subscribers} subscribers"
        for name, runs in got.items():
            stand.table.add("E", f"{name}, {at}: processor time a record", runs, unit=" us")
        for name in ("PRN1", "TCP", "relay"):
            for other in ("redis", "mosquitto"):
                goal = "0.4 or less" if other == "redis" and subscribers > 1 else ""
                stand.table.ratio("E", f"{at}: processor time a record, {name} / {other}",
                                  got[name], got[other], goal)
