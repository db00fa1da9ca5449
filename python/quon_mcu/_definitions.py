"""Records defined by the camera's maker: quon-mcu's definition files, for Python."""

from __future__ import annotations

import contextlib
import json
import os
import re
from collections.abc import Iterator
from typing import Any, NamedTuple, Union

from . import _services
from ._errors import Malformed
from ._layout import Field, Kind, Layout, decode_value, encode_value

Value = Union[int, str, bytes]

_LONGEST = 4356
_KINDS = {
    "u8": (Kind.U8, 1),
    "s8": (Kind.S8, 1),
    "u16": (Kind.U16, 2),
    "u32": (Kind.U32, 4),
    "ipv4": (Kind.IPV4, 4),
    "mac": (Kind.MAC, 6),
    "text": (Kind.TEXT, 0),
    "bytes": (Kind.BYTES, 0),
}
_LIMITS = {Kind.U8: (0, 255), Kind.S8: (-128, 127), Kind.U16: (0, 65535), Kind.U32: (0, 2**32 - 1)}
_NAME = re.compile(r"[a-z][a-z0-9_]{0,31}")
_NUMBER = re.compile(r"-?[0-9]+|0[xX][0-9a-fA-F]+")
_TAKEN = re.compile(r"bytes|count|rest_.*|entry.*")
_OWN = (
    "time",
    "log_profile_request",
    "upg_start",
    "upg_block",
    "shell_command",
    "shell_status",
    "shell_output",
    "zero_word",
)
_FIELD_MEMBERS = ("name", "offset", "size", "kind", "unit", "values", "meaning")


class DefinitionError(ValueError):
    """A file of definitions that cannot be used: "FILE:LINE: what"."""


class Definition(NamedTuple):
    """A record, or one entry of a list, with named fields ordered by offset."""

    name: str
    size: int  # bytes; 0: as long as its sender makes it
    fields: tuple[Field, ...]

    def decode(self, data: bytes) -> dict[str, Value]:
        """The fields completely within `data`, by name. Raises Malformed for a wrong size."""
        if self.size not in (0, len(data)):
            raise Malformed(f"{self.name}: {len(data)} bytes instead of {self.size}")
        values: dict[str, Value] = {}
        for each in self.fields:
            end = each.offset + each.size if each.size else max(len(data), each.offset)
            if end <= len(data):
                values[each.name] = decode_value(each, data[each.offset : end])
        return values

    def encode(self, values: dict[str, Value], base: bytes = b"") -> bytes:
        """`base`, padded with zeros if it is short, with these fields. Raises ValueError."""
        data = bytearray(base.ljust(self.size, b"\0"))
        for name, value in values.items():
            what = self.field(name)
            piece = encode_value(what, value)
            if len(data) < what.offset + len(piece):
                data.extend(bytes(what.offset + len(piece) - len(data)))
            data[what.offset : what.offset + len(piece)] = piece
        return bytes(data)

    def field(self, name: str) -> Field:
        """The field of that name. Raises ValueError."""
        for each in self.fields:
            if each.name == name:
                return each
        raise ValueError(f"{self.name} has no field '{name}'")

    def meaning(self, name: str, value: Value) -> str:
        """The name of a field's value; empty if it has none."""
        return self.field(name).values.get(value, "") if isinstance(value, int) else ""


def read_definitions(file: str | None = None) -> dict[str, Definition]:
    """The definitions in `file`, or in that of the usual places, by the names of their records.

    The usual places are the environment's QUON_MCU_RECORDS (empty: none), then
    quon-mcu/records.json in $XDG_CONFIG_HOME (or ~/.config) and in /etc; without a file there the
    result is empty. Raises DefinitionError and OSError.
    """
    path = file if file is not None else _usual_file()
    if not path:
        return {}
    with open(path, encoding="utf-8", errors="replace") as content:
        return parse_definitions(content.read(), path)


def parse_definitions(text: str, file: str) -> dict[str, Definition]:
    """The same for a text; `file` names it in errors."""
    return _Reader(text, file).read()


def _usual_file() -> str:
    if "QUON_MCU_RECORDS" in os.environ:
        return os.environ["QUON_MCU_RECORDS"]
    home = os.environ.get("HOME", "")
    folder = os.environ.get("XDG_CONFIG_HOME") or (home and home + "/.config")
    for each in (folder, "/etc"):
        if each and os.path.exists(each + "/quon-mcu/records.json"):
            return each + "/quon-mcu/records.json"
    return ""


def _without_comments(text: str) -> str:
    # Line and column numbers stay valid.
    pattern = re.compile(r'"(?:\\.|[^"\\\n])*"|//[^\n]*|/\*.*?\*/', re.DOTALL)

    def blank(found: re.Match[str]) -> str:
        piece = found.group()
        return piece if piece.startswith('"') else re.sub(r"[^\n]", " ", piece)

    return pattern.sub(blank, text)


def _known_layouts() -> dict[str, Layout]:
    records = [getattr(_services, each) for each in _services.__all__]
    return {each.LAYOUT.name: each.LAYOUT for each in records}


