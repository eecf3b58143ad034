#!/usr/bin/env python3
"""Measures hubs, bridges and a broker with certificates on this machine; docs/FLEET.md has the results.

    bench/fleet.py PRINTERS BRIDGES [SECONDS]

Each printer changes five numbers every 10 s. Memory is what a process holds alone, with its share of what it
holds with others. Then the broker is killed and started again, with several bounds for the pause.
"""

import asyncio
import importlib.machinery
import importlib.util
import json
import os
import resource
import signal
import subprocess
import sys
import threading
import time

SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), ".."))
sys.path.insert(0, SOURCE + "/python")
import vantry  # noqa: E402
from vantry.aio import AsyncHub  # noqa: E402

SUPPLIES = "41B87577-BD88-48CE-BF21-BF5A6BFC9FE3"
PERIOD = 10
VALUES = 5


def fleet_in_a_box():
    loader = importlib.machinery.SourceFileLoader("box", SOURCE + "/examples/fleet/run")
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("box", loader))
    loader.exec_module(module)
    return module


class OneCertificate:
    """Gives all printers the same certificate, because making a thousand takes minutes. So the rights go by client."""

    def __init__(self, box, authority, broker):
        self.box = box
        authority.certify("printer")
        with open(box.path("acl")) as file:
            rights = file.read().replace("%u", "%c")
        box.write("acl", rights)
        broker.send_signal(signal.SIGHUP)

    def certify(self, name):
        for ending in (".crt", ".key"):
            os.symlink(self.box.path("printer" + ending), self.box.path(name + ending))


class Owners:
    """The components of all printers, in one thread. Each changes its values once in a period."""

    def __init__(self, devices):
        self.devices, self.ready, self.changing = devices, threading.Event(), False
        self.loop = asyncio.new_event_loop()
        threading.Thread(target=self.loop.run_until_complete, args=[self._serve()], daemon=True).start()
        self.ready.wait()

    async def _serve(self):
        self.hubs = []
        for device in self.devices:
            hub = await AsyncHub.connect(device)
            component = vantry.Component("Supplies", "Substrate Printer Properties", group_guid=SUPPLIES)
            ids = [component.number("Amount %d" % one, 0) for one in range(VALUES)]
            await hub.announce(component)
            self.hubs.append((hub, ids))
        self.ready.set()
        round_ = 0
        while True:
            round_ += 1
            begin = time.monotonic()
            for place, (hub, ids) in enumerate(self.hubs):
                if self.changing:
                    for one in ids:
                        hub.change(one, round_)
                await asyncio.sleep(max(0, begin + PERIOD * (place + 1) / len(self.hubs) - time.monotonic()))


def memory(pids):
    """Returns MiB."""
    total = 0
    for pid in pids:
        with open("/proc/%d/smaps_rollup" % pid) as file:
            total += next(int(line.split()[1]) for line in file if line.startswith("Pss:"))
    return total / 1024


def processor(pids):
    """Returns seconds."""
    total = 0
    for pid in pids:
        with open("/proc/%d/stat" % pid) as file:
            total += sum(map(int, file.read().rsplit(")", 1)[1].split()[11:13]))
    return total / os.sysconf("SC_CLK_TCK")


class Listener:
    """Follows the messages of the broker: who is online, and how many bytes of MQTT the broker has received."""

    def __init__(self, box, port):
        self.online, self.bytes, self.messages, self.payload = {}, 0, 0, 0
        self.process = subprocess.Popen(
            ["mosquitto_sub", "-h", "localhost", "-p", str(port), "--cafile", box.path("ca.crt"), "--cert",
             box.path("fleet.crt"), "--key", box.path("fleet.key"), "-t", "vantry/#",
             "-F", "%r %l %t %p"], stdout=subprocess.PIPE, text=True)
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            _, length, topic, payload = line.rstrip("\n").split(" ", 3)
            self.messages += 1
            self.payload += int(length) + len(topic)
            if topic.endswith("/health"):
                self.online[topic.split("/")[3]] = (json.loads(payload)["online"], time.monotonic())

    def end(self):
        self.process.kill()
        self.process.wait()


def wait(what, patience=600):
    deadline = time.monotonic() + patience
    while not what():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.02)
    return True


def steady(name, listener, groups, seconds):
    before = {group: processor(pids) for group, pids in groups.items()}
    messages, payload = listener.messages, listener.payload
    time.sleep(seconds)
    line = "%-8s %6.1f messages/s %8.0f bytes/s" % (name, (listener.messages - messages) / seconds,
                                                    (listener.payload - payload) / seconds)
    for group, pids in groups.items():
        line += "  %s %.1f %% of a core, %.0f MiB;" % (group, 100 * (processor(pids) - before[group]) / seconds, memory(pids))
    print(line, flush=True)


def broker_returns(fleet, box, port, broker, count, bridges, away):
    """Kills the broker, starts it again after a while, and tells when the printers were back."""
    broker.kill()
    broker.wait()
    time.sleep(away)
    spent = processor(bridges)
    listener = None
    begin = time.monotonic()
    new = box.start("broker", broker.args)
    while listener is None or listener.process.poll() is not None:
        listener = Listener(box, port)
        time.sleep(0.3)
    whole = wait(lambda: sum(online for online, _ in list(listener.online.values())) == count)
    times = sorted(when - begin for online, when in listener.online.values() if online)
    part = lambda share: times[min(len(times) - 1, int(share * len(times)))]
    print("away %4.0f s: %d back%s; first %.1f s, half %.1f s, 90 %% %.1f s, all %.1f s; broker %.1f s of processor, "
          "bridges %.1f s; %d messages, %.1f MB" % (
              away, len(times), "" if whole else " (given up)", times[0], part(0.5), part(0.9), times[-1],
              processor([new.pid]), processor(bridges) - spent, listener.messages, listener.payload / 1e6), flush=True)
    return new, listener


def main():
    count, number = int(sys.argv[1]), int(sys.argv[2])
    seconds = float(sys.argv[3]) if len(sys.argv) > 3 else 60
    _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    fleet = fleet_in_a_box()
    signal.signal(signal.SIGTERM, fleet.interrupt)
    with fleet.Box() as box:
        authority, port = fleet.start_broker(box)
        broker = box.programs[0]
        serials = fleet.start_hubs(box, OneCertificate(box, authority, broker), count)
        hubs = [program.pid for program in box.programs[1:]]
        owners = Owners([box.path(serial, "devices", "PRN1") for serial in serials])
        print("%d hubs with a component each: %.0f MiB" % (count, memory(hubs)), flush=True)
        listener = Listener(box, port)
        begin = time.monotonic()
        fleet.start_bridges(box, serials, port, number, ["--batch-numbers", "1"])
        bridges = [program.pid for program in box.programs[1 + count:]]
        wait(lambda: sum(online for online, _ in list(listener.online.values())) == count)
        threads = sum(len(os.listdir("/proc/%d/task" % pid)) for pid in bridges)
        print("all online after %.1f s, with %.1f s of processor and %d threads in bridges and %.1f s in the broker" % (
            time.monotonic() - begin, processor(bridges), threads, processor([broker.pid])), flush=True)
        groups = {"hubs": hubs, "bridges": bridges, "broker": [broker.pid]}
        time.sleep(10)
        steady("idle", listener, groups, seconds)
        owners.changing = True
        time.sleep(PERIOD)
        steady("load", listener, groups, seconds)
        for away in (0, 0, 20):
            listener.end()
            time.sleep(65)
            broker, listener = broker_returns(fleet, box, port, broker, count, bridges, away)
        listener.end()


if __name__ == "__main__":
    main()
