"""Frames and messages: what travels between a client and the hub, as bytes and as data.

A frame is 16 bytes of magic, a length and a JSON text. A question for a list carries one request
more, for a property that nobody has, whose identity names the question: the hub answers it with "not
found", and no publication ever holds such a record. So an answer is recognised for certain, however
many questions are open and whatever else arrives. An answer to a question for everything has a
section of its own that says so.
"""

from __future__ import annotations

import json
import struct
from dataclasses import dataclass, field
from typing import Dict, Iterable, Iterator, List, Optional, Tuple

from .errors import Refused
from .properties import OWN_COMPONENT, Property, PropertyId
from .recovery import recover

MAGIC = bytes.fromhex("B3EC099A229248FA83D006840BC99102")
HEAD_BYTES = 20
MAX_SENT_BYTES = 4 * 1024 * 1024
"""The longest text that the hub accepts."""
MAX_RECEIVED_BYTES = 256 * 1024 * 1024
"""The longest text that this package accepts; the hub's answers may be longer than what it accepts."""
REPORT_BYTES = 1024 * 1024
"""Reports are split into messages of about this length."""

_QUESTION_GROUP = "vantry-question"

Write = Tuple[PropertyId, str]
"""What somebody has written to a property of this program."""


@dataclass
class Message:
    """A message of the hub."""

    found: List[Property] = field(default_factory=list)
    """Its records, but for those that say that there is no such property."""
    writes: List[Write] = field(default_factory=list)
    question: Optional[str] = None
    """The name of the question for a list that this answers."""
    answers_all: bool = False
    """Whether this answers a question for everything."""


def frame(sections: Dict[str, object]) -> bytes:
    """Returns the frame of a message. Raises Refused if it is longer than the hub accepts."""
    text = json.dumps(sections, ensure_ascii=False).encode("utf-8", "surrogateescape")
    if len(text) > MAX_SENT_BYTES:
        raise Refused(f"a message of {len(text)} bytes is longer than the {MAX_SENT_BYTES} of a hub")
    return MAGIC + struct.pack("<I", len(text)) + text


def parse(text: bytes) -> Message:
    """Returns what a text of the hub says. Nothing is an error: what can't be read is left out."""
    plain = text.decode("utf-8", "surrogateescape")
    try:
        sections = json.loads(plain, strict=False)
    except (ValueError, RecursionError):
        sections = recover(plain)
    message = Message()
    if not isinstance(sections, dict):
        return message
    message.answers_all = "GetAllPropertiesResponse" in sections
    for entry in _entries(sections, "PropertyGetResponses"):
        if entry.get("Status") != "Property Not Found":
            message.found.append(_property(entry))
        else:
            group, _, name = _text(entry, "GUID").partition(":")
            if group == _QUESTION_GROUP:
                message.question = name
    for entry in _entries(sections, "PropertySetRequests"):
        message.writes.append((_identity(entry), _text(entry, "Value")))
    return message


def list_question(name: str, ids: Iterable[PropertyId], subscribe: bool) -> bytes:
    """Returns the frame that asks for these properties, and subscribes to them if it is to. An
    identity whose property is empty stands for all members of its group."""
    wanted = [_request(one) for one in ids]
    mark = _request(PropertyId("", _QUESTION_GROUP, name))
    if subscribe:
        return frame({"PropertyGetRequests": [mark], "PropertySubscribeRequests": wanted})
    return frame({"PropertyGetRequests": [mark] + wanted})


def all_question(subscribe: bool) -> bytes:
    """Returns the frame that asks for everything, and subscribes to it if it is to."""
    key = "SubscribeAllCurrentAndNewProperties" if subscribe else "GetAllProperties"
    return frame({key: True})


def write_request(written: Iterable[Write]) -> bytes:
    """Returns the frame that writes these values. The hub hands a write on to its owner as it has
    read it, without putting escapes back, so what goes to another component is escaped twice."""
    entries = []
    for one, value in written:
        text = value if one.component == OWN_COMPONENT else escaped(value)
        entries.append(dict(_request(one), Value=text))
    return frame({"PropertySetRequests": entries})


def reports(properties: Iterable[Property]) -> Iterator[bytes]:
    """Yields the frames by which a component reports its properties. One that isn't available is
    withdrawn. Names are escaped twice, since the hub passes them on as it has read them."""
    entries: List[Dict[str, str]] = []
    size = 0
    for one in properties:
        entry = dict(
            _request(one.id),
            ComponentString=escaped(one.component_name),
            GroupString=escaped(one.group_name),
            NameString=escaped(one.name),
            Status="Successful" if one.available else "Property No Longer Available",
            Value=one.value,
        )
        length = len(json.dumps(entry, ensure_ascii=False).encode("utf-8", "surrogateescape"))
        if entries and size + length > REPORT_BYTES:
            yield frame({"PropertyGetResponses": entries})
            entries, size = [], 0
        entries.append(entry)
        size += length
    if entries:
        yield frame({"PropertyGetResponses": entries})


def goodbye() -> bytes:
    """Returns the frame that ends a connection in an orderly way."""
    return frame({"Disconnect": True})


def escaped(text: str) -> str:
    """Returns the text as it stands between the double quotes of a JSON text."""
    return json.dumps(text, ensure_ascii=False)[1:-1]


def _request(one: PropertyId) -> Dict[str, str]:
    return {"Component": one.component, "GUID": one.guid}


def _entries(sections: Dict[str, object], section: str) -> Iterator[Dict[str, object]]:
    entries = sections.get(section)
    for entry in entries if isinstance(entries, list) else []:
        if isinstance(entry, dict):
            yield entry


def _text(entry: Dict[str, object], member: str) -> str:
    text = entry.get(member)
    return text if isinstance(text, str) else ""


def _identity(entry: Dict[str, object]) -> PropertyId:
    return PropertyId.parse(_text(entry, "Component"), _text(entry, "GUID"))


def _property(entry: Dict[str, object]) -> Property:
    return Property(
        id=_identity(entry),
        component_name=_text(entry, "ComponentString"),
        group_name=_text(entry, "GroupString"),
        name=_text(entry, "NameString"),
        value=_text(entry, "Value"),
        available=entry.get("Status") == "Successful",
    )
