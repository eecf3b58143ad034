"""Which properties still have a program that owns them, and how old values are.

The hub keeps the properties of a program that has ended, and doesn't say when a value was set. What is
known comes from the heartbeats of their owners, and from the changes that this program has received.
"""

from __future__ import annotations

import enum
from dataclasses import dataclass
from typing import Dict, Iterable, Iterator, List, Optional, Set, Tuple, Union

from .heartbeat import HEARTBEAT_GROUP, Heartbeat, is_running, machine_seconds
from .properties import OWN_COMPONENT, Change, ChangeKind, Property, PropertyId

BETWEEN_LOOKS = 1.0
INTERVALS_BEFORE_SILENCE = 3


class Presence(enum.Enum):
    """Whether a program still owns a property."""

    ALIVE = "alive"
    GONE = "gone"
    """It has ended, or has been silent for more than three intervals. Writes to it are lost."""
    UNKNOWN = "unknown"
    """It keeps no heartbeat that this connection may read, or runs but is silent."""


@dataclass(frozen=True)
class OwnerState:
    """What is known of the program that owns a property."""

    presence: Presence
    why: str
    """The reason, for people."""
    process: int = 0
    host: str = ""


@dataclass(frozen=True)
class Age:
    """The time since a value was set."""

    seconds: float
    at_least: bool
    """True if the value may be older: it was there when this program looked for the first time."""

    def __str__(self) -> str:
        return ("> " if self.at_least else "") + _in_words(self.seconds)


@dataclass
class _Beat:
    heartbeat: Heartbeat
    text: str
    arrived: float
    renewed: bool
    """Whether it isn't the first one of its program, so that it arrived when it was sent."""
    reported: Presence = Presence.UNKNOWN
    looked: float = float("-inf")
    ran: bool = False


class Owners:
    """Learns from the properties and changes that are passed to it: pass all of them, those of the group
    HEARTBEAT_GROUP included. Asks the hub nothing, and belongs to one thread."""

    def __init__(self, properties: Iterable[Property] = ()):
        self._here = Heartbeat.of_this_process()
        self._beats: Dict[PropertyId, _Beat] = {}
        self._values: Dict[PropertyId, Tuple[str, float, bool]] = {}
        """Value, time of its arrival, and whether the hub has published it since."""
        self._withdrawn: Set[PropertyId] = set()
        for one in properties:
            self.take(one)

    def take(self, news: Union[Property, Change]) -> None:
        """Learns from a property that was read, or from a change."""
        one = news.property if isinstance(news, Change) else news
        heard = isinstance(news, Change) and news.kind is ChangeKind.CHANGED and not news.missed
        if one.id.group == HEARTBEAT_GROUP:
            self._take_heartbeat(one)
        elif not one.available:
            self._values.pop(one.id, None)
        elif heard or self._values.get(one.id, ("", 0.0, False))[0] != one.value or one.id not in self._values:
            self._values[one.id] = (one.value, machine_seconds(), heard)

    def of(self, one: PropertyId) -> OwnerState:
        """Returns what is known of the program that owns the property. The system is asked whether a
        process of this machine runs, at most once a second."""
        if one.component == OWN_COMPONENT:
            return OwnerState(Presence.ALIVE, "the hub owns it")
        best = OwnerState(Presence.UNKNOWN, "its component keeps no heartbeat")
        for beat, _ in self._listings(one):
            state = self._state(beat)
            if state.presence is Presence.ALIVE:
                return state
            if best.presence is Presence.UNKNOWN:
                best = state
        return best

    def age_of(self, one: PropertyId) -> Optional[Age]:
        """Returns the time since the value was set, or None for a property that take() hasn't got. A
        value that was set after the last heartbeat, and before this program subscribed to it, is
        younger than this says, by at most the interval of the heartbeat."""
        if one not in self._values:
            return None
        _, since, heard = self._values[one]
        known = [since] if heard else []
        for beat, changed in self._listings(one):
            if self._is_of_this_run(beat):
                known.append(changed)
            else:
                known.append(beat.arrived - (beat.heartbeat.clock - changed))
        return Age(max(0.0, machine_seconds() - max(known, default=since)), not known)

    def changes(self) -> List[PropertyId]:
        """Returns the properties whose presence has changed since the last call. A program that shows
        the presence calls this each second."""
        changed, self._withdrawn = self._withdrawn, set()
        for one, beat in self._beats.items():
            presence = self._state(beat).presence
            if presence is not beat.reported:
                beat.reported = presence
                changed.update(_properties(one, beat))
        return sorted(changed)

    def _take_heartbeat(self, one: Property) -> None:
        known = self._beats.get(one.id)
        if known and one.available and known.text == one.value:
            return
        parsed = Heartbeat.parse(one.value) if one.available else None
        if parsed is None:
            if known:
                self._withdrawn.update(_properties(one.id, known))
                del self._beats[one.id]
            return
        self._beats[one.id] = _Beat(parsed, one.value, machine_seconds(), known is not None)
        if known:
            self._beats[one.id].reported = known.reported

    def _listings(self, one: PropertyId) -> Iterator[Tuple[_Beat, float]]:
        for beat_id, beat in self._beats.items():
            at = beat.heartbeat.changed.get(one.group, {}).get(one.member)
            if beat_id.component == one.component and at is not None:
                yield beat, at

    def _is_of_this_run(self, beat: _Beat) -> bool:
        return bool(self._here.boot) and beat.heartbeat.boot == self._here.boot

    def _state(self, beat: _Beat) -> OwnerState:
        heartbeat = beat.heartbeat
        now = machine_seconds()

        def state(presence: Presence, what: str) -> OwnerState:
            why = f"process {heartbeat.process} on {heartbeat.host} {what}"
            return OwnerState(presence, why, heartbeat.process, heartbeat.host)

        if heartbeat.ended:
            return state(Presence.GONE, "has left the hub")
        here = self._is_of_this_run(beat)
        local = here and heartbeat.processes == self._here.processes
        if local and now - beat.looked >= BETWEEN_LOOKS:
            beat.looked = now
            beat.ran = is_running(heartbeat.process, heartbeat.started)
        if local and not beat.ran:
            return state(Presence.GONE, "has ended")
        silent = now - (heartbeat.clock if here else beat.arrived)
        if silent > INTERVALS_BEFORE_SILENCE * heartbeat.interval + BETWEEN_LOOKS:
            presence = Presence.UNKNOWN if local else Presence.GONE
            return state(presence, f"has been silent for {_in_words(silent)}")
        if not here and not beat.renewed:
            return state(Presence.UNKNOWN, "has sent no second heartbeat yet")
        return state(Presence.ALIVE, "runs")


def _properties(one: PropertyId, beat: _Beat) -> Iterator[PropertyId]:
    for group, members in beat.heartbeat.changed.items():
        for member in members:
            yield PropertyId(one.component, group, member)


def _in_words(seconds: float) -> str:
    for unit, name in ((86400, "d"), (3600, "h"), (60, "min")):
        if seconds >= 2 * unit:
            return f"{int(seconds / unit)} {name}"
    return f"{int(seconds * 1000)} ms" if seconds < 1 else f"{int(seconds)} s"
