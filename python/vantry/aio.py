"""The asyncio client: a program's connection to the hub.

One connection carries questions, writes, and what this program announces; each subscription has one
of its own. All of them come back by themselves after an interruption. Every coroutine waits for the
deadline of the options at most. An AsyncHub belongs to the event loop that it was made in.
"""

from __future__ import annotations

import asyncio
import contextlib
from typing import FrozenSet, Iterable, List, Optional, Union

from . import messages
from .announcement import Announcement
from .closing import AsyncClosing
from .connection import PUBLISHING_PERIOD, Connection
from .endpoint import Address, Endpoint, endpoint_of
from .errors import NoConnection, NotFound, OwnerGone, Refused, TimedOut, VantryError
from .heartbeat import HEARTBEAT_GROUP
from .options import Options, log
from .owner import Owner
from .owners import OwnerState, Owners, Presence
from .properties import ChangeKind, Property, PropertyId, Value, mean_the_same, text_of
from .reconnect import keep_connected
from .subscription import AsyncSubscription, Interest
from .waiting import within

Which = Union[PropertyId, str]
"""A property: its identity, or its name, or its group's name, "/" and its name."""

WITHOUT_OWNER = 1.0
"""The seconds that a write has whose owner is known to be gone."""


class AsyncHub(AsyncClosing):
    """Made with connect(); use it in `async with`, or call close()."""

    def __init__(self, endpoint: Endpoint, options: Options, first: Connection):
        """For connect() alone."""
        self.endpoint = endpoint
        self.options = options
        self._connection: Optional[Connection] = None
        self._closing = False
        self._owner = Owner(options.deadline, options.heartbeat)
        self._subscriptions: List[AsyncSubscription] = []
        self._task = asyncio.ensure_future(keep_connected(endpoint, options, self._serve, first))

    @staticmethod
    async def connect(address: Address = None, options: Options = Options()) -> AsyncHub:
        """Connects. An address is the path of the local device (the default), or HOST:PORT. Raises
        NoConnection if nobody listens there, and NotAHub if it isn't a hub, both with the address."""
        endpoint = endpoint_of(address)
        first = await Connection.open(endpoint, options.deadline, options.probe)
        hub = AsyncHub(endpoint, options, first)
        hub._connection = first
        return hub

    async def close(self) -> None:
        """Sends what is still to be sent, says goodbye and ends all subscriptions. Announced properties
        stay in the hub with their last values, and writes to them go nowhere: withdraw() them first if
        that isn't wanted."""
        self._closing = True
        self._owner.end()
        with contextlib.suppress(VantryError):
            if self.connected:
                await self.flush()
        for subscription in list(self._subscriptions):
            await subscription.close()
        self._task.cancel()
        with contextlib.suppress(asyncio.CancelledError):
            await self._task

    @property
    def connected(self) -> bool:
        """Whether the connection for questions is there at the moment."""
        return self._connection is not None

    async def read(self, which: Which) -> Property:
        """Returns the present value of a property. Raises NotFound, NoConnection and TimedOut."""
        if isinstance(which, str):
            return await self._find(which)
        for found in await self._present().ask([which], self.options.deadline):
            if found.id == which:
                return found
        raise NotFound(f"the hub at {self.endpoint} has no property {which.guid}")

    async def read_group(self, group: str) -> List[Property]:
        """Returns the members of the group with this GUID; none is no error."""
        return await self._present().ask([PropertyId("", group, "")], self.options.deadline)

    async def read_all(self) -> List[Property]:
        """Returns everything that this connection may see."""
        return await self._present().ask_all(self.options.deadline)

    async def write(self, which: Which, value: Value) -> None:
        """Sends a write. The hub answers no write: that this returns says that it was sent. Raises
        Refused over TCP, where the hub ignores writes."""
        await self._write(await self._identity(which), value)

    async def set(self, which: Which, value: Value) -> Property:
        """Sends a write, waits until the property has the value, and returns it. Raises NotFound, and
        TimedOut if it doesn't take the value; that is OwnerGone, after a second or at the deadline, if
        the heartbeat of its owner shows that the program has ended. If it has that value already, this returns once the write
        is sent: the result of a command that is run again with the same result can't be told."""
        one = await self._identity(which)
        text = text_of(value)
        async with self._subscribe(Interest(frozenset([one])), 0) as changes:
            before = await self.read(one)
            await self._write(one, value)
            # The hub takes writes of its own properties before it answers the next question.
            now = await self.read(one)
            if mean_the_same(now.value, text):
                return now
            gone = (await self._owner_of(one)).presence is Presence.GONE
            # A program without heartbeats may have become the owner since.
            patience = min(WITHOUT_OWNER, self.options.deadline) if gone else self.options.deadline
            try:
                taken = await within(patience, _until(changes, text))
            except asyncio.TimeoutError:
                taken = await self.read(one)
        if mean_the_same(taken.value, text):
            return taken
        owner = await self._owner_of(one)
        if owner.presence is Presence.GONE:
            raise OwnerGone(f"{before} has no owner any more: {owner.why}; it is still '{taken.value}'")
        why = "its owner refuses it" if owner.presence is Presence.ALIVE else "its owner refuses it, or is gone"
        raise TimedOut(
            f"{before} is '{taken.value}' and did not take '{text}' in {self.options.deadline:g} s: {why}"
        )

    def changes(
        self,
        *which: PropertyId,
        group: str = "",
        interval: Optional[float] = None,
    ) -> AsyncSubscription:
        """Subscribes to these properties, else to the group with this GUID, else to everything. What
        iterates over it gets the present values first, then each change. Properties that aren't there
        yet are waited for. `interval` takes the place of that of the options. Raises Refused."""
        ids: FrozenSet[PropertyId] = frozenset(which)
        if ids and group:
            raise Refused("a subscription is for listed properties or for a group, not for both")
        messages.list_question("", ids, True)
        return self._subscribe(
            Interest(ids, group), self.options.interval if interval is None else interval
        )

    async def identities(self, *names: str) -> List[PropertyId]:
        """Returns the identities of properties that are there now, for changes(). Raises NotFound."""
        present = await self.read_all()
        return [_named(name, present, self.endpoint).id for name in names]

    async def announce(self, properties: Iterable[Announcement]) -> None:
        """Announces properties of this program, such as a Component, and returns when the hub knows
        them. One that an earlier run has left in the hub is taken over, which lasts half a second. Two
        programs with one property can't be told from that: the later one takes it. Raises Refused with
        nothing announced, and TimedOut with all of them forgotten again."""
        await self._owner.announce(properties)

    def change(self, one: PropertyId, value: Value) -> None:
        """Publishes a value of an announced property. Without a connection it is published when there is
        one again. Raises NotFound and Refused. Doesn't wait."""
        self._owner.change(one, value)

    def withdraw(self, one: PropertyId) -> None:
        """Tells everybody that the property is gone. Raises NotFound. Doesn't wait."""
        self._owner.withdraw(one)

    async def flush(self) -> None:
        """Returns when the hub has taken all changes and withdrawals. Raises NoConnection and TimedOut."""
        await self._owner.flush()
        # A report has no answer; that of a question behind it says that the hub has read it.
        await self._present().ask([PUBLISHING_PERIOD], self.options.deadline)

    async def _serve(self, connection: Connection) -> None:
        self._connection = connection
        self._tell(True)
        try:
            await self._owner.serve(connection)
        finally:
            self._connection = None
            self._tell(False)

    def _tell(self, connected: bool) -> None:
        # An end that was asked for is no news.
        if self.options.on_connection and not self._closing:
            try:
                self.options.on_connection(connected)
            except Exception:
                log.exception("the callback on_connection failed")

    def _present(self) -> Connection:
        if self._connection is None:
            raise NoConnection(f"there is no connection to the hub at {self.endpoint} at the moment")
        return self._connection

    def _subscribe(self, interest: Interest, interval: float) -> AsyncSubscription:
        self._subscriptions = [one for one in self._subscriptions if not one.closed]
        made = AsyncSubscription(self.endpoint, self.options, interest, interval)
        self._subscriptions.append(made)
        return made

    async def _identity(self, which: Which) -> PropertyId:
        return which if isinstance(which, PropertyId) else (await self._find(which)).id

    async def _find(self, name: str) -> Property:
        return _named(name, await self.read_all(), self.endpoint)

    async def _owner_of(self, one: PropertyId) -> OwnerState:
        return Owners(await self.read_group(HEARTBEAT_GROUP)).of(one)

    async def _write(self, one: PropertyId, value: Value) -> None:
        if self.endpoint.is_external:
            raise Refused(f"the hub ignores writes that come over TCP, as over {self.endpoint}")
        await self._present().send(
            messages.write_request([(one, text_of(value))]), self.options.deadline
        )


def _named(name: str, present: List[Property], endpoint: Endpoint) -> Property:
    found = [one for one in present if name in (one.name, str(one))]
    if not found:
        raise NotFound(f"the hub at {endpoint} has no property called '{name}'")
    if len(found) > 1:
        several = ", ".join(f"'{one}' of {one.component_name}" for one in found)
        raise Refused(f"'{name}' is the name of several properties: {several}")
    return found[0]


async def _until(changes: AsyncSubscription, text: str) -> Property:
    async for change in changes:
        if change.kind is ChangeKind.GONE:
            raise NotFound(f"{change.property} was withdrawn")
        if mean_the_same(change.property.value, text):
            return change.property
    raise NoConnection("the subscription ended")
