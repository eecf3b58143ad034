"""The rows of the comparison. The runs of all servers in a row alternate, so that whatever else the
machine does meets all of them, and a ratio is made of the two measurements of one run."""

from __future__ import annotations

import json
import socket
import subprocess
import time
from typing import Callable, Dict, List

from fan_out import delivered_records
from servers import Component, Hub, Peer, Server, frame, one_property, redis, redis_command
from stand import SUBSCRIBE_ALL, Stand, Target, load

def one_property_over_tcp(stand: Stand) -> None:
    """Row A."""
    table = stand.table
    with stand.hub() as hub, redis() as store:
        request = frame(one_property())
        answer = len(hub.tcp().ask(one_property())) + 20
        key = b"k" * 78
        with store.connect() as client:
            client.sendall(redis_command(b"SET", key, b"True"))
            client.recv(100)
        with stand.echo(len(request), answer, "twice") as twice, \
                stand.echo(len(request), answer, "once") as once:
            targets = {
                "hub": Target(hub, str(hub.port), request, answer),
                "PRN1": Target(hub, hub.device, request, answer),
                "echo": Target(twice, str(twice.port), request, answer),
                "echo once": Target(once, str(once.port), request, answer),
                "redis": Target(store, str(store.port), redis_command(b"GET", key), 10)}
            for count in (1, 16, 64, 256):
                got = load(stand, targets, count)
                hub_, echo = got["hub"], got["echo"]
                at = f"{count} connections"
                for name, result in got.items():
                    table.add("A", f"{name}, {at}: requests a second", result.rate)
                    table.curve("Processor time (us) of a request by connections", name, count,
                                result.cpu)
                    table.add("A", f"{name}, {at}: median latency", result.median, unit=" us")
                    table.add("A", f"{name}, {at}: processor time a request", result.cpu, unit=" us")
                goal = "1.0" if count == 1 else "0.95 or more"
                table.ratio("A", f"{at}: requests a second, hub / echo", hub_.rate, echo.rate, goal)
                table.ratio("A", f"{at}: requests a second, hub / echo with one receive",
                            hub_.rate, got["echo once"].rate)
                table.ratio("A", f"{at}: processor time a request, hub / echo", hub_.cpu, echo.cpu,
                            "" if count == 1 else "1.15 or less")
                table.ratio("PRN1", f"{at}: requests a second, PRN1 / TCP", got["PRN1"].rate,
                            hub_.rate, "0.95 or more")
                table.ratio("PRN1", f"{at}: processor time a request, PRN1 / TCP", got["PRN1"].cpu,
                            hub_.cpu)


def everything(stand: Stand) -> None:
    """Row C."""
    table = stand.table
    ask = '{"GetAllProperties": true}'
    with stand.hub() as hub, redis() as store:
        Component(hub, 865)
        size = len(hub.local().ask(ask)) + 20
        outside = len(hub.tcp().ask(ask)) + 20
        length = size // 900 - 8
        keys = [b"%073d" % number for number in range(900)]
        with store.connect() as client:
            for key in keys:
                client.sendall(redis_command(b"SET", key, b"v" * length))
                client.recv(100)
        values = 6 + 900 * (len(b"$%d\r\n" % length) + length + 2)
        with stand.echo(len(frame(ask)), size, "once") as prepared:
            targets = {
                "hub, PRN1": Target(hub, hub.device, frame(ask), size),
                "hub, TCP": Target(hub, str(hub.port), frame(ask), outside),
                "redis MGET": Target(store, str(store.port), redis_command(b"MGET", *keys), values),
                "echo": Target(prepared, str(prepared.port), frame(ask), size)}
            for count in (1, 4):
                got = load(stand, targets, count)
                at = f"{count} clients, {size:,} bytes"
                for name, result in got.items():
                    table.add("C", f"{name}, {at}: answers a second", result.rate)
                    table.add("C", f"{name}, {at}: processor time an answer", result.cpu, unit=" us")
                for name in ("hub, PRN1", "hub, TCP"):
                    table.ratio("C", f"{at}: answers a second, {name} / redis", got[name].rate,
                                got["redis MGET"].rate, "2.0 or more")
                    table.ratio("C", f"{at}: processor time an answer, {name} / redis",
                                got[name].cpu, got["redis MGET"].cpu)


def stalled_clients(stand: Stand) -> None:
    """Row D."""
    with stand.hub() as hub:
        answer = len(hub.tcp().ask(one_property())) + 20
        targets = {"hub": Target(hub, str(hub.port), frame(one_property()), answer)}
        alone = load(stand, targets, 4)["hub"]
        deaf = []
        for _ in range(20):
            peer = hub.tcp()
            peer.socket.setblocking(False)
            try:
                for _ in range(200):
                    peer.socket.send(frame(SUBSCRIBE_ALL))
            except BlockingIOError:
                pass
            deaf.append(peer)
        beside = load(stand, targets, 4)["hub"]
        stand.table.add("D", "4 connections: median latency", alone.median, unit=" us")
        stand.table.add("D", "4 connections beside 20 clients that read nothing: median latency",
                        beside.median, unit=" us")


