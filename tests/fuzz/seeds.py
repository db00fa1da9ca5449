#!/usr/bin/python3
"""Writes the inputs from which each harness starts: a folder a harness, a file an input.

They are made from the layouts of the chip's frames, the bus's records, the hand-off's requests and
the logs, in the order in which the harness takes them from an input (input.h).

usage: seeds.py FOLDER
"""

import os
import shutil
import struct
import sys


def u8(value: int) -> bytes:
    return struct.pack("<B", value & 0xFF)


def u16(value: int) -> bytes:
    return struct.pack("<H", value)


def u32(value: int) -> bytes:
    return struct.pack("<I", value & 0xFFFFFFFF)


def piece(content: bytes) -> bytes:
    return u16(len(content)) + content


def text(content: str) -> bytes:
    return piece(content.encode())


def counting(size: int) -> bytes:
    return bytes((1 + i) % 256 for i in range(size))


# ---- The chip ---------------------------------------------------------------------------------

EVENTS = [0, 1, 2, 3, 4, 5]
NET_RECORD = bytes([192, 168, 1, 10, 255, 255, 255, 0, 192, 168, 1, 1,
                    2, 0, 0, 0, 0, 1, 8, 8, 8, 8, 1, 1, 1, 1])
NET_EVENT = b"\x03\x01" + NET_RECORD
LONGEST_PAYLOAD = 384
ACCEPTED = b"\0\0\0\0\xa1"


def frame(kind: int, payload: bytes, length: int | None = None) -> bytes:
    return u8(kind) + u32(len(payload) if length is None else length) + payload


# Datagrams, as take_datagrams of fake_chip.cpp takes them.
def answer(payload: bytes) -> bytes:
    return u8(0) + piece(payload)


def answer_declaring(length: int, payload: bytes) -> bytes:
    return u8(1) + u32(length) + piece(payload)


def frame_datagram(content: bytes) -> bytes:
    return u8(2) + piece(content)


def any_datagram(content: bytes) -> bytes:
    return u8(3) + piece(content)


def datagrams(*each: bytes) -> bytes:
    return u8(len(each)) + b"".join(each)


ARRIVAL, QUERY, LIST, TEXT, SCAN, UPGRADE, COMMAND, EVENT = range(8)


def chip_receive() -> dict[str, bytes]:
    start = u8(0) + datagrams(answer(NET_RECORD))
    step = {
        "arrival": lambda *each: u8(ARRIVAL) + u8(0) + datagrams(*each),
        "query": lambda which, *each: u8(QUERY) + u8(which) + datagrams(*each),
        "list": lambda which, *each: u8(LIST) + u8(which) + datagrams(*each),
        "text": lambda which, *each: u8(TEXT) + u8(which) + datagrams(*each),
    }
    event = u8(EVENT)
    inputs = {
        "no_channel": u8(0xFF) + datagrams(),
        "events": start + b"".join(
            step["arrival"](frame_datagram(frame(kind, counting(33)))) for kind in EVENTS)
        + event * 8,
        "more_events_than_room": start + step["arrival"](
            *[frame_datagram(frame(4, counting(33)))] * 3) * 5 + event * 3,
        "network": start + step["arrival"](frame_datagram(frame(3, NET_EVENT)))
        + u8(ARRIVAL) + u8(3) + datagrams(frame_datagram(frame(3, NET_EVENT))),
        "network_without_mac": start + step["arrival"](
            frame_datagram(frame(3, b"\x03\x02" + bytes(26)))),
        "scan": start + u8(SCAN) + u8(2) + datagrams(answer(counting(241))),
        "upgrade": start + u8(UPGRADE) + datagrams(answer(b"")) + datagrams(answer(ACCEPTED))
        + piece(u32(0) + u32(256) + counting(257)),
        "upgrade_refused": start + u8(UPGRADE) + datagrams(answer(b"")) + datagrams(answer(b""))
        + piece(u32(256) + u32(0xFFFFFFFF) + counting(257)),
        "commands": start + u8(COMMAND) + u8(0) + piece(counting(16)) + u32(16)
        + u8(COMMAND) + u8(0) + piece(counting(500)) + u32(500)
        + u8(COMMAND) + u8(7) + piece(counting(4)) + u32(4),
        "bare_datagrams": start + u8(ARRIVAL) + u8(0) + datagrams(
            any_datagram(b""), any_datagram(bytes(16)), any_datagram(bytes(17))),
    }
    for which in range(12):
        inputs[f"query_{which}"] = start + step["query"](which, answer(counting(71)))
    for name, made in {
        "silent": [],
        "empty": [answer(b"")],
        "of_another_type": [frame_datagram(frame(0x99, counting(8)))],
        "twice": [answer(counting(10))] * 2,
        "declared_longer": [answer_declaring(384, counting(20))],
        "declared_far_longer": [answer_declaring(0xFFFFFFFF, counting(20))],
        "declared_shorter": [answer_declaring(3, counting(20))],
        "longest": [answer(counting(LONGEST_PAYLOAD))],
        "behind_an_event": [frame_datagram(frame(0, counting(33))), answer(counting(10))],
    }.items():
        inputs[f"answer_{name}"] = start + step["query"](0, *made) + step["query"](
            1, answer(counting(10)))
    for which, entry in enumerate((36, 44)):
        inputs[f"list_{which}"] = start + step["list"](which, answer(u8(5) + counting(5 * entry)))
        inputs[f"list_{which}_counts_too_many"] = start + step["list"](
            which, answer(u8(255) + counting(40)))
        inputs[f"text_{which}"] = start + step["text"](which, answer(b"V1.2.3")) + step["text"](
            which, answer(b"V" * LONGEST_PAYLOAD))
    return inputs


