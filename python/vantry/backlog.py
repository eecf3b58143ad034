"""The changes that wait for whoever iterates over a subscription, with a bound."""

from __future__ import annotations

import asyncio
from collections import deque
from typing import Deque, Dict, Iterable, List, Optional

from .errors import VantryError
from .properties import Change, PropertyId

LIMIT = 10_000


class Backlog:
    """A queue. When it holds more than 10,000 changes and more than two for each property, it keeps
    the last change of each property alone, and counts what it has dropped."""

    def __init__(self) -> None:
        self.merged = 0
        """How many changes were dropped because a later one of the same property waited."""
        self._waiting: Deque[Change] = deque()
        self._limit = LIMIT
        self._arrived = asyncio.Event()
        self._ended = False
        self._error: Optional[VantryError] = None

    def put(self, changes: Iterable[Change]) -> None:
        """Adds changes."""
        self._waiting.extend(changes)
        if len(self._waiting) > self._limit:
            last: Dict[PropertyId, Change] = {}
            for change in self._waiting:
                last.pop(change.property.id, None)
                last[change.property.id] = change
            self.merged += len(self._waiting) - len(last)
            self._waiting = deque(last.values())
            self._limit = max(LIMIT, 2 * len(last))
        if self._waiting:
            self._arrived.set()

    def end(self, error: Optional[VantryError] = None) -> None:
        """Lets wait() return at once, or raise the error, when nothing waits any more."""
        self._ended = True
        self._error = error
        self._arrived.set()

    async def wait(self) -> None:
        """Waits until there is a change, or the end."""
        while not self._waiting:
            if self._error is not None:
                raise self._error
            if self._ended:
                return
            self._arrived.clear()
            await self._arrived.wait()

    def take(self, at_most: int) -> List[Change]:
        """Returns the oldest changes, which wait no longer."""
        return [self._waiting.popleft() for _ in range(min(at_most, len(self._waiting)))]
