"""The remote wake-up's connection, taken over from the daemon."""

from __future__ import annotations

import asyncio
import ipaddress
import socket
import struct

from ._bus import time_left
from ._errors import Failed, Malformed, NoConnection, TimedOut

HANDOFF_PATH = "/tmp/ws_socket"
_CONNECT, _DROP = 0, 1
_HANDED_OVER = b"\x01"
_SIZE = 8


def take_socket(
    ip: str, port: int, timeout: float = 6.5, path: str = HANDOFF_PATH
) -> socket.socket:
    """The daemon's TCP connection to `ip` and `port`, as a connected socket that is yours alone.

    The daemon gives a connection up silently after 6 s. Raises TimedOut, NoConnection, Failed (its
    attempt was refused), Malformed and ValueError.
    """
    limit = time_left(timeout)
    if not 0 < port < 65536:
        raise ValueError(f"no port: {port}")
    # The port is in host byte order.
    request = bytes([_CONNECT]) + ipaddress.IPv4Address(ip).packed + struct.pack("=H", port)
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as local:
        local.settimeout(max(limit, 1e-6))
        try:
            local.connect(path)
        except OSError:
            raise NoConnection(f"no daemon: nobody answers at {path}") from None
        try:
            local.sendall(request)
            data, descriptors, _, _ = socket.recv_fds(local, _SIZE, 1)
        except socket.timeout:
            raise TimedOut(f"no connection to {ip}:{port} in time") from None
        except OSError as error:
            raise NoConnection(f"the hand-off socket: {error.strerror}") from None
        finally:
            _drop(local)
    return _checked(data, descriptors, f"{ip}:{port}")


async def take_socket_async(
    ip: str, port: int, timeout: float = 6.5, path: str = HANDOFF_PATH
) -> socket.socket:
    """The same without blocking the loop."""
    return await asyncio.get_running_loop().run_in_executor(
        None, take_socket, ip, port, timeout, path
    )


def _drop(local: socket.socket) -> None:
    # The daemon acts on the last request once more when its peer closes. A request to drop keeps it
    # from connecting again for nobody.
    try:
        local.send(bytes([_DROP]))
    except OSError:
        pass


def _checked(data: bytes, descriptors: list[int], peer: str) -> socket.socket:
    sockets = [socket.socket(fileno=each) for each in descriptors]
    if not data:
        raise NoConnection("the daemon closed the hand-off socket")
    if len(data) != _SIZE or not data.startswith(_HANDED_OVER) or len(sockets) != 1:
        for each in sockets:
            each.close()
        raise Malformed("malformed hand-over message")
    remote = sockets[0]
    try:
        remote.getpeername()
    except OSError:
        remote.close()
        raise Failed(f"connection to {peer}", -1) from None
    remote.set_inheritable(False)
    remote.setblocking(True)
    return remote