def memory(stand: Stand) -> None:
    """Row F."""
    count = 1000

    def each(connect: Callable[[Hub], Peer], subscribed: bool) -> float:
        with stand.hub() as hub:
            hub.tcp().ask(one_property())
            before = hub.resident()
            peers = [connect(hub) for _ in range(count)]
            for peer in peers:
                peer.ask(SUBSCRIBE_ALL if subscribed else one_property())
            return (hub.resident() - before) / count

    for name, connect in (("TCP", Hub.tcp), ("PRN1", Hub.local)):
        for state, subscribed in (("idle", False), ("subscribed", True)):
            stand.table.add("F", f"{name}, {count} {state} connections: resident memory each",
                            [each(connect, subscribed) for _ in range(stand.runs)], "24 KiB or less",
                            " KiB")
    at_rest = []
    starts = []
    for _ in range(stand.runs):
        start = time.perf_counter()
        with stand.hub() as hub:
            starts.append((time.perf_counter() - start) * 1000)
            at_rest.append(hub.resident() / 1024)
    stand.table.add("F", "resident memory after the start", at_rest, unit=" MiB")
    stand.table.add("F", "from the start until ready", starts, unit=" ms")


def new_connections(stand: Stand) -> None:
    """Row G."""
    request = frame(one_property())

    def churn(port: int, answer: int) -> float:
        count, end = 0, time.monotonic() + stand.seconds
        while time.monotonic() < end:
            with socket.create_connection(("127.0.0.1", port), 10) as client:
                client.sendall(request)
                got = 0
                while got < answer:
                    piece = client.recv(4096)
                    if not piece:
                        raise EOFError("the server closed the connection")
                    got += len(piece)
            count += 1
        return count / stand.seconds

    with stand.hub() as hub:
        answer = len(hub.tcp().ask(one_property())) + 20
        with stand.echo(len(request), answer, "twice") as echo:
            rates: Dict[str, List[float]] = {"hub": [], "echo": []}
            costs: Dict[str, List[float]] = {"hub": [], "echo": []}
            servers: Dict[str, Server] = {"hub": hub, "echo": echo}
            for _ in range(stand.runs):
                for name, port in (("hub", hub.port), ("echo", echo.port)):
                    before = servers[name].cpu()
                    rates[name].append(churn(port, answer))
                    used = servers[name].cpu() - before
                    costs[name].append(used / rates[name][-1] / stand.seconds * 1e6)
    for name in servers:
        stand.table.add("G", f"{name}: connections with one request a second", rates[name])
        stand.table.add("G", f"{name}: processor time a connection", costs[name], unit=" us")
    stand.table.ratio("G", "connections with one request a second, hub / echo", rates["hub"],
                      rates["echo"], "0.95 or more")
    stand.table.ratio("G", "processor time a connection, hub / echo", costs["hub"], costs["echo"])


def in_memory(stand: Stand) -> None:
    """Row H: the reader, and the engine without system calls."""
    times: Dict[str, List[float]] = {}
    for program in ("json_bench", "engine_bench"):
        printed = subprocess.run(
            [str(stand.programs / "bench" / program), "--benchmark_format=json",
             f"--benchmark_min_time={min(stand.seconds, 0.5) / 4}",
             f"--benchmark_repetitions={stand.runs}", "--benchmark_enable_random_interleaving=true"],
            check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
        for one in json.loads(printed)["benchmarks"]:
            if one["run_type"] == "iteration":
                factor = {"ns": 1e-3, "us": 1.0, "ms": 1e3}[one["time_unit"]]
                times.setdefault(one["run_name"], []).append(one["cpu_time"] * factor)
    names = {-1: "many escapes", 0: "one request", 400: "400 records", 900: "900 records"}
    for size, name in names.items():
        stand.table.ratio("H", f"{name}: RapidJSON's DOM / the hub's reader",
                          times[f"RapidRead/{size}"], times[f"Read/{size}"], "1.5 or more")
    goals = {"OneRequest": "0.8 us or less"}
    for name in ("OneRequest", "ReportMessage", "AskForEverything", "ChangeOfAProperty"):
        stand.table.add("H", f"{name} in memory", times[name], goals.get(name, ""), " us")


ROWS: Dict[str, Callable[[Stand], None]] = {
    "A": one_property_over_tcp, "C": everything, "D": stalled_clients, "E": delivered_records,
    "F": memory, "G": new_connections, "H": in_memory}
