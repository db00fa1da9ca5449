#!/usr/bin/env python3
"""The load of scripts/soak and its verdict. Runs in a private world; ends what it starts."""

import collections
import os
import pathlib
import random
import re
import signal
import socket
import socketserver
import statistics
import struct
import subprocess
import sys
import threading
import time

TOP = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "python"))
import quon_mcu as bus  # noqa: E402  (found by the line above)
from quon_mcu import _bus as records  # noqa: E402

VERSION = "V1.0.soak"
CONTROL = "/tmp/hi3861l-sim.ctl"
HANDOFF = "/tmp/ws_socket"
METHOD, SIGNAL = "method.quon.mcu.", "signal.quon.mcu."
ANSWER_BOUND = 90.0  # 20 requests may wait before one for a chip that is silent for 3 s each time
QUIET_BOUND = 60.0
SAMPLE_EVERY = 10.0
RSS_GROWTH = 0.05
CROWD = 120
MARK = 0x55  # first byte of this program's own events

QUERIES = ["get.time", "get.battery.status", "get.pir.info", "get.wifi.status", "get.store.params",
           "get.wdg.state", "get.alarm", "get.err.report", "get.status.info", "get.config.info",
           "get.wifi.extended.status", "get.soc.time.list", "get.soc.time.cur.info"]
SETTINGS = [("set.led", 1), ("set.time", 10), ("set.wdg.feed", 0), ("set.alarm", 7),
            ("set.pir.switch", 1), ("set.store.params", 48)]
# The version's answer (0x80) is not disturbed, so that it can be checked.
FAULTY = ["0x84", "0x86", "0x89", "0x8c", "0x93", "0x95", "0x99", "0x9e", "0xa3", "0xa7", "0xaa"]
FAULTS = ["{type} drop", "{type} delay 1500", "{type} delay 20 count 3", "{type} twice count 2",
          "{type} answer-type 0x84", "{type} length 4000000000", "{type} length 0", "{type} cut 0",
          "{type} cut 3", "{type} cut 9", "{type} lengthen 300", "{type} corrupt 0",
          "{type} corrupt 6", "any drop count 2", "any twice count 5"]


class WrongAnswer(Exception):
    """An answer that does not belong to its request."""


class Tally:
    """The outcomes of the requests, by kind."""

    def __init__(self):
        self._lock = threading.Lock()
        self._count = collections.Counter()
        self.problems = []

    def add(self, kind):
        with self._lock:
            self._count[kind] += 1

    def blame(self, text):
        with self._lock:
            if text not in self.problems:
                self.problems.append(text)

    def snapshot(self):
        with self._lock:
            return dict(self._count)


class Chip:
    """The simulated chip and its control connection, for one thread at a time."""

    def __init__(self, program):
        self.process = subprocess.Popen(
            [program, "--journal", "/dev/null", "--firmware-version", VERSION], cwd="/tmp")
        self._lock = threading.Lock()
        wait_for(lambda: os.path.exists(CONTROL), "the simulated chip does not start")
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.connect(CONTROL)
        self._lines = self._socket.makefile("r")

    def command(self, line):
        with self._lock:
            self._socket.sendall(line.encode() + b"\n")
            for answer in self._lines:
                if answer == "ok\n":
                    return
                if answer.startswith("error"):
                    raise RuntimeError(f"{line}: {answer.strip()}")
        raise RuntimeError("the simulated chip has ended")


class Daemon:
    """The process under load, seen from outside."""

    def __init__(self, folder, log):
        link = "/tmp/chip_link.so"  # a path without blanks, which LD_PRELOAD takes for separators
        os.symlink(folder / "lib/libhi3861l_chip_link.so", link)
        environment = dict(os.environ, LD_PRELOAD=link, ASAN_OPTIONS="verify_asan_link_order=0",
                           TSAN_OPTIONS="report_signal_unsafe=0:atexit_sleep_ms=0")
        with open(log, "wb") as output:
            self.process = subprocess.Popen([folder / "bin/quon_mcu_daemon"], env=environment,
                                            stdout=output, stderr=output, cwd="/tmp")
        self._log = log
        self._place = pathlib.Path(f"/proc/{self.process.pid}")
        wait_for(lambda: os.path.exists("/tmp/quon_mcu_daemon_run"), "the daemon does not start")

    def alive(self):
        return self.process.poll() is None

    def rss_kb(self):
        return self._status("VmRSS")

    def threads(self):
        return self._status("Threads")

    def descriptors(self):
        return len(os.listdir(self._place / "fd"))

    def zombies(self):
        children = (self._place / f"task/{self.process.pid}/children").read_text().split()
        return sum(_state_of(child) == "Z" for child in children)

    def reports(self):
        """Lines of a sanitizer in what it printed."""
        text = pathlib.Path(self._log).read_text(errors="replace")
        return re.findall(r".*(?:ERROR: \w+Sanitizer|WARNING: ThreadSanitizer|runtime error:).*", text)

    def _status(self, name):
        text = (self._place / "status").read_text()
        return int(re.search(rf"^{name}:\s+(\d+)", text, re.MULTILINE)[1])


