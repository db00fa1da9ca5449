"""Typed calls to quon_mcu_daemon, plain and for asyncio. Pure standard library.

    with quon_mcu.Client() as client:
        print(client.get_ver().version)
        client.set_led(quon_mcu.Value(2))
        for event in client.events(timeout=10.0):
            print(event.bytes.hex())

    async with quon_mcu.AsyncClient() as client:
        time, battery = await asyncio.gather(client.get_time(), client.get_battery_status())

    remote = quon_mcu.take_socket("192.168.1.2", 8080)

    battery = quon_mcu.read_definitions()["battery_status"]
    print(battery.decode(client.get_battery_status().bytes)["charge"])

A call ends with its reply or with one of TimedOut, NoConnection, Failed and Malformed, all of them
QuonMcuError; what cannot be sent is a ValueError. A field of an answer is None where the chip may
not have sent it.
"""

from ._aio import AsyncClient
from ._client import Client
from ._definitions import Definition, DefinitionError, parse_definitions, read_definitions
from ._errors import Failed, Malformed, NoConnection, QuonMcuError, TimedOut
from ._handoff import take_socket, take_socket_async
from ._services import *  # noqa: F403
from ._services import SERVICES
from ._services import VERSION as __version__
from ._services import __all__ as _records

__all__ = [
    "SERVICES",
    "AsyncClient",
    "Client",
    "Definition",
    "DefinitionError",
    "Failed",
    "Malformed",
    "NoConnection",
    "QuonMcuError",
    "TimedOut",
    "parse_definitions",
    "read_definitions",
    "take_socket",
    "take_socket_async",
]
__all__ += _records