# ---- The bus ----------------------------------------------------------------------------------

RECORD_SIZE = 4568
DATA_SIZE = 4356
SERVICES = 53
SYSTEM, POPEN, LOG_PROFILE = 35, 36, 37

WHOLE, INTERRUPTED, CUT, BARE = 0, 5, 6, 7
OTHER_SOURCE, OTHER_ADDRESSEE, OTHER_TYPE, OTHER_HEAD, OTHER_NAME, OTHER_LENGTH = (
    1, 2, 4, 8, 16, 32)


THREADS, DEAF, LITTLE_ROOM = 3, 4, 8 | 2 << 6


def session(choice: int, *steps: bytes, output: int = 100) -> bytes:
    start = datagrams(answer(counting(71)))
    return u8(choice) + u16(output) + start * 7 + b"".join(steps)


def request(service: int, data: bytes = b"", odd: int = 0, odd_bytes: bytes = b"",
            kind: int = WHOLE, cut: int = 0, answers: bytes = datagrams()) -> bytes:
    # odd_bytes: what the set bits of odd ask for; a length stands behind the data.
    length = odd_bytes if odd == OTHER_LENGTH else b""
    before = b"" if odd == OTHER_LENGTH else odd_bytes
    made = u8(kind) + u8(service) + u8(odd) + before + piece(data) + length
    if kind == CUT:
        made += u16(cut)
    return made + (b"" if kind == INTERRUPTED else answers)


def bus_server() -> dict[str, bytes]:
    answered = datagrams(answer(counting(200)))
    every = [request(i, counting(270), answers=answered) for i in range(SERVICES)]
    long_name = piece(b"n" * 64)
    inputs = {
        f"services_{first}": session(0, *every[first:first + 12])
        for first in range(0, SERVICES, 12)
    }
    inputs |= {
        "with_threads": session(THREADS, *every[:10]),
        "deaf": session(DEAF | LITTLE_ROOM, *[request(2)] * 20),
        "slow": session(LITTLE_ROOM, *[request(2)] * 20),
        "slow_with_threads": session(THREADS | LITTLE_ROOM, *[request(2)] * 20),
        "room_for_no_record": session(8, *[request(2)] * 4),
        "silent_chip": session(0, request(4), request(34), request(0)),
        "no_way_to_the_chip": session(0xF0, request(4), request(5, b"\x01")),
        "shell": session(0x10, request(SYSTEM, b"true"), request(POPEN, b"ls"),
                         request(POPEN, b"x" * DATA_SIZE), output=5000),
        "no_popen": session(0xE0, request(POPEN, b"ls")),
        "log_level": session(0, request(LOG_PROFILE, b"\x01\x04" + bytes(33)),
                             request(4, answers=answered)),
        "names_without_end": session(
            0, request(2, b"", OTHER_SOURCE | OTHER_ADDRESSEE, long_name + long_name),
            request(2, b"", OTHER_NAME, long_name)),
        "names_without_end_and_a_type_without_zeros": session(
            0, request(2, b"", OTHER_SOURCE | OTHER_ADDRESSEE | OTHER_TYPE,
                       long_name + long_name + u32(0x01010101))),
        "any_type": session(0, request(0, b"", OTHER_TYPE, u32(7)),
                            request(4, b"", OTHER_TYPE, u32(0))),
        "wrong_head": session(0, request(2, b"", OTHER_HEAD, u32(0x5AA55AA4)), request(2)),
        "lengths": session(0, *[request(44, counting(20), OTHER_LENGTH, u32(n))
                                for n in (0, 20, 384, 385, 4356, 4357, 0x7FFFFFFF, 0xFFFFFFFF)]),
        "cut": session(0, *[request(2, kind=CUT, cut=n) for n in (0, 3, 100, 211, 212, 4566)]),
        "interrupted": session(0, request(2, kind=INTERRUPTED), request(2, kind=INTERRUPTED),
                               request(2)),
        "bare": session(0, u8(BARE) + piece(b"\xa5\x5a\xa5\x5a"), u8(BARE) + piece(b"?" * 4567),
                        request(2)),
    }
    return inputs


