"""What can be used in `with` or `async with`, and is closed at its end."""

from __future__ import annotations

from types import TracebackType
from typing import Optional, Type, TypeVar

Sync = TypeVar("Sync", bound="Closing")
Async = TypeVar("Async", bound="AsyncClosing")


class Closing:
    """Is closed at the end of `with`."""

    def close(self) -> None:
        """Ends it. To be overridden."""
        raise NotImplementedError

    def __enter__(self: Sync) -> Sync:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()


class AsyncClosing:
    """Is closed at the end of `async with`."""

    async def close(self) -> None:
        """Ends it. To be overridden."""
        raise NotImplementedError

    async def __aenter__(self: Async) -> Async:
        return self

    async def __aexit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        await self.close()
