"""One connection to a hub: it sends frames, and distinguishes answers, publications and writes.

A task receives all the time, whatever else the program does, so a slow handler never holds up an
answer. What isn't a frame ends the connection with words that name the address. All of this belongs
to one event loop; nothing here blocks.
"""

from __future__ import annotations

import asyncio
import itertools
import os
import socket
import struct
from collections import deque
from typing import Callable, Deque, Dict, Iterable, List, Optional

from . import messages
from .endpoint import Endpoint
from .errors import NoConnection, NotAHub, TimedOut, VantryError
from .lookup import look_up
from .messages import Write
from .properties import OWN_COMPONENT, Property, PropertyId
from .waiting import within

PUBLISHING_PERIOD = PropertyId(
    OWN_COMPONENT, "99A61D40-20CE-41EA-A579-EB92C6ED94C6", "DA821DC5-948D-4659-9B52-177E4C102129"
)
"""A property that every hub has."""

GOODBYE_SECONDS = 0.5

TCP_USER_TIMEOUT = 18
"""Linux's number, which Python 3.9 has no name for on every build."""


class Connection:
    """Made with open(); ended by close(), by the hub, or by what isn't a frame."""

    def __init__(self, endpoint: Endpoint, reader: asyncio.StreamReader, writer: asyncio.StreamWriter):
        self.endpoint = endpoint
        self.on_publication: Callable[[List[Property]], None] = lambda properties: None
        """Called with the records of each message that answers no question."""
        self.on_writes: Callable[[List[Write]], None] = lambda writes: None
        """Called with what others have written to properties of this connection."""
        self._reader = reader
        self._writer = writer
        self._names = itertools.count(1)
        self._lists: Dict[str, asyncio.Future[List[Property]]] = {}
        self._alls: Deque[asyncio.Future[List[Property]]] = deque()
        self._end: VantryError = NoConnection(f"the connection to {endpoint} was closed")
        self._receiving = asyncio.ensure_future(self._receive())

    @staticmethod
    async def open(endpoint: Endpoint, deadline: float, probe: float) -> Connection:
        """Connects and asks a first question. Raises NoConnection if nobody listens there within the
        deadline, and NotAHub if what listens doesn't answer as a hub within `probe` seconds."""
        try:
            reader, writer = await within(deadline, _connect(endpoint))
        except asyncio.TimeoutError:
            raise NoConnection(f"can't reach the hub at {endpoint}: no answer in {deadline:g} s") from None
        except OSError as error:
            reason = os.strerror(error.errno) if (error.errno or 0) > 0 else str(error)
            raise NoConnection(f"can't reach the hub at {endpoint}: {reason}") from None
        _keep_alive(writer)
        connection = Connection(endpoint, reader, writer)
        try:
            await connection.ask([PUBLISHING_PERIOD], probe)
        except TimedOut:
            connection.abort()  # It wouldn't take a goodbye in time either.
            raise NotAHub(f"{endpoint} took the connection, but did not answer as a hub in {probe:g} s") from None
        except BaseException:
            await connection.close()
            raise
        return connection

    async def ask(
        self, ids: Iterable[PropertyId], deadline: float, subscribe: bool = False
    ) -> List[Property]:
        """Returns those of the properties that the hub has. An identity without a property stands for
        the members of its group. Any number of questions may be open at once. Raises TimedOut, and
        NoConnection if the connection ends."""
        name = str(next(self._names))
        answer: asyncio.Future[List[Property]] = asyncio.get_running_loop().create_future()
        self._lists[name] = answer
        try:
            return await self._ask(messages.list_question(name, ids, subscribe), answer, deadline)
        finally:
            self._lists.pop(name, None)

    async def ask_all(self, deadline: float, subscribe: bool = False) -> List[Property]:
        """Returns everything that this connection may see; otherwise as ask()."""
        answer: asyncio.Future[List[Property]] = asyncio.get_running_loop().create_future()
        self._alls.append(answer)
        return await self._ask(messages.all_question(subscribe), answer, deadline)

    async def _ask(
        self, question: bytes, answer: "asyncio.Future[List[Property]]", deadline: float
    ) -> List[Property]:
        self._write(question)
        try:
            return await within(deadline, answer)
        except asyncio.TimeoutError:
            raise TimedOut(f"the hub at {self.endpoint} did not answer in {deadline:g} s") from None

    async def send(self, data: bytes, deadline: float) -> None:
        """Sends a frame. Raises NoConnection, and TimedOut if the hub doesn't take it in time, which
        ends the connection: nobody can tell how much of it has arrived."""
        self._write(data)
        try:
            await within(deadline, self._writer.drain())
        except asyncio.TimeoutError:
            self.abort()
            raise TimedOut(f"the hub at {self.endpoint} did not take a message in {deadline:g} s") from None
        except OSError:
            raise NoConnection(f"the connection to {self.endpoint} is lost") from None

    def _write(self, data: bytes) -> None:
        if self._receiving.done():
            raise self._end
        self._writer.write(data)

    async def wait_closed(self) -> VantryError:
        """Waits until the connection has ended. Returns why."""
        await asyncio.wait([self._receiving])
        return self._end

    async def close(self) -> None:
        """Says goodbye, so that the hub logs nothing, and ends the connection. Takes half a second
        at most. Raises nothing."""
        try:
            if not self._receiving.done():
                self._writer.write(messages.goodbye())
                await asyncio.wait([self._receiving], timeout=GOODBYE_SECONDS)
        finally:
            self._receiving.cancel()
            if self._writer.transport.get_write_buffer_size() > 0:
                self._writer.transport.abort()
            self._writer.close()

    def abort(self) -> None:
        """Ends the connection at once, without a word to the hub."""
        self._receiving.cancel()
        self._writer.transport.abort()

    async def _receive(self) -> None:
        try:
            while True:
                self._take(messages.parse(await self._receive_text()))
        except (asyncio.IncompleteReadError, OSError):
            self._end = NoConnection(f"the hub at {self.endpoint} has ended the connection")
        except VantryError as error:
            self._end = error
        finally:
            for answer in [*self._lists.values(), *self._alls]:
                if not answer.done():
                    answer.set_exception(self._end)
                    answer.exception()  # Nobody may be waiting for it any more.
            self._writer.close()

    async def _receive_text(self) -> bytes:
        head = await self._reader.readexactly(len(messages.MAGIC))
        if head != messages.MAGIC:
            shown = head.decode("ascii", "backslashreplace")
            raise NotAHub(f'{self.endpoint} is not a hub: it says "{shown}"')
        (length,) = struct.unpack("<I", await self._reader.readexactly(4))
        if not 0 < length <= messages.MAX_RECEIVED_BYTES:
            raise NotAHub(f"{self.endpoint} is not a hub: it announces a message of {length} bytes")
        return await self._reader.readexactly(length)

    def _take(self, message: messages.Message) -> None:
        if message.writes:
            self.on_writes(message.writes)
        if message.question is not None:
            _resolve(self._lists.get(message.question), message.found)
        elif message.answers_all:
            _resolve(self._alls.popleft() if self._alls else None, message.found)
        elif message.found:
            self.on_publication(message.found)


def _resolve(answer: "Optional[asyncio.Future[List[Property]]]", found: List[Property]) -> None:
    if answer is not None and not answer.done():
        answer.set_result(found)


async def _connect(endpoint: Endpoint) -> "tuple[asyncio.StreamReader, asyncio.StreamWriter]":
    if endpoint.path:
        return await asyncio.open_unix_connection(endpoint.path)
    address = await look_up(endpoint.host)
    return await asyncio.open_connection(address, endpoint.port, family=socket.AF_INET)


def _keep_alive(writer: asyncio.StreamWriter) -> None:
    """Lets the system notice within a minute that the other machine is gone."""
    link = writer.get_extra_info("socket")
    if link.family == socket.AF_INET:
        link.setsockopt(socket.SOL_SOCKET, socket.SO_KEEPALIVE, 1)
        link.setsockopt(socket.IPPROTO_TCP, socket.TCP_KEEPIDLE, 15)
        link.setsockopt(socket.IPPROTO_TCP, socket.TCP_KEEPINTVL, 5)
        link.setsockopt(socket.IPPROTO_TCP, socket.TCP_KEEPCNT, 3)
        link.setsockopt(socket.IPPROTO_TCP, TCP_USER_TIMEOUT, 30_000)