class _Reader:
    def __init__(self, text: str, file: str) -> None:
        self.text = _without_comments(text)
        self.file = file
        self.line = 1

    def fail(self, what: str) -> DefinitionError:
        return DefinitionError(f"{self.file}:{self.line}: {what}")

    def must(self, holds: bool, what: str) -> None:
        if not holds:
            raise self.fail(what)

    def read(self) -> dict[str, Definition]:
        try:
            content = json.loads(self.text, object_pairs_hook=self._group)
        except json.JSONDecodeError as error:
            self.line = error.lineno
            raise self.fail(error.msg) from None
        except RecursionError:
            raise self.fail("nested too deep") from None
        self.must(isinstance(content, dict), "the file is no { } of records")
        known = _known_layouts()
        made = {}
        for name, what in content.items():
            self.line = self._line_of(name)
            made[name] = self._record(name, what, known.get(name))
        return made

    def _group(self, members: list[tuple[str, Any]]) -> dict[str, Any]:
        group = dict(members)
        for name in group:
            if sum(1 for each, _ in members if each == name) > 1:
                self.line = self._line_of(name)
                raise self.fail(f"'{name}' stands there twice")
        return group

    def _line_of(self, name: str) -> int:
        found = re.search(re.escape(json.dumps(name)) + r"\s*:", self.text)
        return self.text.count("\n", 0, found.start()) + 1 if found else 1

    def _record(self, name: str, what: Any, known: Layout | None) -> Definition:
        self.must(_NAME.fullmatch(name) is not None, f"'{name}' is no name of a record")
        self.must(isinstance(what, dict), f"'{name}' is no {{ }} of size, fields")
        self.must(name not in _OWN, f"{name} is the daemon's own and stays as it is")
        self._check_members(what, ("size", "fields"))
        size = self._number(what, "size")
        own = known.size if known else size or 0
        self.must(
            size is None or size == own, f"{name} has {own or 'any number of'} bytes, not {size}"
        )
        fields = what.get("fields")
        self.must(isinstance(fields, list) and bool(fields), f"{name} has no [ ] of fields")
        room = known.entry_size if known and known.entry_size else own
        made: list[Field] = []
        for each in fields or []:
            made.append(self._apart(self._field(each, room), made))
        kept = [each for each in _kept(known) if not any(_clash(each, one) for one in made)]
        return Definition(name, room, tuple(sorted(made + kept, key=lambda one: one.offset)))

    def _apart(self, field: Field, others: list[Field]) -> Field:
        for each in others:
            self.must(each.name != field.name, f"a second field '{field.name}'")
            clash = _clash(each, field)
            self.must(not clash, f"'{field.name}' has bytes in common with '{each.name}'")
        return field

    def _field(self, what: Any, room: int) -> Field:
        self.must(isinstance(what, dict), "a field is no { } of name, offset, kind")
        self._check_members(what, _FIELD_MEMBERS)
        name = self._text(what, "name")
        is_name = _NAME.fullmatch(name) is not None and _TAKEN.fullmatch(name) is None
        self.must(is_name, f"'{name}' is no name of a field")
        kind_name = self._text(what, "kind")
        self.must(kind_name in _KINDS, f"'{name}': unknown kind '{kind_name}'")
        kind, size = _KINDS[kind_name]
        offset = self._number(what, "offset")
        if offset is None:
            raise self.fail(f"'{name}' has no offset")
        given = self._number(what, "size")
        self.must(given is None or size in (0, given), f"{kind_name} has {size} bytes")
        self.must(given != 0, "a field has a size of 1 or more")
        most = room or _LONGEST
        size = size or given or (room - offset if room > offset else 0)
        self.must(
            offset < most and offset + size <= most,
            f"the field ends beyond the {most} bytes of its record",
        )
        values = self._values(what, kind)
        self._text(what, "meaning")
        return Field(name, offset, size, kind, True, False, self._text(what, "unit"), values)

    def _values(self, what: dict[str, Any], kind: Kind) -> dict[int, str]:
        values = what.get("values")
        if values is None:
            return {}
        good = isinstance(values, dict) and kind in _LIMITS
        self.must(good, "'values' is the { } of a number's meanings")
        named: dict[int, str] = {}
        for each in values:
            value = self._value(each, kind)
            self.must(value not in named, f"the value {value} stands twice")
            named[value] = self._text(values, each)
        return named

    def _value(self, text: str, kind: Kind) -> int:
        least, most = _LIMITS[kind]
        value = most + 1
        if _NUMBER.fullmatch(text):
            with contextlib.suppress(ValueError):  # thousands of digits
                value = int(text, 16 if text[:2] in ("0x", "0X") else 10)
        self.must(least <= value <= most, f"'{text}' is no number from {least} to {most}")
        return value

    def _check_members(self, what: dict[str, Any], known: tuple[str, ...]) -> None:
        for each in what:
            self.must(each in known, f"unknown name '{each}'")

    def _text(self, what: dict[str, Any], name: str) -> str:
        text = what.get(name, "")
        good = isinstance(text, str) and len(text.encode()) <= 120
        good = good and not re.search(r"[\x00-\x1f\x7f]", text)
        self.must(good, f"'{name}' is no text of at most 120 bytes on one line")
        return str(text)

    def _number(self, what: dict[str, Any], name: str) -> int | None:
        number = what.get(name)
        good = number is None or (type(number) is int and 0 <= number <= _LONGEST)
        self.must(good, f"'{name}' is no number from 0 to {_LONGEST}")
        return number


def _kept(known: Layout | None) -> Iterator[Field]:
    # The table's fields that have names of their own.
    for each in known.fields if known else ():
        if _TAKEN.fullmatch(each.name) is None:
            yield each


def _clash(one: Field, other: Field) -> bool:
    first = one.offset + one.size if one.size else _LONGEST
    second = other.offset + other.size if other.size else _LONGEST
    return one.name == other.name or (one.offset < second and other.offset < first)