CALL, SIGNAL, REFUSE = 0, 2, 3


def result(returned: int, length: int, data: bytes) -> bytes:
    return u32(returned) + u32(length) + piece(data)


def bus_client() -> dict[str, bytes]:
    right = u8(0) + result(10, 10, counting(10))
    beyond = u8(0) + result(10, 0x7FFFFFFF, counting(DATA_SIZE))
    stranger = u8(1) + result(1, 1, b"x") + piece(counting(204))
    beginning = u8(2) + result(4, 4, b"abcd") + u16(215)
    cut_short = u8(2) + result(4, 4, b"abcd") + u16(50)
    interruption, end, failure = u8(3), u8(4) + u8(1), u8(4) + u8(0)
    bare = u8(5) + piece(b"no record")

    def call(*pieces: bytes) -> bytes:
        return u8(CALL) + piece(b"\x01") + u8(len(pieces)) + b"".join(pieces)

    return {
        "answered": call(right) * 3,
        "no_answer": call() + call(right),
        "beyond": call(beyond),
        "stranger_first": call(stranger, right),
        "twice": call(right, right) + call(right),
        "beginning": call(beginning) + call(right),
        "cut_short": call(cut_short, bare, right),
        "bare": call(bare, right),
        "interrupted": call(bare, interruption, right),
        "server_leaves": call(end) + call(right),
        "server_is_killed": call(failure) + call(right),
        "server_is_killed_and_stays_away": u8(REFUSE) + u8(200) + call(failure) + call() * 2,
        "server_answers_and_leaves": call(right, end) + call(right),
        "server_stays_away": u8(REFUSE) + u8(200) + call(end) + call(right) + call(right),
        "server_comes_back": u8(REFUSE) + u8(3) + call(end) + call(right),
        "unasked": u8(SIGNAL) + u8(2) + right + stranger + call(right),
    }


# ---- The hand-off -----------------------------------------------------------------------------

COME, ASK, GO, NETWORK, LATER, NOTHING = range(6)
UP, UNDER_WAY, REFUSED = range(3)


def handoff() -> dict[str, bytes]:
    nobody = u8(0) + u32(0) + u16(0) + u8(0)
    wanted = u8(1) + bytes([127, 0, 0, 1]) + u16(4000)
    come, go = u8(COME) + u8(0), u8(GO)
    wait = u8(NOTHING)

    def ask(address: bytes = bytes([127, 0, 0, 1]), port: int = 4000) -> bytes:
        return u8(ASK) + piece(u8(0) + address + u16(port))

    def network(outcome: int, error: int = 0) -> bytes:
        return u8(NETWORK) + u8(outcome) + u8(error)

    drop = u8(ASK) + piece(u8(1) + bytes(6))
    return {
        "at_once": nobody + network(UP) + come + ask() + wait + ask() + wait * 2,
        "under_way": nobody + network(UNDER_WAY) + come + ask() + wait * 4,
        "refused": nobody + network(REFUSED) + come + ask() + wait * 2 + ask() + wait * 2,
        "wanted_from_the_start": wanted + u8(1) + wait + come + ask() + wait * 2,
        "no_network_at_the_start": wanted + u8(0) + come + wait,
        "network_asked_in_vain": wanted + u8(3) + come + wait,
        "dropped": nobody + network(UNDER_WAY) + come + ask() + drop + wait + drop + ask() + wait,
        "late": nobody + network(UNDER_WAY, 115) + come + ask() + u8(LATER) + u16(7000) + wait * 2,
        "socket_error": nobody + network(UNDER_WAY, 111) + come + ask() + wait * 3,
        "leaves": nobody + come + ask() + go + wait * 2 + come + drop + go + wait,
        "replaced": nobody + come + ask() + come + ask() + wait * 2,
        "long_names": nobody + u8(COME) + u8(1) + u8(COME) + u8(1) + ask() + wait,
        "short_and_long_requests": nobody + come + u8(ASK) + piece(b"\0") + u8(ASK)
        + piece(bytes(300)) + u8(ASK) + piece(b"\x05") + wait,
        "other_address": nobody + network(UP) + come + ask() + wait
        + ask(bytes([10, 0, 0, 1]), 80) + wait * 3,
    }


