"""The data that this package hands out: properties, their identities, changes, and types of values."""

from __future__ import annotations

import enum
import re
from dataclasses import dataclass
from typing import Optional, Union

from .errors import Refused

OWN_COMPONENT = "955CFDC2-8EA6-478E-A927-7C870022EA03"
"""The GUID of the component that owns the hub's own properties."""

Value = Union[str, int, bool]
"""What stands for a value where one is given: True and False become "True" and "False"."""


@dataclass(frozen=True, order=True)
class PropertyId:
    """A property among all: GUIDs are text, compared character by character, in capitals."""

    component: str
    group: str
    member: str

    @property
    def guid(self) -> str:
        """The group and the property as one text, as they travel."""
        return f"{self.group}:{self.member}"

    @staticmethod
    def parse(component: str, guid: str) -> PropertyId:
        """Returns the identity that travels as these two texts."""
        group, _, member = guid.partition(":")
        return PropertyId(component, group, member)


@dataclass(frozen=True)
class Property:
    """A property as the hub reports it."""

    id: PropertyId
    component_name: str
    group_name: str
    name: str
    value: str
    available: bool = True
    """False for the last word on a property that its component has withdrawn."""

    def __str__(self) -> str:
        return f"{self.group_name}/{self.name}"

    @property
    def number(self) -> Optional[int]:
        """The value as a number of 32 bits without a sign, or None if it isn't one."""
        return number_in(self.value)

    @property
    def boolean(self) -> Optional[bool]:
        """The value as a bool: True, False, or None if it is neither word."""
        return {"true": True, "false": False}.get(self.value.lower())


class ChangeKind(enum.Enum):
    """Why a subscription delivers a change."""

    PRESENT = "present"
    """The value that the property had when the subscription began."""
    CHANGED = "changed"
    """The property has a new value, has been announced, or a command has run again."""
    GONE = "gone"
    """The property was withdrawn, or isn't there any more after an interruption."""


@dataclass(frozen=True)
class Change:
    """What a subscription delivers."""

    property: Property
    kind: ChangeKind
    missed: bool = False
    """True if the hub didn't publish this change: it was found by reading again, after a
    burst of changes, an interruption, or the interval of the subscription."""


class ValueType(enum.Enum):
    """The type of a property that this program owns."""

    TEXT = "text"
    """Any text without a NUL."""
    NUMBER = "number"
    """0 to 4294967295."""
    BOOLEAN = "boolean"
    """ "True" or "False"."""
    COMMAND = "command"
    """Writing anything but "False" runs it, and its value says how it went."""


def number_in(text: str) -> Optional[int]:
    """Returns the number, or None if the text isn't one from 0 to 4294967295 in plain digits."""
    if re.fullmatch("[0-9]{1,20}", text) and int(text) < 2**32:
        return int(text)
    return None


def fits(kind: ValueType, text: str) -> bool:
    """Returns whether the text is a value of the type."""
    if kind is ValueType.NUMBER:
        return number_in(text) is not None
    if kind in (ValueType.BOOLEAN, ValueType.COMMAND):
        return text.lower() in ("true", "false")
    return "\0" not in text


def mean_the_same(one: str, other: str) -> bool:
    """Returns whether both are the same value, which numbers and truths may spell in other ways."""
    if one == other:
        return True
    if number_in(one) is not None:
        return number_in(one) == number_in(other)
    return fits(ValueType.BOOLEAN, one) and one.lower() == other.lower()


def text_of(value: Value) -> str:
    """Returns the value as it travels. Raises Refused for a NUL and for what can't be UTF-8."""
    text = value if isinstance(value, str) else str(value)
    if "\0" in text:
        raise Refused("a value can't hold a NUL")
    try:
        text.encode("utf-8", "surrogateescape")
    except UnicodeEncodeError:
        raise Refused("a value can't hold half of a surrogate pair") from None
    return text
