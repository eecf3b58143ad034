"""Heartbeats: properties that show which program owns which properties, and since when they have
their values. docs/LIVENESS.md describes them.

Several programs may own properties of one component, so a heartbeat is named after the first property
that a program announces of it: no other program owns that one. Times are those of the machine's clock
since its start, which all processes share and nobody sets.
"""

from __future__ import annotations

import json
import os
import socket
import time
from dataclasses import dataclass, field
from typing import Dict, Iterable, List, Optional, Tuple

from .announcement import Announcement
from .properties import PropertyId, ValueType

HEARTBEAT_GROUP = "332342DD-949D-4665-9C3A-99890800C290"
NAME = "Heartbeat"
MOST_TIMES = 4096
"""A heartbeat has the times of at most so many properties, those set last."""


def machine_seconds() -> float:
    """Returns the seconds since the machine started, the time in which it slept included."""
    return time.clock_gettime(time.CLOCK_BOOTTIME)


def _stat(process: int) -> Tuple[str, Optional[float]]:
    """Returns the state of a process, and its start in seconds since the machine's; None if nobody can
    tell."""
    try:
        with open(f"/proc/{process}/stat", errors="replace") as file:
            # The name of the program is in parentheses, and may contain any character.
            fields = file.read().rpartition(")")[2].split()
        return fields[0], int(fields[19]) / os.sysconf("SC_CLK_TCK")
    except (OSError, IndexError, ValueError):
        return "", None


def is_running(process: int, started: float) -> bool:
    """Returns whether the process runs that had this id and started then. Returns True for a process
    with this id whose start nobody can tell."""
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    except (PermissionError, OverflowError):
        pass
    state, start = _stat(process)
    if state in ("Z", "X"):  # It has ended, and its parent hasn't taken note of it yet.
        return False
    return start is None or abs(start - started) < 0.005


@dataclass
class Heartbeat:
    """The value of a heartbeat property."""

    process: int
    started: float
    host: str
    boot: str
    """Identifies a run of the machine."""
    processes: str
    """Identifies the set of processes in which the process id is valid."""
    clock: float
    time: float
    interval: float = 0.0
    ended: bool = False
    changed: Dict[str, Dict[str, float]] = field(default_factory=dict)
    """The times of `clock` at which properties were set, by the GUIDs of their group and their own."""

    @staticmethod
    def of_this_process() -> Heartbeat:
        """Returns a heartbeat with the facts of this process and the present time."""
        try:
            with open("/proc/sys/kernel/random/boot_id") as file:
                boot = file.readline().strip()
            processes = os.readlink("/proc/self/ns/pid")
        except OSError:
            boot = processes = ""
        return Heartbeat(
            os.getpid(),
            _stat(os.getpid())[1] or 0.0,
            socket.gethostname(),
            boot,
            processes,
            machine_seconds(),
            time.time(),
        )

    @staticmethod
    def parse(text: str) -> Optional[Heartbeat]:
        """Returns the heartbeat, or None if the text isn't one."""
        try:
            members = json.loads(text)
            return Heartbeat(
                int(members["process"]),
                float(members["started"]),
                str(members["host"]),
                str(members["boot"]),
                str(members["processes"]),
                float(members["clock"]),
                float(members["time"]),
                float(members["interval"]),
                bool(members["ended"]),
                {
                    group: {one: float(at) for one, at in properties.items()}
                    for group, properties in members["changed"].items()
                },
            )
        except (AttributeError, KeyError, TypeError, ValueError):
            return None

    def text(self) -> str:
        """Returns the heartbeat as it travels. A time always has a decimal point."""
        changed = {
            group: {one: round(at, 3) for one, at in properties.items()}
            for group, properties in self.changed.items()
        }
        return json.dumps(
            {
                "process": self.process,
                "started": self.started,
                "host": self.host,
                "boot": self.boot,
                "processes": self.processes,
                "clock": round(self.clock, 3),
                "time": round(self.time, 3),
                "interval": float(self.interval),
                "ended": self.ended,
                "changed": changed,
            }
        )


class Heartbeats:
    """The heartbeat properties of this program, one for each component of which it owns properties,
    and the times at which it set these. Belongs to one event loop; nothing waits."""

    def __init__(self, interval: float):
        self.interval = interval
        """The seconds between two heartbeats; 0 for none."""
        self._components: Dict[str, Tuple[PropertyId, Dict[PropertyId, float]]] = {}

    def join(self, properties: Iterable[Announcement]) -> List[Announcement]:
        """Adds properties that are about to be announced. Returns the heartbeat properties to announce
        with them, of components that have none."""
        fresh: List[Announcement] = []
        now = machine_seconds()
        for one in properties:
            if not self.interval or one.id.group == HEARTBEAT_GROUP:
                continue
            if one.id.component not in self._components:
                beat = PropertyId(one.id.component, HEARTBEAT_GROUP, one.id.guid)
                self._components[one.id.component] = (beat, {})
                fresh.append(Announcement(beat, one.component_name, NAME, NAME, ValueType.TEXT, ""))
            self._components[one.id.component][1][one.id] = now
        return fresh

    def note(self, one: PropertyId) -> None:
        """Notes that the property is set now."""
        if one.component in self._components and one in self._components[one.component][1]:
            self._components[one.component][1][one] = machine_seconds()

    def leave(self, one: PropertyId) -> Optional[PropertyId]:
        """Removes a property. Returns the heartbeat to withdraw if it was the last of its component."""
        if one.component not in self._components:
            return None
        beat, changed = self._components[one.component]
        if changed.pop(one, None) is None or changed:
            return None
        del self._components[one.component]
        return beat

    def beat(self, ended: bool = False) -> Dict[PropertyId, str]:
        """Returns the heartbeat properties with their present values."""
        values = {}
        for beat, changed in self._components.values():
            heartbeat = Heartbeat.of_this_process()
            heartbeat.interval = self.interval
            heartbeat.ended = ended
            latest = sorted(changed.items(), key=lambda entry: -entry[1])[:MOST_TIMES]
            for one, at in latest:
                heartbeat.changed.setdefault(one.group, {})[one.member] = at
            values[beat] = heartbeat.text()
        return values
