#!/usr/bin/env python3
"""Checks a camera at the end of the production line.

  production_line.py VERSION      the version that the chip's firmware must have

Prints a line a check. Exit status: 0 all is well; 1 not so; 2 wrong arguments.
"""

import sys
import time

import quon_mcu


def check_version(client: quon_mcu.Client) -> str:
    version = client.get_ver().version or "none"
    assert version == sys.argv[1], f"{version}, not {sys.argv[1]}"
    return version


def check_clock(client: quon_mcu.Client) -> str:
    now = time.localtime()
    client.set_time(quon_mcu.Time(now.tm_year - 2000, *now[1:6]))
    assert client.get_time().year == now.tm_year - 2000, "cannot be set"
    return "set"


def check_battery(client: quon_mcu.Client) -> str:
    battery = client.get_battery_status().bytes
    assert battery is not None, "not measured"
    return battery.hex()


def check_shell(client: quon_mcu.Client) -> str:
    assert client.exec("test -d /tmp") == 0, "has no /tmp"
    return "works"


def main() -> int:
    failed = 0
    with quon_mcu.Client() as client:
        for check in (check_version, check_clock, check_battery, check_shell):
            name = check.__name__[len("check_") :]
            try:
                print(f"{name}: {check(client)}")
            except (AssertionError, quon_mcu.QuonMcuError) as error:
                print(f"{name}: FAILED: {error}")
                failed = 1
    return failed


if __name__ == "__main__":
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    try:
        sys.exit(main())
    except quon_mcu.NoConnection as error:
        sys.exit(f"production_line.py: {error}")
