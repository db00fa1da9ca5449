"""The services and operations as the other tests expect them: the rows of expected_table.h."""

import dataclasses
import pathlib
import re

HEADER = pathlib.Path(__file__).resolve().parent.parent / "support" / "expected_table.h"
NUMBERS = {"kAnySize": 0, "kNoSlot": None, "kNoMessage": None}

SERVICE = re.compile(
    r'^    \{\d+, +"(?P<kind>method|signal)\.quon\.mcu\.(?P<name>[a-z.]+)", +"(?P<handler>\w+)", +'
    r'(?P<slot>\w+), +(?P<null_check>kNo|kYes), +(?P<passed>k\w+), +(?P<request>\w+), +'
    r'Reply::(?P<reply>k\w+), +(?P<size>\w+), +(?:"(?P<failure>[^"]*)"|nullptr)\},$', re.M)
OPERATION = re.compile(
    r'^    \{(?P<slot>\d+), +"(?P<name>\w*)", +(?P<type>\w+), +(?P<timeout>\d+), +'
    r'(?P<request>\w+), +Answer::(?P<answer>k\w+), +(?P<entry>\d+)\},$', re.M)


def number(word):
    return NUMBERS[word] if word in NUMBERS else int(word, 0)


@dataclasses.dataclass(frozen=True)
class Operation:
    name: str
    type: int | None  # None: it sends nothing
    answer: str
    entry: int


@dataclasses.dataclass(frozen=True)
class Service:
    kind: str
    handler: str
    operation: Operation | None
    passed: str  # how the handler hands its request to the operation
    request: int  # bytes; 0 also where any number may come
    reply: str  # where the reply comes from
    size: int  # bytes of it, likewise
    failure: str


def read(text):
    operations = {
        int(row["slot"]): Operation(row["name"], number(row["type"]), row["answer"],
                                    int(row["entry"]))
        for row in OPERATION.finditer(text)
    }
    return {
        row["name"]: Service(row["kind"], row["handler"], operations.get(number(row["slot"])),
                             row["passed"], number(row["request"]), row["reply"],
                             number(row["size"]), row["failure"])
        for row in SERVICE.finditer(text)
    }


SERVICES = read(HEADER.read_text(encoding="utf-8"))
_COUNTS = re.findall(r"k(?:Method|Signal)Count = (\d+);", HEADER.read_text(encoding="utf-8"))
if len(_COUNTS) != 2 or len(SERVICES) != sum(map(int, _COUNTS)):
    raise ValueError(f"{HEADER}: {len(SERVICES)} services read, {_COUNTS} counted")
