"""Records of the message bus, without a connection."""

from __future__ import annotations

import itertools
import struct
from typing import NamedTuple

from ._errors import Failed, Malformed

DAEMON = "quon.mcu.daemon"
SIGNAL, METHOD = 0, 1
NAME_SIZE = 64
DATA_SIZE = 4356
LONGEST_WAIT = 2147483.0  # 24 days, in seconds
_HEAD = 0x5AA55AA5

# head, id, source name, destination name, type, member name, result, data length, data; integers in
# host byte order.
_RECORD = struct.Struct(f"=II{NAME_SIZE}s{NAME_SIZE}sI{NAME_SIZE}siI{DATA_SIZE}s")
RECORD_SIZE = _RECORD.size
assert RECORD_SIZE == 4568

_ids = itertools.count(1)


class Result(NamedTuple):
    """The result of a call, not yet validated."""

    number: int
    service: str
    result: int
    length: int
    data: bytes


def time_left(timeout: float) -> float:
    """A time-out that can be waited for. Raises ValueError for a negative one."""
    if not timeout >= 0:
        raise ValueError(f"a time-out is 0 or more, not {timeout}")
    return min(timeout, LONGEST_WAIT)


def path_of(server: str) -> str:
    """The socket path of a process on the bus."""
    return f"/tmp/dbus-{server}"


def request(kind: int, own_name: str, service: str, data: bytes) -> tuple[int, bytes]:
    """A request's number and its record."""
    if len(data) > DATA_SIZE:
        raise ValueError(f"a payload has at most {DATA_SIZE} bytes")
    number = next(_ids) & 0xFFFFFFFF
    record = _RECORD.pack(
        _HEAD, number, name(own_name), name(DAEMON), kind, name(service), 0, len(data), data
    )
    return number, record


def result(record: bytes) -> Result | None:
    """A decoded record; None if it is not one. Missing bytes at its end count as zeros."""
    head, number, _, _, _, member, code, length, data = _RECORD.unpack(
        record.ljust(RECORD_SIZE, b"\0")
    )
    if head != _HEAD:
        return None
    service = member.split(b"\0")[0].decode("utf-8", "replace")
    return Result(number, service, code, length, data)


def payload(service: str, got: Result) -> bytes:
    """The bytes of the service's answer. Raises Failed and Malformed."""
    if got.result < 0:
        raise Failed(service, got.result)
    if got.length != got.result or got.length > DATA_SIZE:
        raise Malformed(f"{service}: malformed answer: result {got.result}, length {got.length}")
    return got.data[: got.length]


def name(text: str) -> bytes:
    """A name in a record's form."""
    data = text.encode()
    if not 0 < len(data) < NAME_SIZE or 0 in data:
        raise ValueError(f"a name has 1 to {NAME_SIZE - 1} bytes: {text!r}")
    return data
