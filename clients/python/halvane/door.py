"""The line that HalvanePair prints: the way through a gateway's encrypted door."""

from __future__ import annotations

import re
from typing import Callable, NamedTuple, Tuple

import zmq
from zmq.utils import z85

_printable: Callable[[bytes], bytes] = z85.encode
_LINE = re.compile(r"halvane://(?P<host>[^/]+):(?P<port>\d+)/(?P<name>[a-z0-9_-]+)/(?P<server>[0-9a-f]{64})"
                   r"/(?P<secret>[0-9a-f]{64})")  # fmt: skip


class Door(NamedTuple):
    """Where the door is, whose it is, and the keys, as the library takes them."""

    host: str
    port: int
    name: str
    server_key: bytes
    public_key: bytes
    secret_key: bytes

    def options(self) -> Tuple[Tuple[int, bytes], ...]:
        """What makes a connection an encrypted one."""
        return ((zmq.CURVE_SERVERKEY, self.server_key), (zmq.CURVE_PUBLICKEY, self.public_key),
                (zmq.CURVE_SECRETKEY, self.secret_key))  # fmt: skip


def parse_door(line: str) -> Door:
    """ValueError if it is no such line, or has lost a part on its way."""
    found = _LINE.fullmatch(line.strip())
    if not found:
        raise ValueError("not a line of HalvanePair: halvane://HOST:PORT/NAME/KEY/KEY")
    server, secret = (_printable(bytes.fromhex(found[name])) for name in ("server", "secret"))
    return Door(found["host"], int(found["port"]), found["name"], server, zmq.curve_public(secret), secret)
