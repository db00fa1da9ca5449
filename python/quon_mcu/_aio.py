"""Calls for asyncio: any number at once over one connection."""

from __future__ import annotations

import asyncio
import os
import time
from collections.abc import AsyncIterator
from typing import Any

from . import _bus
from ._client import BLOCK, EVENT_UNDER_WAY, NO_EVENT, PAUSE, block_at, check_image, wait_status
from ._errors import Failed, NoConnection, TimedOut
from ._layout import Service, decode, request_of
from ._services import DEFAULT_TIMEOUT, AsyncServices, EventInfo, ShellCommand, UpgStart


class AsyncClient(AsyncServices):
    """One connection to the daemon, for the tasks of one loop.

    Times are in seconds, with 0 and negative ones as for Client. Use it as
    `async with AsyncClient() as client`. After NoConnection make a new one.
    """

    def __init__(self, name: str | None = None, wait: float = 0.0) -> None:
        self._name = name if name is not None else f"python.{os.getpid()}"
        _bus.name(self._name)
        self._wait = _bus.time_left(wait)
        self._waiting: dict[int, asyncio.Future[_bus.Result]] = {}
        self._lost: NoConnection | None = NoConnection("not connected")

    async def __aenter__(self) -> AsyncClient:
        path = _bus.path_of(_bus.DAEMON)
        deadline = time.monotonic() + self._wait
        while True:
            try:
                opened = asyncio.open_unix_connection(path, limit=2 * _bus.RECORD_SIZE)
                self._reader, self._writer = await asyncio.wait_for(opened, 1.0)
                break
            except (OSError, asyncio.TimeoutError):
                if time.monotonic() >= deadline:
                    raise NoConnection(f"no daemon: nobody answers at {path}") from None
            await asyncio.sleep(0.05)
        self._lost = None
        self._task = asyncio.ensure_future(self._read_results())
        return self

    async def __aexit__(self, *_: object) -> None:
        self._task.cancel()
        self._fail(NoConnection("the client was closed"))
        self._writer.close()
        try:
            await self._writer.wait_closed()
        except OSError:
            pass  # it was lost before

    async def call(
        self, service: str, data: bytes = b"", timeout: float = DEFAULT_TIMEOUT
    ) -> bytes:
        """Calls a method by its full name, with raw bytes."""
        deadline = time.monotonic() + _bus.time_left(timeout)
        number, record = _bus.request(_bus.METHOD, self._name, service, data)
        answer: asyncio.Future[_bus.Result] = asyncio.get_running_loop().create_future()
        self._waiting[number] = answer
        try:
            await self._write(service, record, deadline - time.monotonic())
            got = await asyncio.wait_for(answer, max(deadline - time.monotonic(), 0))
        except asyncio.TimeoutError:
            raise TimedOut(f"{service}: no answer in time") from None
        finally:
            self._waiting.pop(number, None)
        return _bus.payload(service, got)

    async def send(
        self, service: str, data: bytes = b"", timeout: float = DEFAULT_TIMEOUT
    ) -> None:
        """Sends a signal. Whether it had an effect is not reported."""
        limit = _bus.time_left(timeout)
        _, record = _bus.request(_bus.SIGNAL, self._name, service, data)
        await self._write(service, record, limit)

    async def events(self, timeout: float | None = None) -> AsyncIterator[EventInfo]:
        """The chip's events as they arrive; ends when none arrives for `timeout`."""
        while True:
            try:
                yield await self.next_event(timeout if timeout is not None else 3600.0)
            except TimedOut:
                if timeout is not None:
                    return

    async def next_event(self, timeout: float) -> EventInfo:
        """Waits for an event and removes it from the daemon's queue. Raises TimedOut."""
        deadline = time.monotonic() + _bus.time_left(timeout)
        while True:
            left = deadline - time.monotonic()
            try:
                return await self.get_event_info(max(left, EVENT_UNDER_WAY))
            except Failed as failure:
                if failure.result != NO_EVENT:
                    raise
            left = deadline - time.monotonic()
            if left <= 0:
                raise TimedOut("no event in time")
            await asyncio.sleep(min(left, PAUSE))

    async def exec(self, command: str, timeout: float = DEFAULT_TIMEOUT) -> int:
        """Runs a command in the daemon's shell; returns its wait status (see os.waitpid)."""
        return wait_status((await self.get_system(ShellCommand(command), timeout)).status)

    async def popen(self, command: str, timeout: float = DEFAULT_TIMEOUT) -> bytes:
        """Runs a command in the daemon's shell; returns the first 4356 bytes of its output."""
        return (await self.get_popen(ShellCommand(command), timeout)).output

    async def upgrade(
        self, image: bytes, *, resume_from: int = 0, timeout: float = DEFAULT_TIMEOUT
    ) -> AsyncIterator[int]:
        """Sends a firmware image to the chip; yields the number of bytes sent after each block."""
        check_image(image, resume_from)
        if resume_from == 0:
            await self.upg_start(UpgStart(0, len(image)), timeout)
        for offset in range(resume_from, len(image), BLOCK):
            block = block_at(image, offset)
            await self.upg_transmit(block, timeout)
            yield offset + block.length
        await self.upg_finish(timeout)

    async def _ask(self, service: Service, request: Any, timeout: float) -> Any:
        answer = await self.call(service.name, request_of(service, request), timeout)
        return decode(service.reply, answer, not service.zero)

    async def _tell(self, service: Service, request: Any, timeout: float) -> None:
        await self.send(service.name, request_of(service, request), timeout)

    async def _write(self, service: str, record: bytes, timeout: float) -> None:
        if self._lost is not None:
            raise NoConnection(str(self._lost))
        self._writer.write(record)
        transport = self._writer.transport
        if not transport.get_write_buffer_size() and not transport.is_closing():
            return  # the daemon's socket has it
        try:
            await asyncio.wait_for(self._writer.drain(), timeout)
        except asyncio.TimeoutError:
            raise TimedOut(f"{service}: no answer in time") from None
        except OSError as error:
            raise NoConnection(f"the connection was lost: {error.strerror}") from None

    async def _read_results(self) -> None:
        try:
            while True:
                got = _bus.result(await self._reader.readexactly(_bus.RECORD_SIZE))
                answer = None if got is None else self._waiting.get(got.number)
                if got is not None and answer is not None and not answer.done():
                    answer.set_result(got)
        except (OSError, asyncio.IncompleteReadError):
            self._fail(NoConnection("the connection was lost"))

    def _fail(self, error: NoConnection) -> None:
        self._lost = error
        for answer in self._waiting.values():
            if not answer.done():
                answer.set_exception(NoConnection(str(error)))
