"""Plain calls."""

from __future__ import annotations

import os
import socket
import time
from collections.abc import Callable, Iterator
from typing import Any

from . import _bus
from ._errors import Failed, Malformed, NoConnection, TimedOut
from ._layout import Service, decode, request_of
from ._services import DEFAULT_TIMEOUT, EventInfo, Services, ShellCommand, UpgBlock, UpgStart

BLOCK = 256
NO_EVENT = -1
PAUSE = 0.1
EVENT_UNDER_WAY = 1.0  # a late answer would lose its event


class Client(Services):
    """One connection to the daemon, for one thread.

    Times are in seconds. A time-out of 0 does not wait; a negative one is a ValueError. After NoConnection make a new one.
    """

    def __init__(self, name: str | None = None, wait: float = 0.0) -> None:
        """Connects as `name`, waiting up to `wait` for a daemon that does not listen yet."""
        self._name = name if name is not None else f"python.{os.getpid()}"
        _bus.name(self._name)
        self._socket = _connect(
            _bus.path_of(_bus.DAEMON), time.monotonic() + _bus.time_left(wait)
        )

    def __enter__(self) -> Client:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Ends the connection."""
        self._socket.close()

    def call(self, service: str, data: bytes = b"", timeout: float = DEFAULT_TIMEOUT) -> bytes:
        """Calls a method by its full name, with raw bytes."""
        deadline = time.monotonic() + _bus.time_left(timeout)
        number, record = _bus.request(_bus.METHOD, self._name, service, data)
        self._write(service, record, deadline)
        while True:
            got = _bus.result(self._read(service, deadline))
            # Anything else is the late answer to an earlier call.
            if got is not None and got.number == number and got.service == service:
                return _bus.payload(service, got)
            if time.monotonic() >= deadline:
                raise TimedOut(f"{service}: no answer in time")

    def send(self, service: str, data: bytes = b"", timeout: float = DEFAULT_TIMEOUT) -> None:
        """Sends a signal. Whether it had an effect is not reported."""
        deadline = time.monotonic() + _bus.time_left(timeout)
        _, record = _bus.request(_bus.SIGNAL, self._name, service, data)
        self._write(service, record, deadline)

    def events(self, timeout: float | None = None) -> Iterator[EventInfo]:
        """The chip's events as they arrive; ends when none arrives for `timeout`."""
        while True:
            try:
                yield self.next_event(timeout if timeout is not None else 3600.0)
            except TimedOut:
                if timeout is not None:
                    return

    def next_event(self, timeout: float) -> EventInfo:
        """Waits for an event and removes it from the daemon's queue. Raises TimedOut."""
        deadline = time.monotonic() + _bus.time_left(timeout)
        while True:
            left = deadline - time.monotonic()
            try:
                return self.get_event_info(max(left, EVENT_UNDER_WAY))
            except Failed as failure:
                if failure.result != NO_EVENT:
                    raise
            left = deadline - time.monotonic()
            if left <= 0:
                raise TimedOut("no event in time")
            time.sleep(min(left, PAUSE))

    def exec(self, command: str, timeout: float = DEFAULT_TIMEOUT) -> int:
        """Runs a command in the daemon's shell; returns its wait status (see os.waitpid)."""
        return wait_status(self.get_system(ShellCommand(command), timeout).status)

    def popen(self, command: str, timeout: float = DEFAULT_TIMEOUT) -> bytes:
        """Runs a command in the daemon's shell; returns the first 4356 bytes of its output."""
        return self.get_popen(ShellCommand(command), timeout).output

    def upgrade(
        self,
        image: bytes,
        progress: Callable[[int, int], None] | None = None,
        *,
        resume_from: int = 0,
        timeout: float = DEFAULT_TIMEOUT,
    ) -> None:
        """Sends a firmware image to the chip. `progress` gets the bytes sent and the total."""
        check_image(image, resume_from)
        if resume_from == 0:
            self.upg_start(UpgStart(0, len(image)), timeout)
        for offset in range(resume_from, len(image), BLOCK):
            if progress is not None:
                progress(offset, len(image))
            self.upg_transmit(block_at(image, offset), timeout)
        if progress is not None:
            progress(len(image), len(image))
        self.upg_finish(timeout)

    def _ask(self, service: Service, request: Any, timeout: float) -> Any:
        answer = self.call(service.name, request_of(service, request), timeout)
        return decode(service.reply, answer, not service.zero)

    def _tell(self, service: Service, request: Any, timeout: float) -> None:
        self.send(service.name, request_of(service, request), timeout)

    def _write(self, service: str, record: bytes, deadline: float) -> None:
        # One write carries one whole record.
        if self._try(self._socket.send, record, service, deadline) != len(record):
            self.close()
            raise NoConnection("a record was written in part")

    def _read(self, service: str, deadline: float) -> bytes:
        # One read takes one record.
        data: bytes = self._try(self._socket.recv, _bus.RECORD_SIZE, service, deadline)
        if not data:
            raise NoConnection("the connection was lost")
        return data

    def _try(self, operation: Any, argument: Any, service: str, deadline: float) -> Any:
        # A time-out of 0 would mean "do not wait", which fails in another way.
        try:
            self._socket.settimeout(max(deadline - time.monotonic(), 1e-6))
            return operation(argument)
        except socket.timeout:
            raise TimedOut(f"{service}: no answer in time") from None
        except OSError as error:
            raise NoConnection(f"the connection was lost: {error.strerror}") from None


def wait_status(text: str) -> int:
    """The decimal number sent by the service."""
    try:
        return int(text)
    except ValueError:
        raise Malformed(f"malformed answer: no wait status: {text!r}") from None


def check_image(image: bytes, resume_from: int) -> None:
    """Raises ValueError for what cannot be sent."""
    if not 0 <= resume_from < len(image) or resume_from % BLOCK:
        raise ValueError(f"an image of {len(image)} bytes has no block at {resume_from}")


def block_at(image: bytes, offset: int) -> UpgBlock:
    """One block of an image."""
    piece = image[offset : offset + BLOCK]
    return UpgBlock(offset, len(piece), piece.ljust(BLOCK, b"\0"))


def _connect(path: str, deadline: float) -> socket.socket:
    while True:
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        # A daemon that listens but does not accept must not block us for ever.
        connection.settimeout(1.0)
        try:
            connection.connect(path)
            return connection
        except OSError:
            connection.close()
            if time.monotonic() >= deadline:
                raise NoConnection(f"no daemon: nobody answers at {path}") from None
        time.sleep(0.05)