# ---- The log ----------------------------------------------------------------------------------

def log_output() -> dict[str, bytes]:
    def profile(color: int, mask: int, level: int, hook: int) -> bytes:
        return u8(color) + u8(mask) + u32(level) + u8(hook)

    def line(level: int, tag: str, file: str, function: str, number: int, message: str) -> bytes:
        return (u8(2) + u8(0) + u8(level) + text(tag) + text(file) + text(function) + u32(number)
                + text(message))

    def dump(name: str, width: int, data: bytes) -> bytes:
        return u8(1) + text(name) + u8(width) + piece(data[:256]) + u16(len(data))

    usual = profile(1, 0xC7, 4, 1)
    short = line(1, "TAG", "file.cpp", "function", 12, "message\n")
    return {
        "usual": usual + short,
        "every_field": profile(1, 0xFF, 4, 0) + short,
        "no_field": profile(0, 0, 4, 0) + short,
        "too_high": profile(1, 0xC7, 0, 0) + line(3, "T", "f", "f", 1, "m\n"),
        "fields_too_long": usual + line(2, "T" * 40, "f" * 40, "g" * 40, 123456, "m" * 600),
        "longest_fields": usual + line(2, "T" * 15, "f" * 19, "g" * 31, 99999, "m" * 255),
        "level_beyond": usual + u8(2) + u8(7) + u32(0xFFFFFFFF) + text("T") * 3 + u32(1)
        + text("m\n"),
        "dump": usual + dump("recv msg", 16, counting(40)),
        "dump_one_wide": usual + dump("x", 1, counting(9)),
        "dump_wide": usual + dump("x", 255, counting(600)),
        "dump_no_width": usual + dump("x", 0, counting(9)),
        "dump_of_nothing": usual + dump("x", 16, b""),
        "dump_long_name": usual + dump("x" * 500, 16, counting(32)) + dump("y" * 900, 8,
                                                                           counting(8)),
        "dump_up_to_the_end": usual + dump("x", 200, bytes(65535)),
        "changed_between": usual + short + u8(0) + profile(0, 0x38, 4, 0) + short,
    }


def hex_dump(content: bytes, width: int = 16) -> str:
    lines = []
    for start in range(0, len(content), width):
        digits = ""
        for at in range(width):
            byte = content[start + at:start + at + 1]
            digits += (f"{byte[0]:02X} " if byte else "   ") + (" " if at % 8 == 7 else "")
        letters = "".join(chr(b) if 32 <= b <= 126 else "." for b in content[start:start + width])
        lines.append(f"D/HEX recv msg: {start:04X}-{start + width - 1:04X}: {digits}  {letters}\n")
    return "".join(lines)


def replayed_log() -> dict[str, bytes]:
    time_answer = frame(0x84, bytes([26, 2, 3, 4, 5, 6, 0, 0, 0, 0]))
    dump = hex_dump(time_answer)
    stamp = "2026-02-03T04:05:06.789 "
    journal = stamp + "host->chip 0x85 set_led len 1 value=2\n" + (
        stamp + "chip->host 0x84 get_time len 10 year=26 month=2 day=3 hour=4\n")
    logs = {
        "dump": dump,
        "dumps": dump + hex_dump(frame(0x82, counting(71))) + "E/HI3861L [02-03] (f:1) words\n" + dump,
        "dump_of_a_part": hex_dump(time_answer[:3]),
        "dump_without_an_end": hex_dump(frame(0x82, counting(71)))[:200],
        "dump_without_a_beginning": "".join(hex_dump(frame(0x82, counting(71))).splitlines(True)[1:]),
        "dump_without_digits": "D/HEX recv msg: 0000-000F: \n",
        "dump_without_a_range": "D/HEX recv msg: 0000\nD/HEX recv msg: 0010-0000: 00\n",
        "coloured": "\x1b[36;1m" + dump.replace("\n", "\x1b[0m\n"),
        "with_times": "".join(f"Feb  3 04:05:06 camera {line}\n" for line in dump.splitlines()),
        "wide": hex_dump(counting(600), 255),
        "journal": journal,
        "journal_list": stamp + "chip->host 0x9e get_err_report len 37 count=1 entry[0]=0102\n",
        "journal_malformed": stamp + "host->chip malformed, 2 bytes 0102\n" + stamp
        + "chip->host 0x84 get_time len 99 malformed, 1 payload bytes 01\n",
        "journal_notes": stamp + "note host connected\n" + stamp
        + "note silent, not sent: chip->host 0x84 get_time len 0 empty\n",
        "words": "nothing at all\n\n\n",
    }
    return {f"{name}_{form}": u8(form) + content.encode()
            for name, content in logs.items() for form in (0, 1)}


