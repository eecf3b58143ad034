"""Looking up the name of a host without waiting for the system longer than wanted."""

from __future__ import annotations

import asyncio
import contextlib
import socket
import threading
from typing import Optional


async def look_up(host: str) -> str:
    """Returns an address of the host. Raises OSError. The system's look-up can't be interrupted, and
    the threads of an event loop are waited for when the program ends; so a thread of its own does it,
    for which nobody waits when this is cancelled."""
    with contextlib.suppress(OSError):
        socket.inet_aton(host)
        return host
    loop = asyncio.get_running_loop()
    answer: asyncio.Future[str] = loop.create_future()

    def settle(address: str, error: Optional[OSError]) -> None:
        if answer.done():
            return
        if error is None:
            answer.set_result(address)
        else:
            answer.set_exception(error)

    def ask() -> None:
        address = ""
        error: Optional[OSError] = None
        try:
            found = socket.getaddrinfo(host, None, socket.AF_INET, socket.SOCK_STREAM)
            address = str(found[0][4][0])
        except OSError as problem:
            error = problem
        with contextlib.suppress(RuntimeError):  # The loop may be closed by now.
            loop.call_soon_threadsafe(settle, address, error)

    threading.Thread(target=ask, name="vantry-lookup", daemon=True).start()
    return await answer
