"""A subscription: an iterator over the changes of some properties, over a connection of its own.

The hub has no message that ends a subscription but the end of its connection, and no way to widen a
list to everything. With a connection for each, subscriptions begin, end and read again without
touching one another. The hub may drop changes in a burst, so the properties are read again every
interval, after each long publication, and after an interruption; the mirror says what of this is new.
"""

from __future__ import annotations

import asyncio
import contextlib
from dataclasses import dataclass
from typing import FrozenSet, List, Optional, Set

from .backlog import Backlog
from .closing import AsyncClosing
from .connection import Connection
from .endpoint import Endpoint
from .errors import Refused, VantryError
from .mirror import Mirror
from .options import Options
from .properties import Change, ChangeKind, Property, PropertyId
from .reconnect import keep_connected
from .waiting import within

LONG_PUBLICATION = 250
"""A message with so many records may belong to a burst, of which the hub keeps 499 changes a tick."""
AT_ONCE_SECONDS = 0.1
"""Less than half of the shortest tick of a hub."""


@dataclass(frozen=True)
class Interest:
    """What a subscription is for: listed properties, else the members of a group, else everything."""

    ids: FrozenSet[PropertyId] = frozenset()
    group: str = ""

    def covers(self, one: PropertyId) -> bool:
        """Returns whether the subscription is for this property."""
        if self.ids:
            return one in self.ids
        return not self.group or one.group == self.group


class AsyncSubscription(AsyncClosing):
    """Use it in `async for`; it ends with close(). Belongs to the event loop that made it."""

    def __init__(self, endpoint: Endpoint, options: Options, interest: Interest, interval: float):
        if interval < 0:
            raise Refused("the interval of a subscription can't be negative")
        self._interest = interest
        self._interval = interval
        self._deadline = options.deadline
        self._mirror = Mirror(interest.covers)
        self._backlog = Backlog()
        self._told = False
        self._connected = False
        self._to_check: Set[PropertyId] = set()
        self._read_all = False
        self._wake = asyncio.Event()
        self._published_at = 0.0
        self._read_at = 0.0
        self._task = asyncio.ensure_future(keep_connected(endpoint, options, self._serve))
        self._task.add_done_callback(self._ended)

    @property
    def connected(self) -> bool:
        """Whether the hub is there. While it isn't, values may be older than they look."""
        return self._connected

    @property
    def closed(self) -> bool:
        """Whether it has ended."""
        return self._task.done()

    @property
    def merged(self) -> int:
        """How many changes were dropped because they waited for too long, each for a later one of the
        same property. This happens when more than 10,000 wait."""
        return self._backlog.merged

    def __aiter__(self) -> AsyncSubscription:
        return self

    async def __anext__(self) -> Change:
        change = await self.next()
        if change is None:
            raise StopAsyncIteration
        return change

    async def next(self, timeout: Optional[float] = None) -> Optional[Change]:
        """Returns the next change, or None if there is none within the time, or the subscription has
        ended."""
        found = await self.take(timeout, 1)
        return found[0] if found else None

    async def take(self, timeout: Optional[float] = None, at_most: int = 1000) -> List[Change]:
        """Returns all changes that wait, or the next one if none does. Nothing if there is none within
        the time, or the subscription has ended."""
        try:
            await within(timeout, self._backlog.wait())
        except asyncio.TimeoutError:
            pass
        return self._backlog.take(at_most)

    async def close(self) -> None:
        """Ends the subscription. Iterators end once they have delivered what waits."""
        self._task.cancel()
        with contextlib.suppress(asyncio.CancelledError, Exception):
            await self._task

    def _ended(self, task: "asyncio.Task[None]") -> None:
        error = None if task.cancelled() else task.exception()
        self._backlog.end(VantryError(f"the subscription broke: {error!r}") if error else None)

    async def _serve(self, connection: Connection) -> None:
        connection.on_publication = self._published
        closed = asyncio.ensure_future(connection.wait_closed())
        closed.add_done_callback(lambda _: self._wake.set())
        try:
            await self._read(connection, subscribe=True)
            self._connected = True
            while not closed.done():
                if self._read_all or self._is_due():
                    await self._read(connection, subscribe=self._read_all)
                elif self._to_check:
                    await self._check(connection)
                else:
                    await self._wait()
        finally:
            self._connected = False
            closed.cancel()

    def _is_due(self) -> bool:
        return self._interval > 0 and _now() >= self._read_at + self._interval

    async def _wait(self) -> None:
        """Waits until something may be to be read."""
        self._wake.clear()
        left = self._read_at + self._interval - _now() if self._interval else None
        with contextlib.suppress(asyncio.TimeoutError):
            await within(left, self._wake.wait())

    def _published(self, records: List[Property]) -> None:
        self._published_at = _now()
        changes, again = self._mirror.publication(records)
        self._backlog.put(changes)
        self._to_check |= again
        # The hub forgets a listed property with its withdrawal, and the property may come back.
        gone = any(
            not record.available and record.id in self._interest.ids for record in records
        )
        if len(records) >= LONG_PUBLICATION or gone:
            self._read_all = True
        if self._to_check or self._read_all:
            self._wake.set()

    async def _read(self, connection: Connection, subscribe: bool) -> None:
        """Reads all that the subscription is for, and delivers what is new."""
        self._read_all = False
        told = frozenset(self._to_check)
        self._to_check.clear()
        self._mirror.ask()
        interest = self._interest
        if interest.ids:
            found = await connection.ask(sorted(interest.ids), self._deadline, subscribe)
        elif interest.group and not subscribe:
            found = await connection.ask([PropertyId("", interest.group, "")], self._deadline)
        else:
            found = await connection.ask_all(self._deadline, subscribe)
        kind = ChangeKind.CHANGED if self._told else ChangeKind.PRESENT
        asked = set(interest.ids) or None
        self._apply(*self._mirror.answer(found, asked, kind, missed=self._told, told=told))
        self._told = True
        self._read_at = _now()

    async def _check(self, connection: Connection) -> None:
        """Reads what is doubtful."""
        asked = set(self._to_check)
        self._to_check.clear()
        self._mirror.ask()
        published = self._published_at
        found = await connection.ask(sorted(asked), self._deadline)
        soon = _now() - published < AT_ONCE_SECONDS
        self._apply(*self._mirror.answer(found, asked, at_once=soon))

    def _apply(self, changes: List[Change], again: Set[PropertyId]) -> None:
        self._backlog.put(changes)
        self._to_check |= again


def _now() -> float:
    return asyncio.get_running_loop().time()
