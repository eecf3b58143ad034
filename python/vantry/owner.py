"""Keeps the hub's view of this program's properties equal to the program's own.

One task compares what is announced with what the hub has been told over the present connection, and
sends the difference, so what changes while a connection is being restored is never lost, and reports
leave in the order of the changes. A property that an earlier connection has left in the hub is
withdrawn first, because writes to it would still go to that one. Between a withdrawal and a return
two ticks of the hub pass: within one tick subscribers would hear of both in the wrong order.
"""

from __future__ import annotations

import asyncio
import inspect
from dataclasses import replace
from typing import Callable, Dict, Iterable, List, Set

from . import messages
from .announcement import Announcement
from .connection import Connection
from .errors import NotFound, Refused, TimedOut
from .heartbeat import Heartbeats
from .messages import Write
from .options import log
from .properties import PropertyId, Value, ValueType, fits, mean_the_same, text_of
from .waiting import within

PAUSE_BEFORE_RETURN = 0.55


class Owner:
    """Belongs to one event loop. Nothing blocks but the coroutines."""

    def __init__(self, deadline: float, heartbeat: float):
        self._deadline = deadline
        self._heartbeats = Heartbeats(heartbeat)
        self._announced: Dict[PropertyId, Announcement] = {}
        self._known: Set[PropertyId] = set()
        """What was reported to the hub over the present connection."""
        self._changed: Dict[PropertyId, None] = {}
        self._withdrawn: Dict[PropertyId, Announcement] = {}
        """The properties whose withdrawal is still to be reported to the hub."""
        self._withdrawn_at: Dict[PropertyId, float] = {}
        self._wake = asyncio.Event()
        self._progress = asyncio.Event()
        self._writes: asyncio.Queue[Write] = asyncio.Queue()

    async def announce(self, properties: Iterable[Announcement]) -> None:
        """Returns when the hub knows them. Raises Refused, with nothing announced, if one of them can't
        be; and TimedOut, with all of them forgotten again."""
        added: Dict[PropertyId, Announcement] = {}
        for one in properties:
            one.check()
            if one.id in self._announced or one.id in added:
                raise Refused(f'"{one.name}" is announced already')
            added[one.id] = one
        for one in self._heartbeats.join(added.values()):
            added.setdefault(one.id, one)
        self._announced.update(added)
        self._beat()
        try:
            # Taking over what an earlier run has left is a matter of the hub's ticks.
            await self._wait(lambda: added.keys() <= self._known, PAUSE_BEFORE_RETURN)
        except BaseException:
            for one in added.values():
                if self._announced.get(one.id) is one:
                    self.withdraw(one.id)
            raise

    def change(self, one: PropertyId, value: Value) -> None:
        """Publishes a value. Without a connection it is published when there is one again. Raises
        NotFound, and Refused if the value doesn't fit the type."""
        announced = self._find(one)
        text = text_of(value)
        if not fits(announced.type, text):
            raise Refused(f"'{text}' is no value of \"{announced.name}\"")
        self._heartbeats.note(one)
        self._set(announced, text)

    def _set(self, announced: Announcement, text: str) -> None:
        self._announced[announced.id] = replace(announced, value=text)
        self._changed[announced.id] = None
        self._wake.set()

    def _beat(self, ended: bool = False) -> None:
        """Gives the heartbeats their present values."""
        for one, text in self._heartbeats.beat(ended).items():
            if one in self._announced:
                self._set(self._announced[one], text)
        self._wake.set()

    def end(self) -> None:
        """Lets the heartbeats say that the program leaves the hub."""
        self._beat(ended=True)

    async def _keep_beating(self) -> None:
        while self._heartbeats.interval:
            await asyncio.sleep(self._heartbeats.interval)
            self._beat()

    def withdraw(self, one: PropertyId) -> None:
        """Tells everybody that the property is gone, at once or when there is a connection again.
        Raises NotFound."""
        self._withdrawn[one] = self._find(one)
        del self._announced[one]
        self._changed.pop(one, None)
        self._known.discard(one)
        self._wake.set()
        heartbeat = self._heartbeats.leave(one)
        if heartbeat in self._announced:
            self.withdraw(heartbeat)

    def _find(self, one: PropertyId) -> Announcement:
        if one not in self._announced:
            raise NotFound(f"{one.guid} was not announced")
        return self._announced[one]

    async def flush(self) -> None:
        """Returns when the hub has been sent all changes and withdrawals. Raises TimedOut."""
        await self._wait(lambda: not self._withdrawn and not self._changed)

    async def _wait(self, done: Callable[[], bool], more: float = 0.0) -> None:
        async def wait() -> None:
            while not done():
                self._progress.clear()
                await self._progress.wait()

        try:
            await within(self._deadline + more, wait())
        except asyncio.TimeoutError:
            raise TimedOut("the hub was not told in time") from None

    async def serve(self, connection: Connection) -> None:
        """Does all that is to be done over a fresh connection, until it ends."""
        self._known.clear()
        connection.on_writes = self._take
        handling = asyncio.ensure_future(self._handle())
        beating = asyncio.ensure_future(self._keep_beating())
        closed = asyncio.ensure_future(connection.wait_closed())
        closed.add_done_callback(lambda _: self._wake.set())
        try:
            while not closed.done():
                self._wake.clear()
                await self._tell(connection)
                self._progress.set()
                await self._wake.wait()
        finally:
            closed.cancel()
            handling.cancel()
            beating.cancel()

    async def _tell(self, connection: Connection) -> None:
        """Sends the difference between what is and what the hub knows."""
        while self._withdrawn or self._changed or len(self._known) < len(self._announced):
            gone, self._withdrawn = self._withdrawn, {}
            self._known.difference_update(gone)
            await self._report(connection, gone.values(), available=False)
            changed = [one for one in self._changed if one in self._known]
            self._changed.clear()
            await self._report(connection, [self._announced[one] for one in changed])
            fresh = [one for one in self._announced if one not in self._known]
            if fresh:
                await self._take_possession(connection, fresh)

    async def _take_possession(self, connection: Connection, fresh: List[PropertyId]) -> None:
        left = await connection.ask(fresh, self._deadline)
        await self._report(
            connection,
            [self._announced[found.id] for found in left if found.id in self._announced],
            available=False,
        )
        now = asyncio.get_running_loop().time()
        latest = max((self._withdrawn_at.pop(one, 0.0) for one in fresh), default=0.0)
        await asyncio.sleep(max(0.0, latest + PAUSE_BEFORE_RETURN - now))
        # What was changed or withdrawn meanwhile is reported as it is now.
        present = [self._announced[one] for one in fresh if one in self._announced]
        for one in present:
            self._changed.pop(one.id, None)
        self._known.update(one.id for one in present)
        await self._report(connection, present)
        # A report has no answer; that of a question behind it says that the hub knows them now.
        await connection.ask(fresh[:1], self._deadline)

    async def _report(
        self, connection: Connection, properties: Iterable[Announcement], available: bool = True
    ) -> None:
        records = [one.record(available) for one in properties]
        for data in messages.reports(records):
            await connection.send(data, self._deadline)
        if not available:
            now = asyncio.get_running_loop().time()
            self._withdrawn_at.update((record.id, now) for record in records)

    def _take(self, writes: List[Write]) -> None:
        for write in writes:
            self._writes.put_nowait(write)

    async def _handle(self) -> None:
        while True:
            one, written = await self._writes.get()
            try:
                await self._handle_write(one, written)
            except Exception:
                log.exception("the handler of %s failed for '%s'", one.guid, written)

    async def _handle_write(self, one: PropertyId, written: str) -> None:
        announced = self._announced.get(one)
        if announced is None or announced.on_write is None:
            return
        if announced.type is ValueType.COMMAND:
            if mean_the_same(written, "False"):
                return
        elif not fits(announced.type, written):
            return
        answer = announced.on_write(written)
        value = await answer if inspect.isawaitable(answer) else answer
        if value is not None and one in self._announced:
            self.change(one, value)
