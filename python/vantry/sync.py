"""The synchronous client: an AsyncHub that runs on a thread of its own.

All that the protocol asks for is done by the asyncio client. An operation here hands a coroutine to
its event loop and waits for the outcome. Handlers and callbacks of the program run one after another
on a second thread, so they may take their time, and may use the Hub themselves. Any thread may use a
Hub and its subscriptions.
"""

from __future__ import annotations

import asyncio
import atexit
import threading
from collections import deque
from concurrent.futures import ThreadPoolExecutor
from dataclasses import replace
from typing import Callable, Coroutine, Deque, Iterable, Iterator, List, Optional, TypeVar

from .aio import AsyncHub, Which
from .announcement import Announcement, Handler
from .closing import Closing
from .endpoint import Address
from .errors import NoConnection
from .options import Options
from .properties import Change, Property, PropertyId, Value
from .subscription import AsyncSubscription

Result = TypeVar("Result")


class _Loop:
    """An event loop on a thread, and a thread for handlers."""

    def __init__(self) -> None:
        self.handlers = ThreadPoolExecutor(1, "vantry-handlers")
        self._loop = asyncio.new_event_loop()
        self._thread = threading.Thread(target=self._loop.run_forever, name="vantry", daemon=True)
        self._thread.start()

    def run(self, coroutine: Coroutine[object, object, Result]) -> Result:
        if self._loop.is_closed():
            coroutine.close()
            raise NoConnection("the connection to the hub was closed by this program")
        future = asyncio.run_coroutine_threadsafe(coroutine, self._loop)
        try:
            return future.result()
        except BaseException:
            future.cancel()
            raise

    def call(self, function: Callable[[], Result]) -> Result:
        async def called() -> Result:
            return function()

        return self.run(called())

    def off_loop(self, handler: Handler) -> Handler:
        """Returns a handler that runs the given one on the thread of handlers."""

        async def handle(written: str) -> Optional[Value]:
            answer: object = await self._loop.run_in_executor(self.handlers, handler, written)
            if answer is None or isinstance(answer, (str, int)):
                return answer
            raise TypeError(f"a handler of a Hub can't return {answer!r}")

        return handle

    def end(self) -> None:
        self._loop.call_soon_threadsafe(self._loop.stop)
        self._thread.join()
        self._loop.close()
        # A handler that runs at the moment may be the one that ends all this.
        self.handlers.shutdown(wait=False)


class Subscription(Closing):
    """An iterator over changes; it waits for the next one. Use it in `with`, or call close()."""

    def __init__(self, loop: _Loop, inner: AsyncSubscription):
        self._loop = loop
        self._inner = inner
        self._taken: Deque[Change] = deque()
        self._taking = threading.Lock()
        """Held while a thread waits for changes; guards what it has taken."""

    @property
    def connected(self) -> bool:
        """Whether the hub is there. While it isn't, values may be older than they look."""
        return self._inner.connected

    @property
    def merged(self) -> int:
        """How many changes were dropped because they waited for too long, each for a later one of the
        same property."""
        return self._inner.merged

    def __iter__(self) -> Iterator[Change]:
        while True:
            change = self.next()
            if change is None:
                return
            yield change

    def next(self, timeout: Optional[float] = None) -> Optional[Change]:
        """Returns the next change, or None if there is none within the time, or the subscription has
        ended."""
        with self._taking:
            if not self._taken:
                try:
                    self._taken.extend(self._loop.run(self._inner.take(timeout)))
                except NoConnection:  # The Hub was closed.
                    return None
            return self._taken.popleft() if self._taken else None

    def close(self) -> None:
        """Ends the subscription; what waits in next() returns."""
        if not self._inner.closed:
            self._loop.run(self._inner.close())


class Hub(Closing):
    """A program's connection to the hub. Use it in `with`, or call close(). It ends with the program.

    What the operations return and raise is said at those of AsyncHub. They wait for the hub for the
    deadline of the options at most, but for change() and withdraw(), which don't wait for it.
    """

    def __init__(self, address: Address = None, options: Options = Options()):
        """Connects. An address is the path of the local device (the default), or HOST:PORT. Raises
        NoConnection if nobody listens there, and NotAHub if it isn't a hub, both with the address."""
        self._loop = _Loop()
        told = options.on_connection
        if told is not None:
            handlers = self._loop.handlers
            options = replace(options, on_connection=lambda up: handlers.submit(told, up))
        try:
            self._hub = self._loop.run(AsyncHub.connect(address, options))
        except BaseException:
            self._loop.end()
            raise
        self._closing = threading.Lock()
        self._closed = False
        atexit.register(self.close)

    def close(self) -> None:
        """Sends what is still to be sent, says goodbye and ends all subscriptions. See AsyncHub.close()
        for what becomes of announced properties."""
        with self._closing:
            if self._closed:
                return
            self._closed = True
        atexit.unregister(self.close)
        self._loop.run(self._hub.close())
        self._loop.end()

    @property
    def connected(self) -> bool:
        """Whether the connection for questions is there at the moment."""
        return self._hub.connected

    def read(self, which: Which) -> Property:
        """Returns the present value of a property."""
        return self._loop.run(self._hub.read(which))

    def read_group(self, group: str) -> List[Property]:
        """Returns the members of the group with this GUID."""
        return self._loop.run(self._hub.read_group(group))

    def read_all(self) -> List[Property]:
        """Returns everything that this connection may see."""
        return self._loop.run(self._hub.read_all())

    def write(self, which: Which, value: Value) -> None:
        """Sends a write, which has no answer."""
        self._loop.run(self._hub.write(which, value))

    def set(self, which: Which, value: Value) -> Property:
        """Sends a write, waits until the property has the value, and returns it."""
        return self._loop.run(self._hub.set(which, value))

    def changes(self, *which: Which, group: str = "", interval: Optional[float] = None) -> Subscription:
        """Subscribes to these properties, else to the group with this GUID, else to everything. Names
        are those of properties that are there now; raises NotFound if one isn't."""

        async def subscribe() -> AsyncSubscription:
            names = [one for one in which if isinstance(one, str)]
            ids = [one for one in which if isinstance(one, PropertyId)]
            ids += await self._hub.identities(*names) if names else []
            return self._hub.changes(*ids, group=group, interval=interval)

        return Subscription(self._loop, self._loop.run(subscribe()))

    def announce(self, properties: Iterable[Announcement]) -> None:
        """Announces properties of this program. Their handlers run on a thread of the Hub."""
        wrapped = [
            replace(one, on_write=one.on_write and self._loop.off_loop(one.on_write))
            for one in properties
        ]
        self._loop.run(self._hub.announce(wrapped))

    def change(self, one: PropertyId, value: Value) -> None:
        """Publishes a value of an announced property."""
        self._loop.call(lambda: self._hub.change(one, value))

    def withdraw(self, one: PropertyId) -> None:
        """Tells everybody that the property is gone."""
        self._loop.call(lambda: self._hub.withdraw(one))

    def flush(self) -> None:
        """Returns when the hub has taken all changes and withdrawals."""
        self._loop.run(self._hub.flush())
