"""Keeps a connection: connects, lets it be served until it ends, and starts over after a pause."""

from __future__ import annotations

import asyncio
from typing import Awaitable, Callable, Optional

from .connection import Connection
from .endpoint import Endpoint
from .errors import VantryError
from .options import Options, log


async def keep_connected(
    endpoint: Endpoint,
    options: Options,
    serve: Callable[[Connection], Awaitable[None]],
    first: Optional[Connection] = None,
) -> None:
    """Runs until it is cancelled, and says goodbye then. `serve` returns, or raises one of this
    package's errors, when the connection has ended. A connection counts once the hub has answered, so
    a peer that accepts and closes is tried ever more rarely."""
    pause = options.first_pause
    while True:
        try:
            connection = first or await Connection.open(endpoint, options.deadline, options.deadline)
            first = None
            pause = options.first_pause
            try:
                await serve(connection)
            finally:
                await connection.close()
        except VantryError as error:
            log.debug("%s", error)
        await asyncio.sleep(pause)
        pause = min(pause * 2, options.longest_pause)
