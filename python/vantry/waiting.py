"""Waiting with a bound."""

from __future__ import annotations

import asyncio
from typing import Awaitable, Optional, TypeVar

Result = TypeVar("Result")


async def within(seconds: Optional[float], awaitable: Awaitable[Result]) -> Result:
    """Returns the result of the awaitable. Raises asyncio.TimeoutError, with the awaitable cancelled, if
    that takes longer; None waits for ever. A cancellation always gets through: asyncio.wait_for loses
    one that comes at the moment of the result, before Python 3.12, and the task would go on."""
    inner = asyncio.ensure_future(awaitable)
    try:
        done, _ = await asyncio.wait([inner], timeout=seconds)
        if not done:
            raise asyncio.TimeoutError
        return inner.result()
    finally:
        inner.cancel()
