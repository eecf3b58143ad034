"""The times and callbacks of a connection to a hub."""

from __future__ import annotations

import logging
from dataclasses import dataclass
from typing import Callable, Optional

log = logging.getLogger("vantry")


@dataclass(frozen=True)
class Options:
    """All times are seconds."""

    deadline: float = 5.0
    """How long an operation may wait for the hub."""
    probe: float = 1.0
    """How long a hub may take for its first answer when the program connects."""
    first_pause: float = 0.1
    """The pause before the first attempt to connect anew; it doubles up to the longest."""
    longest_pause: float = 5.0
    interval: float = 10.0
    """How often a subscription reads its properties again; 0 for only after long messages and
    interruptions."""
    heartbeat: float = 10.0
    """How often announced properties show that their program runs (see Owners); 0 for never."""
    on_connection: Optional[Callable[[bool], object]] = None
    """Called with True when the connection for questions is there, and with False when it is gone. An
    AsyncHub calls it on its event loop, a Hub on the thread of its handlers."""