def _state_of(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0]
    except FileNotFoundError:
        return ""


def wait_for(condition, problem, bound=30.0):
    deadline = time.monotonic() + bound
    while not condition():
        if time.monotonic() > deadline:
            raise RuntimeError(problem)
        time.sleep(0.01)


class EchoServer(socketserver.ThreadingTCPServer):
    """The server far away: says what it hears. It also gets connections for nobody: a local
    program that leaves has its last request served once more."""

    daemon_threads = True

    class RequestHandlerClass(socketserver.BaseRequestHandler):
        def handle(self):
            while data := self.request.recv(4096):
                self.request.sendall(data)

    def __init__(self):
        super().__init__(("127.0.0.1", 0), self.RequestHandlerClass)
        threading.Thread(target=self.serve_forever, daemon=True).start()


class Client(bus.Client):
    """Also a peer that leaves without reading what it asked for."""

    def write_only(self, member):
        _, record = records.request(records.METHOD, "soak", member, b"")
        self._write(member, record, time.monotonic() + ANSWER_BOUND)


class Load:
    """Everything that works against the daemon until `stop` is set."""

    def __init__(self, folder, chip, seed):
        self.stop = threading.Event()
        self.tally = Tally()
        self._folder, self._chip, self._seed = folder, chip, seed
        self._last_event = 0
        self._server = EchoServer()
        kinds = [self._ask] * 9 + [self._check] * 4 + [self._set] * 3 + [self._shell] * 3
        actors = [self._client(kind) for kind in kinds] + [self._client(self._take_event, False)]
        actors += [self._raise_events, self._update_network, self._hand_off, self._break_chip,
                   self._visit]
        self._threads = [threading.Thread(target=self._act, args=(actor, number))
                         for number, actor in enumerate(actors)]

    def start(self):
        self._fill_caches()
        for thread in self._threads:
            thread.start()

    def _fill_caches(self):
        """More requests at once than ever come later. What the C library keeps of their threads and
        memory it has from then on: growth after that is the daemon's."""
        self._chip.command("silent")
        peers = [Client(name="soak", wait=10) for _ in range(CROWD)]
        for peer in peers:
            peer.write_only(METHOD + "get.time")
        self.stop.wait(0.5)
        self._chip.command("back")
        for peer in peers:
            peer.close()

    def join(self):
        deadline = time.monotonic() + ANSWER_BOUND
        for thread in self._threads:
            thread.join(max(deadline - time.monotonic(), 0))
            if thread.is_alive():
                self.tally.blame("a client did not come to its end")

    def _act(self, actor, number):
        try:
            actor(random.Random(f"{self._seed}.{number}"))
        except Exception as error:  # the verdict names whatever it was
            self.tally.blame(f"{type(error).__name__}: {error}")

    def _client(self, request, leaves=True):
        """A bus peer that makes such requests over one connection after the other."""
        def run(choice):
            while not self.stop.is_set():
                with Client(name="soak", wait=10) as client:
                    for _ in range(choice.randrange(1, 200)):
                        if self.stop.is_set():
                            return
                        self._count(request, client, choice)
                    if leaves and choice.random() < 0.5:
                        client.write_only(METHOD + choice.choice(QUERIES))
        return run

    def _count(self, request, client, choice):
        try:
            request(client, choice)
            self.tally.add("ok")
        except bus.Failed:
            self.tally.add("failed")
        except bus.TimedOut as error:
            self.tally.add("no answer")
            self.tally.blame(str(error))
            self.stop.wait(1)
        except bus.NoConnection as error:
            self.tally.add("lost")
            self.tally.blame(str(error))
            self.stop.wait(1)
        except (bus.Malformed, WrongAnswer) as error:
            self.tally.add("wrong")
            self.tally.blame(str(error))

    # ---- Requests

    def _ask(self, client, choice):
        client.call(METHOD + choice.choice(QUERIES), timeout=ANSWER_BOUND)

    def _check(self, client, _choice):
        answer = client.call(METHOD + "get.ver", timeout=ANSWER_BOUND)
        if answer.rstrip(b"\0") != VERSION.encode():
            raise WrongAnswer(f"get.ver answered {answer!r}")

    def _set(self, client, choice):
        name, size = choice.choice(SETTINGS)
        client.send(SIGNAL + name, choice.randbytes(size), timeout=ANSWER_BOUND)
        # A signal has no answer; a question that waits for the chip behind it keeps the sender from
        # running ahead of the daemon.
        client.call(METHOD + "get.ver", timeout=ANSWER_BOUND)

    def _shell(self, client, choice):
        number = choice.randrange(10**9)
        answer = client.call(METHOD + "get.popen", b"echo %d\0" % number, timeout=ANSWER_BOUND)
        if answer.rstrip(b"\0\n") != b"%d" % number:
            raise WrongAnswer(f"echo {number} answered {answer!r}")
        self.stop.wait(0.05)

    def _take_event(self, client, _choice):
        try:
            event = client.call(METHOD + "get.event.info", timeout=ANSWER_BOUND)
        except bus.Failed:
            self.stop.wait(0.01)
            raise
        if event[0] == MARK:
            number = int.from_bytes(event[1:5], "little")
            if number < self._last_event:
                raise WrongAnswer(f"event {number} came after {self._last_event}")
            self._last_event = number
            self.tally.add("events")

    # ---- The others

    def _raise_events(self, choice):
        number = 0
        while not self.stop.wait(choice.uniform(0, 0.1)):
            number += 1
            self._chip.command(f"event raw 0x01 {MARK:02x}{number.to_bytes(4, 'little').hex()}")

    def _update_network(self, choice):
        while not self.stop.wait(choice.uniform(0.5, 3)):
            address = f"10.{choice.randrange(1, 250)}.{choice.randrange(250)}.2"
            deadline = time.monotonic() + 60
            while not self._has_address(address):
                self._chip.command(f"event net {address}/16 gw {address[:-1]}1 dns 8.8.8.8")
                if time.monotonic() > deadline or self.stop.wait(1):
                    break
            else:
                self.tally.add("updates")
                continue
            if not self.stop.is_set():
                self.tally.blame(f"wlan0 did not become {address}")

    @staticmethod
    def _has_address(address):
        shown = subprocess.run(["ip", "-4", "addr", "show", "wlan0"], capture_output=True, text=True)
        return f"inet {address}/" in shown.stdout

    def _hand_off(self, choice):
        port = self._server.server_address[1]
        while not self.stop.wait(choice.uniform(0, 0.3)):
            with socket.socket(socket.AF_UNIX) as local:
                local.settimeout(20)
                local.connect(HANDOFF)
                local.sendall(bytes([0, 127, 0, 0, 1]) + struct.pack("=H", port))
                _, descriptors, _, _ = socket.recv_fds(local, 8, 1)
                self._check_connection(descriptors)
            self.tally.add("hand-offs")

    @staticmethod
    def _check_connection(descriptors):
        with socket.socket(fileno=descriptors[0]) as here:
            here.settimeout(20)
            here.sendall(b"hand-off")
            if here.recv(8, socket.MSG_WAITALL) != b"hand-off":
                raise WrongAnswer("a connection that was handed over does not reach the server")

    def _break_chip(self, choice):
        while not self.stop.wait(choice.uniform(0.1, 1)):
            if choice.random() < 0.1:
                self._chip.command("silent")
                self.stop.wait(choice.uniform(0, 0.5))
                self._chip.command("back")
            else:
                fault = choice.choice(FAULTS)
                self._chip.command("fault " + fault.format(type=choice.choice(FAULTY)))
            self.tally.add("faults")
            if choice.random() < 0.2:
                self._chip.command("clear-faults")
        self._chip.command("clear-faults")
        self._chip.command("back")

    def _visit(self, choice):
        """Client processes, half of which are killed at some moment of their lives."""
        while not self.stop.wait(choice.uniform(0, 0.5)):
            visitor = subprocess.Popen([self._folder / "bin/quon-mcu", "get", "time"], cwd="/tmp",
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            if choice.random() < 0.5:
                self.stop.wait(choice.uniform(0, 0.03))
                visitor.kill()
            visitor.wait()
            self.tally.add("visitors")


def line(begin, tally, daemon):
    counts = tally.snapshot()
    errors = "  ".join(f"{kind} {counts.get(kind, 0)}"
                       for kind in ("failed", "no answer", "lost", "wrong"))
    requests = sum(counts.get(kind, 0) for kind in ("ok", "failed", "no answer", "lost", "wrong"))
    print(f"{time.monotonic() - begin:6.0f} s  requests {requests}  {errors}  "
          f"RSS {daemon.rss_kb()} kB  descriptors {daemon.descriptors()}  "
          f"threads {daemon.threads()}", flush=True)


def watch(load, daemon, seconds):
    """Prints a line now and then until the time is over; the RSS of each second."""
    begin, rss, next_line = time.monotonic(), [], SAMPLE_EVERY
    while (now := time.monotonic() - begin) < seconds and daemon.alive():
        if now >= len(rss):
            rss.append(daemon.rss_kb())
        if now >= next_line:
            line(begin, load.tally, daemon)
            next_line += SAMPLE_EVERY
        time.sleep(0.1)
    if daemon.alive():
        line(begin, load.tally, daemon)
    return rss


def judge_memory(rss, tally):
    """Under the same load, so medians of some seconds each."""
    early = statistics.median(rss[55:65] if len(rss) > 90 else rss[len(rss) // 2:][:10])
    late = statistics.median(rss[-10:])
    grown = (late - early) / early
    when = "after the first minute" if len(rss) > 90 else "after half of the time"
    print(f"RSS {when} {early:.0f} kB, at the end {late:.0f} kB: {grown:+.1%}")
    if abs(grown) >= RSS_GROWTH:
        tally.blame(f"RSS changed by {grown:+.1%}, at most 5% is right")


def judge_quiet(daemon, before, tally):
    """Nothing of the load is left, and the daemon still serves."""
    def now():
        return daemon.descriptors(), daemon.threads(), daemon.zombies()
    try:
        wait_for(lambda: now() == before, "", QUIET_BOUND)
    except RuntimeError:
        tally.blame("descriptors, threads, zombies were %d, %d, %d and are %d, %d, %d" %
                    (*before, *now()))
    with Client(name="soak") as client:
        if client.call(METHOD + "get.ver", timeout=10).rstrip(b"\0") != VERSION.encode():
            tally.blame("get.ver is wrong at the end")


def judge_end(daemon, tally):
    daemon.process.send_signal(signal.SIGTERM)
    try:
        if daemon.process.wait(30) != 1:
            tally.blame(f"SIGTERM ended the daemon with {daemon.process.returncode} instead of 1")
    except subprocess.TimeoutExpired:
        tally.blame("SIGTERM did not end the daemon")
    for report in daemon.reports():
        tally.blame(report)


def soak(folder, minutes, seed):
    mode = folder.name
    chip = Chip(folder / "bin/hi3861l-sim")
    daemon = Daemon(folder, folder.parent / f"soak-{mode}.log")
    try:
        wait_for(lambda: os.path.exists(HANDOFF), "the hand-off socket does not come")
        time_to_settle(daemon)
        before = (daemon.descriptors(), daemon.threads(), 0)
        load = Load(folder, chip, seed)
        load.start()
        rss = watch(load, daemon, minutes * 60)
        load.stop.set()
        load.join()
        if daemon.alive():
            if mode == "release":
                judge_memory(rss, load.tally)
            judge_quiet(daemon, before, load.tally)
            judge_end(daemon, load.tally)
        else:
            load.tally.blame(f"the daemon has ended with {daemon.process.returncode}")
        return load.tally
    finally:
        for process in (daemon.process, chip.process):
            process.kill()
            process.wait()


def time_to_settle(daemon):
    """Until its threads and descriptors have stayed the same for half a second."""
    seen, since = None, 0.0
    while time.monotonic() - since < 0.5 or seen is None:
        now = (daemon.descriptors(), daemon.threads())
        if now != seen:
            seen, since = now, time.monotonic()
        time.sleep(0.02)


def main():
    folder, minutes, seed = pathlib.Path(sys.argv[1]), float(sys.argv[2]), sys.argv[3]
    print(f"{folder.name}, {minutes:g} minutes, seed {seed}", flush=True)
    tally = soak(folder, minutes, seed)
    print("  ".join(f"{kind}: {count}" for kind, count in sorted(tally.snapshot().items())))
    for problem in tally.problems:
        print(f"BROKEN: {problem}")
    print("verdict: " + ("broken" if tally.problems else "held"))
    return 1 if tally.problems else 0


if __name__ == "__main__":
    sys.exit(main())
