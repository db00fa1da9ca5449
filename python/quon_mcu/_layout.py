"""The layout of records, with one encoder and one decoder for all of them."""

from __future__ import annotations

import dataclasses
import enum
import ipaddress
from typing import Any, NamedTuple

from ._errors import Malformed


class Kind(enum.Enum):
    """How the bytes of a field are read. Integers are little-endian."""

    U8 = "u8"
    S8 = "s8"
    U16 = "u16"
    U32 = "u32"
    TEXT = "text"
    ADDRESS_TEXT = "address_text"
    DIGIT_TEXT = "digit_text"
    IPV4 = "ipv4"
    MAC = "mac"
    BYTES = "bytes"


_NUMBERS = (Kind.U8, Kind.S8, Kind.U16, Kind.U32)
_TEXTS = (Kind.TEXT, Kind.ADDRESS_TEXT, Kind.DIGIT_TEXT)


class Field(NamedTuple):
    """One field; a size of 0 is "to the end of the record"."""

    name: str
    offset: int
    size: int
    kind: Kind
    is_counted: bool  # may be absent from an answer
    is_daemons: bool  # measured by the daemon itself
    unit: str
    values: dict[int, str]


class Layout(NamedTuple):
    """A record; with an entry size, a count byte and then entries described by `fields`."""

    name: str
    size: int  # bytes; 0: as long as its sender makes it
    longest: int
    entry_size: int
    fields: tuple[Field, ...]
    parts: tuple[int, ...]  # where the answers begin that make it up; empty: it is one


class Service(NamedTuple):
    """One service of the daemon."""

    name: str
    request: Any  # a dataclass with a LAYOUT, or None
    reply: Any
    zero: str  # what a zero may mean beside the value 0; empty: nothing


def request_of(service: Service, request: Any) -> bytes:
    """The bytes of a call's request. Raises ValueError for what cannot be sent."""
    if service.request is None:
        return b""
    if not isinstance(request, service.request):
        wanted = service.request.__name__
        raise ValueError(f"{service.name} takes a {wanted}, not {request!r}")
    return encode(request)


def encode(record: Any) -> bytes:
    """The bytes of a request. Raises ValueError for what cannot be sent."""
    layout: Layout = record.LAYOUT
    if layout.entry_size:
        raise ValueError(f"{layout.name} is an answer")
    data = bytearray(layout.size)
    for each in layout.fields:
        piece = encode_value(each, getattr(record, each.name))
        if len(data) < each.offset + len(piece):
            data.extend(bytes(each.offset + len(piece) - len(data)))
        data[each.offset : each.offset + len(piece)] = piece
    if len(data) > layout.longest:
        raise ValueError(f"{layout.name} has at most {layout.longest} bytes, not {len(data)}")
    return bytes(data)


def decode(record: Any, data: bytes, zero_is_fact: bool) -> Any:
    """An instance of the dataclass `record`. Raises Malformed for invalid bytes."""
    layout: Layout = record.LAYOUT
    if layout.size not in (0, len(data)) or len(data) > layout.longest:
        raise Malformed(f"{layout.name}: malformed answer: {len(data)} bytes")
    if layout.entry_size:
        return record(_entries(layout, data))
    values = {}
    for each in layout.fields:
        end = each.offset + each.size if each.size else len(data)
        value = decode_value(each, data[each.offset : end])
        absent = each.is_counted and not zero_is_fact and _is_absent(layout, each, data, end, value)
        values[each.name] = None if absent else value
    return record(**values)


def replaced(record: Any, **changes: Any) -> Any:
    """A copy with other values, for requests based on answers."""
    return dataclasses.replace(record, **changes)


def _entries(layout: Layout, data: bytes) -> list[bytes]:
    count, size = data[0], layout.entry_size
    if 1 + count * size > len(data):
        raise Malformed(f"{layout.name}: malformed answer: {count} entries")
    return [data[1 + i * size : 1 + (i + 1) * size] for i in range(count)]


def decode_value(what: Field, data: bytes) -> Any:
    """The value of one field's bytes."""
    if what.kind in _NUMBERS:
        return int.from_bytes(data, "little", signed=what.kind is Kind.S8)
    if what.kind in _TEXTS:
        return data.split(b"\0")[0].decode("utf-8", "backslashreplace")
    if what.kind is Kind.IPV4:
        return str(ipaddress.IPv4Address(data))
    if what.kind is Kind.MAC:
        return data.hex(":")
    return data


def encode_value(what: Field, value: Any) -> bytes:
    """The bytes of one field. Raises ValueError for a value that does not fit."""
    if value is None:
        return bytes(what.size)
    if what.kind in _NUMBERS:
        try:
            return int(value).to_bytes(what.size, "little", signed=what.kind is Kind.S8)
        except OverflowError:
            raise ValueError(f"{what.name} cannot be {value}") from None
    if what.kind in _TEXTS:
        return _sized(what, value.encode() + (b"" if what.size else b"\0"))
    if what.kind is Kind.IPV4:
        return ipaddress.IPv4Address(value).packed
    if what.kind is Kind.MAC:
        data = bytes.fromhex(value.replace(":", ""))
        if len(data) != 6 or value.count(":") != 5:
            raise ValueError(f"{what.name}: {value!r} is no hardware address")
        return data
    data = bytes(value)
    if what.size and len(data) != what.size:
        raise ValueError(f"{what.name} has {what.size} bytes, not {len(data)}")
    return data


def _sized(what: Field, data: bytes) -> bytes:
    if what.size and len(data) > what.size:
        raise ValueError(f"{what.name} has room for {what.size} bytes")
    return data.ljust(what.size, b"\0")


def _is_absent(layout: Layout, what: Field, data: bytes, end: int, value: Any) -> bool:
    if what.kind is Kind.DIGIT_TEXT:
        return value in ("", "0")
    if what.kind is Kind.ADDRESS_TEXT:
        return not value.strip("0.:")
    if what.kind is Kind.TEXT:
        return not value
    answer_end = next((part for part in layout.parts if part > what.offset), len(data))
    return end > what.offset and not any(data[what.offset : answer_end])
