"""A daemon in the test's own hands, and a program that hands sockets over."""

from __future__ import annotations

import os
import socket
import struct
import threading
from collections.abc import Callable

RECORD = struct.Struct("=II64s64sI64siI4356s")
BUS_PATH = "/tmp/dbus-quon.mcu.daemon"

Answer = Callable[[str, bytes], "tuple[int, bytes] | bytes | None"]


def replying(data: bytes) -> Answer:
    """Every service replies with these bytes."""
    return lambda _name, _data: (len(data), data)


def failing(result: int) -> Answer:
    """Every service fails."""
    return lambda _name, _data: (result, b"")


class FakeDaemon:
    """Keeps requests as (name, type, payload) and answers calls: with (result, payload), with the
    bytes of a whole record, or not at all."""

    def __init__(self, answer: Answer = lambda _name, _data: None) -> None:
        self.requests: list[tuple[str, int, bytes]] = []
        self.records: list[bytes] = []
        self._answer = answer
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(BUS_PATH)
        self._listener.listen(8)
        self._grown = threading.Condition()
        self._peers: list[socket.socket] = []
        threading.Thread(target=self._accept, daemon=True).start()

    def __enter__(self) -> FakeDaemon:
        return self

    def __exit__(self, *_: object) -> None:
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        os.unlink(BUS_PATH)
        self.hang_up()

    def hang_up(self) -> None:
        """Ends every connection."""
        for peer in self._peers:
            peer.shutdown(socket.SHUT_RDWR)
            peer.close()
        self._peers.clear()

    def request(self, number: int = 0) -> tuple[str, int, bytes]:
        """The request of that number, once it has come."""
        with self._grown:
            if not self._grown.wait_for(lambda: len(self.requests) > number, 20):
                raise AssertionError(f"no request {number}")
            return self.requests[number]

    def _accept(self) -> None:
        while True:
            try:
                peer, _ = self._listener.accept()
            except OSError:
                return
            self._peers.append(peer)
            threading.Thread(target=self._serve, args=(peer,), daemon=True).start()

    def _serve(self, peer: socket.socket) -> None:
        try:
            while True:
                data = peer.recv(RECORD.size, socket.MSG_WAITALL)
                if len(data) != RECORD.size:
                    return
                self._take(peer, data)
        except OSError:
            return

    def _take(self, peer: socket.socket, data: bytes) -> None:
        fields = list(RECORD.unpack(data))
        name = fields[5].split(b"\0")[0].decode()
        payload = fields[8][: fields[7]]
        with self._grown:
            self.records.append(data)
            self.requests.append((name, fields[4], payload))
            self._grown.notify_all()
        answer = self._answer(name, payload) if fields[4] == 1 else None
        if isinstance(answer, tuple):
            fields[6], fields[7], fields[8] = answer[0], len(answer[1]), answer[1]
            peer.sendall(RECORD.pack(*fields))
        elif answer is not None:
            peer.sendall(answer)