# ---- The client and the simulated chip -----------------------------------------------------------

def client_decoder() -> dict[str, bytes]:
    inputs = {}
    contents = {
        "whole": counting(400), "zeros": bytes(300), "short": counting(9), "empty": b"",
        "list": u8(3) + counting(200), "full_list": b"\xff" * 300,
    }
    for which in range(54):
        for at, (name, content) in enumerate(contents.items()):
            if (which + at) % 2 == 0:
                inputs[f"{which}_{name}"] = u8(which) + u8(0x80 + which + at) + content
    return inputs


NAMES = 0xE0


def client_parsers() -> dict[str, bytes]:
    words = [
        "0a:1B ff", "0x0a1b", "0x", "abc", "1.5s", "1500ms", "0", "-1", "2147483647ms", "1e9s",
        "12", "0x1F", "70000", "-5", "99999999999999999999", "192.168.1.1", "256.1.1.1",
        "02:00:00:00:00:01", "02000000000001234", "get.time", "method.quon.mcu.get.time", "time",
        "get.tmie", "led", "value=2", "year=26 month=2 day=3", "26 2 3 4 5 6", "now",
        "2026-02-30 04:05:06", "2026-02-03 04:05:06", "reason=1", "server_ip=1.2.3.4 server_port=80",
        "year=26 year=27", "word=1 byte4=2 byte5=3 byte6=4", "1 2 3 4", "state=1", "",
        "mac=02:00:00:00:00:01", "bytes=00", "first=1 second=2", "a=b=c", "\x00\xff",
    ]
    return {f"{which}_{at}": u8(which) + word.encode("latin-1")
            for at, word in enumerate(words) for which in (at % 40, 9, NAMES)}


def client_upgrade() -> dict[str, bytes]:
    def image(choice: int, size: int, rest: bytes) -> bytes:
        return u8(choice) + u16(size) + counting(size) + rest

    people = u8(0)
    inputs = {f"image_{size}": image(0, size, people) for size in (0, 1, 255, 256, 257, 512, 1000)}
    inputs |= {
        "resumed": image(1, 1000, people + text("256") + text("0x5")),
        "resumed_beside_a_block": image(1, 1000, people + text("100") + text("0")),
        "resumed_beyond": image(1, 1000, people + text("1024") + text("0")),
        "odd_tail": image(1, 1000, people + text("0") + text("256")),
        "failing": image(2, 600, people + u8(0) + u8(1) + u32(0xFFFFFFFF) + u32(0)),
        "too_long_answer": image(2, 600, u8(1) + u8(1) + u32(9999) + u32(9999)),
        "lost": image(2, 600, u8(2) + u8(0) + u8(2 + 4 * 2)),
        "late": image(2, 600, u8(3) + u8(0) + u8(2 + 4 * 1)),
    }
    return inputs


