"""Reads messages of the hub that are no good JSON.

The hub passes names and forwarded writes on without escaping them, so one double quote in a name
spoils the text of every message that it stands in. The order of the members is fixed, and what
stands between them tells them apart well enough. The section at the start of the text says whether
it is an answer or a write, so that neither is ever taken for the other. The time that this takes
grows with the length of the text alone, whatever is in it.
"""

from __future__ import annotations

import json
import re
from typing import Dict, List, Optional, Tuple

_RECORD = ("Component", "ComponentString", "GUID", "GroupString", "NameString", "Status", "Value")
_WRITE = ("Component", "GUID", "Value")
_ALL = '{"GetAllPropertiesResponse": true,'
_ENTRY = '{"Component": "'
_ESCAPE = re.compile(r'\\(?:["\\/bfnrt]|u[0-9A-Fa-f]{4})')
_END = re.compile(r'"\}(?:,(?=\{"Component": ")|\])')


def recover(text: str) -> Dict[str, object]:
    """Returns the sections that can be made out, as a parsed message would hold them. Nothing is an
    error; a text without any holds no section."""
    found: Dict[str, object] = {}
    at = 0
    if text.startswith(_ALL):
        found["GetAllPropertiesResponse"] = True
        at = len(_ALL) - 1
    for section, members in (("PropertyGetResponses", _RECORD), ("PropertySetRequests", _WRITE)):
        head = f'"{section}": ['
        if text.startswith(head, at + 1):
            found[section] = _entries(text, at + 1 + len(head), members)
    return found


def _entries(text: str, at: int, members: Tuple[str, ...]) -> List[Dict[str, str]]:
    entries: List[Dict[str, str]] = []
    while text.startswith(_ENTRY, at):
        end = _END.search(text, at)
        if end is None:
            break
        entry = _entry(text[at + len(_ENTRY) : end.start()], members)
        if entry is not None:
            entries.append(entry)
        at = end.end()
    return entries


def _entry(text: str, members: Tuple[str, ...]) -> Optional[Dict[str, str]]:
    """Returns the members of an entry, or None if one of them isn't there."""
    entry: Dict[str, str] = {}
    for member, following in zip(members, members[1:]):
        value, opening, text = text.partition(f'","{following}": "')
        if not opening:
            return None
        entry[member] = _meant(value)
    entry[members[-1]] = _meant(text)
    return entry


def _meant(raw: str) -> str:
    """Returns the text without its escapes if all of them are good ones, else as it stands."""
    if "\\" in _ESCAPE.sub("", raw):
        return raw
    return _ESCAPE.sub(lambda escape: str(json.loads(f'"{escape.group()}"')), raw)
