"""Where a hub listens: the socket of its local device, or a host and a TCP port."""

from __future__ import annotations

import os
from dataclasses import dataclass
from typing import Optional, Union

from .errors import Refused

DEFAULT_PORT = 9102


@dataclass(frozen=True)
class Endpoint:
    """The address of a hub. `path` is set for the local device, `host` and `port` for TCP."""

    path: str = ""
    host: str = ""
    port: int = DEFAULT_PORT

    def __str__(self) -> str:
        return self.path or f"{self.host}:{self.port}"

    @property
    def is_external(self) -> bool:
        """Whether the hub counts this connection as external, which means that it ignores writes."""
        return not self.path


Address = Union[Endpoint, str, None]


def default_device() -> str:
    """Returns the socket that the command line takes as well: $VANTRY_DEVICE, else the usual place."""
    device = os.environ.get("VANTRY_DEVICE")
    if device:
        return device
    if os.geteuid() == 0:
        return "/run/vantry/PRN1"
    runtime = os.environ.get("XDG_RUNTIME_DIR")
    if runtime:
        return runtime + "/vantry/PRN1"
    state = os.environ.get("XDG_STATE_HOME") or os.environ.get("HOME", "") + "/.local/state"
    return state + "/vantry/devices/PRN1"


def endpoint_of(address: Address) -> Endpoint:
    """Returns the endpoint that is meant: None is the default device, a text with a "/" is the path
    of a socket, and any other text is HOST or HOST:PORT. Raises Refused for a text that is neither."""
    if isinstance(address, Endpoint):
        return address
    if address is None:
        return Endpoint(path=default_device())
    if "/" in address:
        return Endpoint(path=address)
    if address.startswith("[") or address.count(":") > 1:
        raise Refused(f"'{address}' is an address of IPv6; the hub listens on IPv4 only")
    host, _, port = address.partition(":")
    if not host:
        raise Refused(f"'{address}' names no host")
    return Endpoint(host=host, port=_port(port) or DEFAULT_PORT)


def _port(text: str) -> Optional[int]:
    if not text:
        return None
    if not (text.isascii() and text.isdigit()) or not 0 < int(text) < 65536:
        raise Refused(f"'{text}' is no port")
    return int(text)
