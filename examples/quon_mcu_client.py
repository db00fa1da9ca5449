#!/usr/bin/env python3
"""Speaks to quon_mcu_daemon over its message bus. Needs nothing but Python 3.8 and its library.

As a program:

  quon_mcu_client.py [--timeout MS] [--wait MS] call NAME [HEX]   prints the reply's bytes in hex
  quon_mcu_client.py [--timeout MS] [--wait MS] send NAME [HEX]   sends a signal, prints nothing

NAME is a service's whole name, or what stands after "method.quon.mcu." or "signal.quon.mcu.".
HEX is the payload.

Exit status: 0 done; 1 the service failed, or standard output cannot be written; 2 wrong arguments;
3 no daemon, or the connection was lost; 4 no answer in time; 5 a malformed answer.

As a module:

  with quon_mcu_client.Client() as client:
      print(client.call("method.quon.mcu.get.ver").decode())
      client.send("signal.quon.mcu.set.led", b"\\x02")
"""

import argparse
import itertools
import os
import socket
import struct
import sys
import time

DAEMON = "quon.mcu.daemon"
HEAD = 0x5AA55AA5
SIGNAL, METHOD = 0, 1
DATA_SIZE = 4356
NAME_SIZE = 64

# head, id, source name, destination name, type, member name, result, data length, data; integers in
# the machine's own byte order.
RECORD = struct.Struct(f"=II{NAME_SIZE}s{NAME_SIZE}sI{NAME_SIZE}siI{DATA_SIZE}s")
assert RECORD.size == 4568


class BusError(Exception):
    """What can go wrong with a call; `status` is the program's exit status."""

    status = 1


class ServiceFailed(BusError):
    """The service answered, with the negative `result`."""

    def __init__(self, member, result):
        super().__init__(f"{member}: the service failed, result {result}")
        self.result = result


class NoConnection(BusError):
    """Nobody listens, or the connection was lost."""

    status = 3


class TimedOut(BusError):
    """No answer in time. The bus also keeps silent about a member that it does not know."""

    status = 4


class Malformed(BusError):
    """An answer that contradicts itself."""

    status = 5


class Client:
    """One connection, for one thread. After NoConnection make a new one. Times are in seconds."""

    def __init__(self, name="example.python", server=DAEMON, wait=0.0):
        """Connects as `name`, waiting up to `wait` for a server that does not listen yet."""
        self._name = _field(name)
        self._server = _field(server)
        self._ids = itertools.count(1)
        self._socket = _connect(f"/tmp/dbus-{server}", time.monotonic() + wait)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self._socket.close()

    def call(self, member, data=b"", timeout=5.0):
        """Calls a method and returns the reply's payload."""
        deadline = time.monotonic() + timeout
        name, number = _field(member), next(self._ids) & 0xFFFFFFFF
        self._write(number, METHOD, member, data, deadline)
        answered = False
        while not answered:
            head, its_number, _, _, _, its_name, result, length, payload = self._read(
                member, deadline
            )
            # Anything else is the late answer to an earlier call.
            answered = head == HEAD and its_number == number and its_name.split(b"\0")[0] == name
            if not answered and time.monotonic() >= deadline:
                raise TimedOut(f"{member}: no answer in time")
        if result < 0:
            raise ServiceFailed(member, result)
        if length != result or length > DATA_SIZE:
            raise Malformed(f"{member}: malformed answer: result {result}, length {length}")
        return payload[:length]

    def send(self, member, data=b"", timeout=5.0):
        """Sends a signal. Nobody tells whether it had an effect."""
        self._write(next(self._ids) & 0xFFFFFFFF, SIGNAL, member, data, time.monotonic() + timeout)

    def _write(self, number, kind, member, data, deadline):
        if len(data) > DATA_SIZE:
            raise ValueError(f"a payload has at most {DATA_SIZE} bytes")
        record = RECORD.pack(
            HEAD, number, self._name, self._server, kind, _field(member), 0, len(data), data
        )
        # One write carries one whole record.
        if self._try(self._socket.send, record, member, deadline) != len(record):
            self.close()
            raise NoConnection("a record was written in part")

    def _read(self, member, deadline):
        # One read takes one record; what is missing at its end counts as zeros.
        data = self._try(self._socket.recv, RECORD.size, member, deadline)
        if not data:
            raise NoConnection("the connection was lost")
        return RECORD.unpack(data.ljust(RECORD.size, b"\0"))

    def _try(self, operation, argument, member, deadline):
        # A time-out of 0 would mean "do not wait", which fails in another way.
        self._socket.settimeout(max(deadline - time.monotonic(), 1e-6))
        try:
            return operation(argument)
        except socket.timeout:
            raise TimedOut(f"{member}: no answer in time") from None
        except OSError as error:
            raise NoConnection(f"the connection was lost: {error.strerror}") from None


def _field(name):
    data = name.encode()
    if not 0 < len(data) < NAME_SIZE or 0 in data:
        raise ValueError(f"a name has 1 to {NAME_SIZE - 1} bytes: {name!r}")
    return data


def _connect(path, deadline):
    while True:
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        # A server that listens but does not accept must not hold us for ever.
        connection.settimeout(1.0)
        try:
            connection.connect(path)
            return connection
        except OSError:
            connection.close()
            if time.monotonic() >= deadline:
                raise NoConnection(f"no daemon: nobody answers at {path}") from None
        time.sleep(0.05)


def _milliseconds(text):
    value = int(text)
    if value < 0:
        raise ValueError(text)
    return value / 1000


def _arguments():
    parser = argparse.ArgumentParser(description="One request to quon_mcu_daemon.")
    parser.add_argument("--timeout", type=_milliseconds, default=5.0, metavar="MS")
    parser.add_argument("--wait", type=_milliseconds, default=0.0, metavar="MS")
    parser.add_argument("command", choices=["call", "send"])
    parser.add_argument("name", metavar="NAME")
    parser.add_argument("payload", metavar="HEX", type=bytes.fromhex, nargs="?", default=b"")
    return parser.parse_args()


def main():
    arguments = _arguments()
    prefix = "method.quon.mcu." if arguments.command == "call" else "signal.quon.mcu."
    short = not arguments.name.startswith(("method.", "signal."))
    member = prefix + arguments.name if short else arguments.name
    try:
        with Client(wait=arguments.wait) as client:
            if arguments.command == "call":
                print(client.call(member, arguments.payload, arguments.timeout).hex(), flush=True)
            else:
                client.send(member, arguments.payload, arguments.timeout)
    except ValueError as error:
        status, text = 2, error
    except BusError as error:
        status, text = error.status, error
    except OSError as error:
        status, text = 1, f"standard output: {error.strerror}"
        # What is still buffered would fail once more at the end, with a status of its own.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
    else:
        return 0
    print(f"quon_mcu_client.py: {text}", file=sys.stderr)
    return status


if __name__ == "__main__":
    sys.exit(main())
