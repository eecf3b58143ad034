"""How the costs of the hub grow: with the properties, the subscribers and the changes a second."""

from __future__ import annotations

import socket
import threading
import time
from typing import List

from fan_out import fan_out_of_hub
from servers import Component, Hub, frame
from stand import SUBSCRIBE_ALL, Stand, Target, load


def with_properties(stand: Stand) -> None:
    for count in (100, 1_000, 10_000, 100_000):
        with stand.hub() as hub:
            empty = hub.resident()
            component = Component(hub, count)
            text = component.request(count // 2)
            answer = len(hub.local().ask(text)) + 20
            all_of_it = len(hub.local().ask('{"GetAllProperties": true}')) + 20
            memory = (hub.resident() - empty) / count
            targets = {"one": Target(hub, hub.device, frame(text), answer),
                       "all": Target(hub, hub.device, frame('{"GetAllProperties": true}'), all_of_it)}
            got = load(stand, targets, 1)
        at = f"{count:,} properties"
        stand.table.add("growth", f"{at}: processor time of one request", got["one"].cpu, unit=" us")
        stand.table.add("growth", f"{at}: processor time of reading everything", got["all"].cpu,
                        unit=" us")
        stand.table.add("growth", f"{at}: memory a property", [memory], unit=" KiB")
        each = [cost / count for cost in got["all"].cpu]
        stand.table.curve("Processor time (us) by properties", "one request", count, got["one"].cpu)
        stand.table.curve("Processor time (us) by properties", "everything, a record", count, each)


def with_subscribers(stand: Stand) -> None:
    for count in (1, 10, 100, 1_000):
        runs = [fan_out_of_hub(stand, count, 400, False) for _ in range(stand.runs)]
        stand.table.add("growth", f"{count:,} subscribers: processor time a delivered record", runs,
                        unit=" us")
        stand.table.curve("Processor time (us) of a delivered record by subscribers", "TCP", count,
                          runs)


def changes_a_second(hub: Hub, component: Component, rate: int, seconds: float) -> float:
    """Returns the share of a processor that the hub uses at this rate of changes, in per cent."""
    pause = component.count / rate
    before, start = hub.cpu(), time.monotonic()
    for number in range(1, max(2, int(seconds / pause)) + 1):
        component.change(number)
        time.sleep(max(0.0, start + number * pause - time.monotonic()))
    return (hub.cpu() - before) / (time.monotonic() - start) * 100


def discard(client: socket.socket) -> None:
    while client.recv(1 << 20):
        pass


def with_changes(stand: Stand) -> None:
    for rate in (100, 1_000, 10_000, 100_000):
        runs: List[float] = []
        for _ in range(stand.runs):
            with stand.hub() as hub:
                component = Component(hub, min(400, rate // 10))
                watcher = hub.tcp()
                watcher.ask(SUBSCRIBE_ALL)
                threading.Thread(target=discard, args=(watcher.socket,), daemon=True).start()
                runs.append(changes_a_second(hub, component, rate, 2))
        stand.table.add("growth", f"{rate:,} changes a second: share of a processor", runs, unit=" %")
        stand.table.curve("Share of a processor (%) by changes a second", "hub", rate, runs)


def growth(stand: Stand) -> None:
    with_properties(stand)
    with_subscribers(stand)
    with_changes(stand)