def simulator() -> dict[str, bytes]:
    def host(kind: int, payload: bytes = b"") -> bytes:
        return u8(0) + u8(kind) + piece(payload)

    def datagram(content: bytes) -> bytes:
        return u8(1) + piece(content)

    def control(*lines: str) -> bytes:
        return b"".join(u8(2) + text(line) for line in lines)

    def block(offset: int, size: int, declared: int | None = None) -> bytes:
        return host(0x90, u32(offset) + u32(size if declared is None else declared)
                    + counting(size).ljust(256, b"\0") + b"\0")

    faults = ["drop", "delay 10", "twice", "answer-type 85", "length 4", "cut 3", "lengthen 9",
              "corrupt 0", "corrupt 65535", "silent", "back"]
    inputs = {f"query_{kind:02x}": host(kind) for kind in range(0x80, 0xAE)}
    inputs |= {f"set_{kind:02x}": host(kind, counting(170)) + host(kind, b"\x01")
               for kind in range(0x80, 0xAE)}
    inputs |= {f"fault_{at}": control("fault any " + words + " forever", "faults") + host(0x84)
               for at, words in enumerate(faults)}
    inputs |= {
        "upgrade": host(0x8F, u8(1) + u32(300)) + block(0, 256) + block(256, 44) + host(0x91),
        "upgrade_of_any_size": host(0x8F, u8(1) + u32(0)) + block(0, 256) + block(0, 256)
        + host(0x91),
        "block_says_too_much": host(0x8F, u8(1) + u32(0)) + block(0, 256, 300) + block(0, 256, 257)
        + block(0, 256, 0xFFFFFFFF),
        "block_without_start": block(0, 256) + host(0x91),
        "datagrams": datagram(b"") + datagram(bytes(15)) + datagram(bytes(16)) + datagram(
            bytes(16) + frame(0x84, b"")) + datagram(bytes(16) + frame(0x84, b"", 9)),
        "time": host(0x83, bytes([26, 2, 3, 4, 5, 6, 0, 0, 0, 0])) + host(0x84) + control(
            "set time 2026-02-03 04:05:06", "get time", "set time 2026-02-30 04:05:06"),
        "values": control(
            "set battery 50", "set battery 101", "set net 10.0.0.1/24 gw 10.0.0.254 dns 8.8.8.8",
            "set server 1.2.3.4:80", "set server none", "set mac 02:00:00:00:00:01",
            "set firmware-version V9", "set wifi-ssid " + "x" * 40, "set wakeup-reason 256",
            "set wdg-state 0x1f", "set store-params 00", "get battery net server", "state", "get"),
        "events": control("event net 10.0.0.1/24 state 2", "event raw 04 0102", "event raw", "event",
                          "raw 0102030405", "raw zz", "raw " + "00" * 600),
        "waits": control("wait-frame 84 count 2 timeout 5s", "wait-host", "wait-frame",
                         "wait-frame get_time count 0") + host(0x84) + host(0x84),
        "help": control("help", "help fault", "help nothing", "nothing", "", "frames 3", "forget",
                        "faults", "clear-faults", "silent", "back", "quit now", "quit"),
    }
    return inputs


def record_definitions() -> dict[str, bytes]:
    """Length of an answer in two bytes, the answer, then a file."""
    def of(text: str, answer: bytes = bytes(range(1, 40))) -> bytes:
        return len(answer).to_bytes(2, "little") + answer + text.encode()

    field = '{"name": "%s", "offset": %d, "kind": "%s", "unit": "mV", "meaning": "m"%s}'
    fields = ", ".join([
        field % ("a", 0, "u8", ', "values": {"1": "one", "0xff": "all"}'), field % ("b", 1, "s8", ""),
        field % ("c", 2, "u16", ""), field % ("d", 4, "u32", ""), field % ("e", 8, "ipv4", ""),
        field % ("f", 12, "mac", ""), field % ("g", 18, "text", ', "size": 4'),
        field % ("h", 22, "bytes", ""),
    ])
    return {
        "known": of('{"pir_info": {"size": 36, "fields": [' + fields + "]}}"),
        "new": of('{"mine": {"fields": [' + fields + '], "size": 30}} // a comment'),
        "list": of('{"err_report": {"fields": [' + field % ("a", 35, "u8", "") + "]}}"),
        "kept": of('{"wakeup_context": {"fields": [' + field % ("a", 81, "u8", "") + "]}}"),
        "behind": of('{"battery_status": {"fields": [' + field % ("a", 4, "u32", "") + "]}}"),
        "overlap": of('{"mine": {"fields": [' + field % ("a", 0, "u16", "") + ", "
                      + field % ("b", 1, "u16", "") + "]}}"),
        "deep": of("[" * 20),
        "no json": of('{"a": /* no end'),
    }


HARNESSES = [chip_receive, bus_server, bus_client, handoff, log_output, replayed_log,
             client_decoder, client_parsers, client_upgrade, record_definitions, simulator]


def main(words: list[str]) -> None:
    if len(words) != 1 or words[0].startswith("-"):
        sys.exit(__doc__)
    for harness in HARNESSES:
        folder = os.path.join(words[0], harness.__name__)
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        for name, content in harness().items():
            with open(os.path.join(folder, name), "wb") as file:
                file.write(content)


main(sys.argv[1:])
