#!/usr/bin/python3
"""Writes a copy of a source with one fault in it, of the kind that a harness is there to find.

usage: planted.py HARNESS SOURCE COPY
       planted.py --list            what is planted, a line each
"""

import sys
from typing import NamedTuple


class Fault(NamedTuple):
    what: str
    right: str
    wrong: str


FAULTS = {
    "chip_receive": Fault(
        "a frame's length is not held against what came",
        "std::min(msg.len, size - kHi3861lFrameHeadSize)",
        "msg.len",
    ),
    "bus_server": Fault(
        "names are copied up to wherever a zero is",
        "memcpy_s(to, DBUS_NAME_SIZE, from, strnlen(from, DBUS_NAME_SIZE));",
        "strcpy(to, from);",
    ),
    "handoff": Fault(
        "a peer's address has the room of its type, and no byte more",
        "sockaddr_storage address = {};",
        "sockaddr_un address = {};",
    ),
    "log_output": Fault(
        "a line has room for one letter more than it has",
        "used + copied < QN_LOG_LINE_SIZE",
        "used + copied <= QN_LOG_LINE_SIZE",
    ),
    "bus_client": Fault(
        "a reply is as long as the server says",
        "memcpy_s(reply->data, sizeof(reply->data), result->data, sizeof(result->data));",
        "memcpy(reply->data, result->data, result->data_len);",
    ),
    "client_decoder": Fault(
        "a field that begins within an answer ends there too",
        "each.offset + size > bytes_.size()",
        "each.offset > bytes_.size()",
    ),
    "client_parsers": Fault(
        "a record has room for whatever its fields are given",
        "    bytes.resize(std::max(bytes.size(), offset + piece.size()));\n",
        "",
    ),
    "client_upgrade": Fault(
        "the last block is a whole one",
        "std::min<uint32_t>(upgrade.size - offset, QUON_MCU_UPGRADE_BLOCK)",
        "std::max<uint32_t>(upgrade.size - offset, QUON_MCU_UPGRADE_BLOCK)",
    ),
    "replayed_log": Fault(
        "a dump line has all its digits",
        "at + 2 <= text.size() ? hex_number(text.substr(at, 2)) : std::nullopt",
        "hex_number(text.substr(at, 2))",
    ),
    "record_definitions": Fault(
        "a field that begins within its record ends there too",
        "must(offset < most && offset + size <= most, where,",
        "must(offset < most, where,",
    ),
    "simulator": Fault(
        "a block of an image is at most as long as it can be",
        "length == 0 || length > kMcuUpgBlockDataSize",
        "length == 0",
    ),
}


def plant(harness: str, source: str, copy: str) -> None:
    fault = FAULTS[harness]
    with open(source, encoding="utf-8") as file:
        text = file.read()
    if text.count(fault.right) != 1:
        sys.exit(f"planted.py: {source} does not hold this once: {fault.right.strip()}")
    with open(copy, "w", encoding="utf-8") as file:
        file.write(text.replace(fault.right, fault.wrong))


def main(words: list[str]) -> None:
    if words == ["--list"]:
        for harness, fault in FAULTS.items():
            print(f"{harness}: {fault.what}")
    elif len(words) == 3:
        plant(*words)
    else:
        sys.exit(__doc__)


main(sys.argv[1:])
