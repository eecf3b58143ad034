"""The properties of this program: what it announces, and a component that makes them from names."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Awaitable, Callable, Iterator, List, Optional, Union

from .errors import Refused
from .properties import OWN_COMPONENT, Property, PropertyId, Value, ValueType, fits, text_of

Answer = Union[Optional[Value], Awaitable[Optional[Value]]]
"""What a handler returns: the value in force now, which is published, or None to leave it."""
Handler = Callable[[str], Answer]
"""Called with what somebody has written, once it fits the type. May be a coroutine function with an
AsyncHub. An error that it raises is logged, and leaves the value as it is."""


@dataclass(frozen=True)
class Announcement:
    """A property of this program's own."""

    id: PropertyId
    component_name: str
    group_name: str
    name: str
    type: ValueType
    value: str
    on_write: Optional[Handler] = None
    """Without a handler the property can't be written."""

    def record(self, available: bool = True) -> Property:
        """Returns the property as it is reported."""
        return Property(
            self.id, self.component_name, self.group_name, self.name, self.value, available
        )

    def check(self) -> None:
        """Raises Refused if the hub couldn't keep this property apart from others, or its value
        doesn't fit its type."""
        one = self.id
        if not one.component or not one.group or not one.member or ":" in one.group:
            raise Refused(f'"{self.name}" needs a component, a group without ":", and a property')
        if one.component == OWN_COMPONENT:
            raise Refused(f'"{self.name}" can\'t belong to the hub\'s own component')
        for text in (one.component, one.guid, self.component_name, self.group_name, self.name):
            text_of(text)
        if not fits(self.type, self.value):
            raise Refused(f"'{self.value}' is no value of \"{self.name}\"")


def guid_of(text: str) -> str:
    """Returns a GUID that the same text always gets, here and in `vantry announce`."""
    halves = []
    for half in (0xCBF29CE484222325, 0x84222325CBF29CE4):
        for byte in text.encode("utf-8", "surrogateescape"):
            half = (half ^ byte) * 0x100000001B3 % 2**64
        halves.append(half)
    text = f"{halves[0]:016X}{halves[1]:016X}"
    return "-".join((text[:8], text[8:12], text[12:16], text[16:20], text[20:]))


class Component:
    """Collects the properties of a component; hand it to announce().

    GUIDs are made from the names, so that a property keeps its identity over restarts. Give `guid`
    where the printer's makers have set one.
    """

    def __init__(self, name: str, group: str = "", *, guid: str = "", group_guid: str = ""):
        self.name = name
        self.guid = guid or guid_of(name)
        self._group = group or name
        self._group_guid = group_guid or guid_of(self._group)
        self._properties: List[Announcement] = []

    def __iter__(self) -> Iterator[Announcement]:
        return iter(self._properties)

    def group(self, name: str, guid: str = "") -> None:
        """Puts the properties that are added from now on into this group."""
        self._group, self._group_guid = name, guid or guid_of(name)

    def text(
        self, name: str, value: str, on_write: Optional[Handler] = None, *, guid: str = ""
    ) -> PropertyId:
        """Adds a text and returns its identity. The handler gets what was written."""
        return self._add(name, guid, ValueType.TEXT, value, on_write)

    def number(
        self,
        name: str,
        value: int,
        on_write: Optional[Callable[[int], Answer]] = None,
        *,
        guid: str = "",
    ) -> PropertyId:
        """Adds a number from 0 to 4294967295 and returns its identity. The handler gets an int."""
        handler = None if on_write is None else _with(on_write, int)
        return self._add(name, guid, ValueType.NUMBER, value, handler)

    def boolean(
        self,
        name: str,
        value: bool,
        on_write: Optional[Callable[[bool], Answer]] = None,
        *,
        guid: str = "",
    ) -> PropertyId:
        """Adds a bool and returns its identity. The handler gets a bool."""
        handler = None if on_write is None else _with(on_write, _is_true)
        return self._add(name, guid, ValueType.BOOLEAN, value, handler)

    def command(
        self, name: str, on_run: Callable[[], Answer], *, guid: str = ""
    ) -> PropertyId:
        """Adds a command, whose value is "False" until it has run, and returns its identity. The
        handler runs it, and returns how it went."""
        return self._add(name, guid, ValueType.COMMAND, False, lambda written: on_run())

    def _add(
        self, name: str, guid: str, kind: ValueType, value: Value, handler: Optional[Handler]
    ) -> PropertyId:
        own = guid or guid_of(self.guid + self._group_guid + name)
        added = Announcement(
            PropertyId(self.guid, self._group_guid, own),
            self.name,
            self._group,
            name,
            kind,
            text_of(value),
            handler,
        )
        added.check()
        self._properties.append(added)
        return added.id


def _is_true(written: str) -> bool:
    return written.lower() == "true"


def _with(handler: Callable[..., Answer], convert: Callable[[str], Value]) -> Handler:
    return lambda written: handler(convert(written))
