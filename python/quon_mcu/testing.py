"""A simulated chip controlled by a test, with the daemon running.

`hi3861l-sim run -- COMMAND` makes a world with a chip and a daemon; inside it `Chip()` is that chip:

    chip = Chip()
    chip.set("battery", 15)
    assert chip.client.get_battery_status().bytes[0] == 15

The pytest plugin (quon_mcu.pytest_plugin) makes the world by itself.
"""

from __future__ import annotations

import os
import socket
import time
from types import TracebackType

from ._client import Client

CONTROL = "/tmp/hi3861l-sim.ctl"


class ChipError(RuntimeError):
    """The simulated chip refused a command, or is not there."""


class HandoffServer:
    """A server that the daemon connects to on a remote wake-up or a hand-off."""

    def __init__(self) -> None:
        self._listening = socket.create_server(("127.0.0.1", 0))
        self.ip, self.port = self._listening.getsockname()[:2]

    def __enter__(self) -> HandoffServer:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def accept(self, timeout: float = 10.0) -> socket.socket:
        """Returns the next connection, with the same time-out. Raises TimeoutError."""
        self._listening.settimeout(timeout)
        connection, _ = self._listening.accept()
        connection.settimeout(timeout)
        return connection

    def close(self) -> None:
        """Closes the server; accepted connections stay open."""
        self._listening.close()


class Chip:
    """The simulated chip of this world. Times are in seconds; a failure is a ChipError."""

    def __init__(self, control: str = CONTROL) -> None:
        self._control = control
        self._client: Client | None = None
        self._at_first = self.state()

    @property
    def client(self) -> Client:
        """A connection to the daemon, made on first use."""
        if self._client is None:
            self._client = Client(wait=10.0)
        return self._client

    # ---- State

    def state(self) -> dict[str, str]:
        """All values by name."""
        return dict(_pair(line) for line in self.command("state"))

    def get(self, name: str) -> str:
        """One value."""
        return _pair(self.command(f"get {name}")[0])[1]

    def set(self, name: str, value: object) -> None:
        """Changes a value: battery, wakeup-reason, wifi-ssid, ... ('hi3861l-sim help' names all)."""
        self.command(f"set {name} {value}")

    # ---- Events

    def event(self, number: int, data: bytes = b"") -> None:
        """Sends the daemon an event with these bytes."""
        self.command(f"event raw {number:02x} {data.hex()}")

    def net_event(self, report: str) -> None:
        """Sends a network event: "192.168.1.20/24 gw 192.168.1.1 dns 8.8.8.8"."""
        self.command(f"event net {report}")

    # ---- Faults

    def fault(self, rule: str) -> None:
        """A rule: "get_battery_status drop count 1", "any delay 500" ('hi3861l-sim help fault')."""
        self.command(f"fault {rule}")

    def clear_faults(self) -> None:
        """Drops all rules and ends the chip's silence."""
        self.command("clear-faults")
        self.command("back")

    def silent(self) -> None:
        """Sends nothing from now on."""
        self.command("silent")

    # ---- Frames

    def frames(self) -> list[str]:
        """The journal's lines since the last `forget`."""
        return self.command("frames")

    def wait_frame(self, kind: str, count: int = 1, timeout: float = 10.0) -> None:
        """Waits until the daemon has sent that many frames of a kind ("set_led") since `forget`."""
        self.command(f"wait-frame {kind} count {count} timeout {timeout * 1000:.0f}", timeout + 5)

    def forget(self) -> None:
        """Forgets the journal's lines and the counts of frames."""
        self.command("forget")

    # ---- The whole

    def reset(self) -> None:
        """Resets values, faults, frames and events, but not the clock."""
        self.clear_faults()
        for name, value in self.state().items():
            if value != self._at_first.get(name, value) and name != "time":
                self._put_back(name)
        for _ in self.client.events(timeout=0):
            pass
        self.forget()

    def close(self) -> None:
        """Ends the connection to the daemon."""
        if self._client is not None:
            self._client.close()
            self._client = None

    def command(self, line: str, timeout: float = 10.0) -> list[str]:
        """Sends a command to the control socket; returns the lines of its answer."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as control:
            control.settimeout(timeout)
            try:
                control.connect(self._control)
                control.sendall(line.encode() + b"\n")
                return _answer(control, line)
            except OSError as error:
                raise ChipError(f"{line}: no answer at {self._control}: {error}") from None

    def _put_back(self, name: str) -> None:
        try:
            self.set(name, self._at_first[name])
        except ChipError as error:
            if "cannot be set" not in str(error):  # counters go on
                raise


def is_inside() -> bool:
    """Whether this process has a simulated chip in its world."""
    return os.path.exists(CONTROL)


def wait_until(holds: object, timeout: float = 10.0) -> None:
    """Calls `holds` until it returns something true. Raises TimeoutError."""
    assert callable(holds)
    deadline = time.monotonic() + timeout
    while not holds():
        if time.monotonic() >= deadline:
            raise TimeoutError(f"not within {timeout} s")
        time.sleep(0.01)


def _pair(line: str) -> tuple[str, str]:
    name, _, value = line.partition("=")
    return name, value


def _answer(control: socket.socket, line: str) -> list[str]:
    lines: list[str] = []
    with control.makefile("r", encoding="utf-8", errors="replace") as answer:
        for each in answer:
            text = each.rstrip("\n")
            if text == "ok":
                return lines
            if text.startswith("error: "):
                raise ChipError(f"{line}: {text[len('error: '):]}")
            lines.append(text)
    raise ChipError(f"{line}: the chip has ended")
