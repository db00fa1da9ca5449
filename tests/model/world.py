"""The unmodified daemon between a chip and a peer of the bus that the caller plays.

Runs inside a private world (own network with wlan0, own /tmp and /etc/resolv.conf).
"""

import os
import re
import select
import socket
import struct
import subprocess
import time

CHIP_SOCKET = "/tmp/model-chip.sock"
BUS_SOCKET = "/tmp/dbus-quon.mcu.daemon"
RUN_FLAG = "/tmp/quon_mcu_daemon_run"
BOUND = 20.0  # seconds that anything may take here; far beyond what it takes

RECORD = struct.Struct("<II64s64sI64siI4356s")
HEAD = 0x5AA55AA5

LOG_LINE = re.compile(
    r"(?P<level>[FEWID])/(?P<tag>\S+) +\[[^]]*\] \((?P<function>\w+):\d+\) (?P<text>[^\n]*)\n"
)
# Printed by the hand-off's thread at any moment after the start: no step's lines.
HAND_OFF = ("ws ", "[", "websocket")
COLOUR = re.compile(r"\x1b\[[0-9;]*m")


class Difference(AssertionError):
    """The daemon did something else than the model."""

    last = None  # also known when it could not be repeated

    def __init__(self, text):
        super().__init__(text)
        Difference.last = text


def record(type_, name, data, length=None, number=1, magic=HEAD):
    return RECORD.pack(
        magic,
        number,
        b"the.model",
        b"quon.mcu.daemon",
        type_,
        name.encode(),
        0,
        len(data) if length is None else length,
        data,
    )


class Chip:
    """The chip's end of the chip link."""

    def __init__(self):
        self._listener = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self._listener.bind(CHIP_SOCKET)
        self._listener.listen(4)
        self._listener.settimeout(BOUND)
        self._host = None

    def accept(self):
        self._host, _ = self._listener.accept()
        self._host.settimeout(BOUND)

    def next_frame(self):
        try:
            return self._host.recv(65536)[16:]
        except socket.timeout:
            raise Difference("the daemon asks the chip nothing") from None

    def waiting(self):
        return bool(select.select([self._host], [], [], 0)[0])

    def send(self, frame):
        self._host.send(struct.pack("<IHHII", len(frame) + 16, 0, 0, 0, 0) + frame)

    def close(self):
        if self._host is not None:
            self._host.close()
        self._listener.close()
        os.unlink(CHIP_SOCKET)


class Peer:
    """A connection to the bus."""

    def __init__(self):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.connect(BUS_SOCKET)
        self._socket.settimeout(BOUND)

    def send(self, data):
        self._socket.sendall(data)

    def result(self):
        try:
            data = self._socket.recv(RECORD.size, socket.MSG_WAITALL)
        except socket.timeout:
            raise Difference("no result comes") from None
        if len(data) != RECORD.size:
            raise Difference(f"the connection ends after {len(data)} bytes of a result")
        return data

    def silent(self):
        return not select.select([self._socket], [], [], 0)[0]

    def close(self):
        self._socket.close()


class Log:
    """The daemon's lines at level 1 and above, as they come."""

    def __init__(self, pipe):
        self._pipe = pipe
        self._text = ""
        os.set_blocking(pipe.fileno(), False)

    def _read(self, wait):
        if not select.select([self._pipe], [], [], wait)[0]:
            return False
        data = self._pipe.read()
        self._text += COLOUR.sub("", data.decode(errors="replace")) if data else ""
        return bool(data)

    def _whole_lines(self):
        whole, newline, self._text = self._text.rpartition("\n")
        lines = []
        for text in (whole + newline).splitlines(keepends=True):
            match = LOG_LINE.fullmatch(text)
            if match:
                lines.append((match["tag"], match["function"], match["text"]))
            elif not text.startswith(HAND_OFF):
                lines.append(("", "", text.rstrip("\n")))
        return lines

    def take(self, count):
        """The next `count` lines, or as many as come in time; then what else is there."""
        end = time.monotonic() + BOUND
        lines = self._whole_lines()
        while len(lines) < count and time.monotonic() < end:
            self._read(0.1)
            lines += self._whole_lines()
        while self._read(0):
            pass
        return lines + self._whole_lines()


class Daemon:
    """The daemon, started; `answers` holds the chip's frame for each question of its start."""

    def __init__(self, program, chip_link, answers):
        self.chip = Chip()
        environment = dict(os.environ, LD_PRELOAD=chip_link, HI3861L_SIM_SOCKET=CHIP_SOCKET)
        environment["ASAN_OPTIONS"] = "verify_asan_link_order=0"
        if os.path.exists(RUN_FLAG):
            os.unlink(RUN_FLAG)
        begin = time.monotonic()
        self._errors = open("/tmp/model-daemon.errors", "w+b")
        self._process = subprocess.Popen(
            [program], env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=self._errors)
        self.asked = []
        self.start_took = 0.0
        try:
            self.chip.accept()
            for _ in range(len(answers)):
                question = self.chip.next_frame()
                self.asked.append(question)
                self.chip.send(answers[question[0]])
            self.start_took = time.monotonic() - begin
            self.log = Log(self._process.stdout)
            self.peer = Peer()
        except BaseException:
            self._end()
            raise

    def held_up(self):
        """Seconds that its threads, all together, were ready to run and did not."""
        end = time.monotonic() + BOUND
        while self._threads_to_run() and time.monotonic() < end:
            time.sleep(0.01)  # what such a one waits counts only once it runs
        return sum(int(counts[1]) for counts in self._of_threads("schedstat")) / 1e9

    def _threads_to_run(self):
        return any(fields[0] == "R" for fields in self._of_threads("stat"))

    def _of_threads(self, file):
        for thread in os.scandir(f"/proc/{self._process.pid}/task"):
            try:
                with open(f"{thread.path}/{file}", encoding="ascii") as content:
                    yield content.read().rpartition(")")[2].split()
            except (FileNotFoundError, ProcessLookupError):
                pass  # it has just ended

    def restarted_peer(self):
        self.peer.close()
        self.peer = Peer()

    def _end(self):
        self._process.terminate()
        try:
            self._process.wait(BOUND)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            raise Difference("SIGTERM does not end the daemon") from None
        finally:
            self._process.stdout.close()
            self._errors.close()
            self.chip.close()

    def close(self):
        """Ends the daemon. Raises when it has ended before, or a sanitizer has reported."""
        status = self._process.poll()
        self.peer.close()
        self._end()
        with open("/tmp/model-daemon.errors", encoding="utf-8", errors="replace") as errors:
            report = errors.read()
        if status is not None:
            raise Difference(f"the daemon has ended with status {status}\n{report}")
        if "Sanitizer" in report or "runtime error" in report:
            raise Difference(report)
