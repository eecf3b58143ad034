"""Vantry's property hub from Python: read, write and watch properties, and own some.

    import vantry

    with vantry.Hub() as hub:
        print(hub.read("Print Speed").value)
        for change in hub.changes("Printhead Temperature"):
            print(change.property.value)

`Hub` waits, `AsyncHub` is for asyncio; both do the same.
"""

from .aio import AsyncHub, Which
from .announcement import Announcement, Component, guid_of
from .endpoint import Endpoint
from .errors import NoConnection, NotAHub, NotFound, OwnerGone, Refused, TimedOut, VantryError
from .heartbeat import HEARTBEAT_GROUP
from .options import Options
from .owners import Age, Owners, OwnerState, Presence
from .properties import OWN_COMPONENT, Change, ChangeKind, Property, PropertyId, Value, ValueType
from .subscription import AsyncSubscription
from .sync import Hub, Subscription

__all__ = [
    "HEARTBEAT_GROUP",
    "OWN_COMPONENT",
    "Age",
    "Announcement",
    "AsyncHub",
    "AsyncSubscription",
    "Change",
    "ChangeKind",
    "Component",
    "Endpoint",
    "Hub",
    "NoConnection",
    "NotAHub",
    "NotFound",
    "Options",
    "OwnerGone",
    "OwnerState",
    "Owners",
    "Presence",
    "Property",
    "PropertyId",
    "Refused",
    "Subscription",
    "TimedOut",
    "Value",
    "ValueType",
    "VantryError",
    "Which",
    "guid_of",
]
