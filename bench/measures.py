"""What scripts/bench measures in each round: one function a subject, each of which returns figures
by name. What is compared is measured by turns within a round, so that a busy machine hits both."""

import collections
import json
import os
import pathlib
import re
import signal
import socket
import statistics
import struct
import subprocess
import sys
import time

TOP = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TOP / "python"))
import quon_mcu as bus  # noqa: E402  (found by the line above)

PEERS = {"sd-bus, dbus-daemon": ("peer_sdbus", "--variant", "daemon"),
         "sd-bus, dbus-broker": ("peer_sdbus", "--variant", "broker"),
         "sd-bus, direct": ("peer_sdbus", "--variant", "direct"),
         "nng": ("peer_nng",),
         "ZeroMQ": ("peer_zeromq",)}
OURS, FLOOR = ("peer_quon",), ("peer_floor",)
SMALL, LARGE = 10, 4400
DEPTHS = [1, 2, 5, 10, 20, 50, 100, 200, 500, 1000]
CONNECTIONS = [1, 2, 5, 10, 20, 50, 100, 200, 500]
PAYLOADS = [0, 10, 100, 1000, 4356]
SOCKET = "/tmp/dbus-quon.mcu.daemon"


class Bench:
    """The programs of one build, and how much of everything is done."""

    def __init__(self, folder, quick):
        self.bin, self.lib, self.quick = folder / "bin", folder / "lib", quick
        self.link = "/tmp/chip_link.so"  # a path without blanks, which LD_PRELOAD takes for separators
        if not os.path.lexists(self.link):
            os.symlink(self.lib / "libhi3861l_chip_link.so", self.link)

    def run(self, program, *arguments):
        """A program's figures."""
        done = subprocess.run([self.bin / program, *map(str, arguments)], capture_output=True,
                              text=True, timeout=300)
        if done.returncode != 0:
            raise RuntimeError(f"{program} {' '.join(map(str, arguments))}: {done.stderr.strip()}")
        return json.loads(done.stdout)

    def peer(self, command, subject, payload, count, *flags):
        return self.run(command[0], subject, *command[1:], "--payload", payload, "--count", count,
                        *flags)

    def load(self, connections, in_flight, *flags, payload=SMALL, calls=None):
        """Some tenths of a second of calls, unless their number is given."""
        together = connections * in_flight
        calls = calls or max(300, min(together * 100, 4000 if self.quick else 8000))
        return self.run("bus_load", "--connections", connections, "--in-flight", in_flight,
                        "--payload", payload, "--calls", calls, *flags)


# ---- One caller

def round_trips(bench):
    """Both sides on one core, and for the other buses on all, at two sizes."""
    count = 200 if bench.quick else 500
    figures = {}
    for name, command, flags in (("ours", OURS, ()), ("floor", FLOOR, ("--pause",)),
                                 ("floor_without_pause", FLOOR, ()),
                                 ("library", (*OURS, "--variant", "library"), ())):
        shown = bench.peer(command, "round-trip", SMALL, count, "--one-core", *flags)
        figures[f"round_trip.{name}"] = shown["p50_us"]
    return figures


def round_trips_of_peers(bench):
    figures = {}
    for size in (SMALL, LARGE):
        sides = {"ours": (OURS, ()), "floor": (FLOOR, ("--pause",)),
                 "floor_without_pause": (FLOOR, ())}
        sides |= {name: (command, ()) for name, command in PEERS.items()}
        for name, (command, flags) in sides.items():
            shown = bench.peer(command, "round-trip", size, 300, *flags)
            figures[f"call.{size}.{name}"] = shown["p50_us"]
        pause = figures[f"call.{size}.floor"] - figures[f"call.{size}.floor_without_pause"]
        figures[f"call.{size}.ours_beyond_pause"] = figures[f"call.{size}.ours"] - pause
    return figures


def signals(bench):
    """Records one way, a thread for each."""
    count = 5_000 if bench.quick else 20_000
    return {f"one_way.{SMALL}.{name}": bench.peer(command, "one-way", SMALL, count)["per_second"]
            for name, command in (("ours", OURS), ("floor", FLOOR))}


def signals_of_peers(bench):
    return {f"one_way.{size}.{name}": bench.peer(command, "one-way", size, 10_000)["per_second"]
            for size in (SMALL, LARGE)
            for name, command in {"ours": OURS, "floor": FLOOR, **PEERS}.items()
            if (size, name) not in {(SMALL, "ours"), (SMALL, "floor")}}


# ---- Many calls

def depths(bench):
    """Calls in flight on one connection and on ten, and what a call costs the server."""
    figures = {}
    for connections, each in ((1, 20), (1, 200), (1, 1000), (10, 2), (10, 20), (10, 100)):
        shown = bench.load(connections, each)
        figures[f"load.{connections}x{each}.calls"] = shown["calls_per_second"]
        figures[f"load.{connections}x{each}.p99"] = shown["p99_us"]
    for each in (20, 500):
        figures[f"load.cpu.{each}"] = bench.load(1, each)["server_cpu_us_per_call"]
    for connections in (1, 10):
        figures[f"load.best.{connections}"] = max(
            value for name, value in figures.items()
            if name.startswith(f"load.{connections}x") and name.endswith("calls"))
    return figures


STACK_SIDES = {"small": (), "default": ("--stack", 0), "bare": ("--bare",),
               "bare_default": ("--bare", "--stack", 0)}


def stacks(bench):
    """The daemon's small stacks beside the C library's default ones, and the same two of a bare
    thread for each record, which no bus can go below."""
    figures = {}
    for connections, each in ((1, 50), (10, 5), (1, 200)):
        turns = [{side: bench.load(connections, each, *flags, calls=2000)
                  for side, flags in STACK_SIDES.items()} for _ in range(3)]
        for side in STACK_SIDES:
            name = f"stack.{connections}x{each}.{side}"
            for figure, of in (("calls", "calls_per_second"), ("cpu", "server_cpu_us_per_call")):
                figures[f"{name}.{figure}"] = statistics.median(turn[side][of] for turn in turns)
    return figures


def storm(bench):
    shown = bench.load(1, 1000, "--settle", calls=5000)
    return {"storm.before": shown["server_rss_before_kib"],
            "storm.settled": shown["server_rss_settled_kib"]}


def sweeps(bench):
    """The curves: against calls in flight, connections and payload."""
    points = [("in_flight", depth, (1, depth), SMALL) for depth in DEPTHS]
    points += [("connections", count, (count, 1), SMALL) for count in CONNECTIONS]
    points += [("payload", size, (1, 20), size) for size in PAYLOADS]
    figures = {}
    for curve, x, (connections, each), payload in points:
        shown = bench.load(connections, each, payload=payload)
        for figure in ("calls_per_second", "p50_us", "p99_us"):
            figures[f"sweep.{curve}.{x}.{figure}"] = shown[figure]
    return figures


# ---- The programs

class Chip:
    """The simulated chip, while something runs against it."""

    def __init__(self, bench):
        self._command = [bench.bin / "hi3861l-sim", "--journal", "/dev/null"]

    def __enter__(self):
        pathlib.Path("/tmp/hi3861l-sim.ctl").unlink(missing_ok=True)
        self._process = subprocess.Popen(self._command, stdout=subprocess.DEVNULL,
                                         stderr=subprocess.DEVNULL)
        _wait_for("/tmp/hi3861l-sim.ctl")

    def __exit__(self, *_):
        self._process.terminate()
        self._process.wait()


class Daemon:
    """The daemon, started through a command that becomes or holds it."""

    def __init__(self, bench, *through):
        for left in (SOCKET, "/tmp/quon_mcu_daemon_run"):
            pathlib.Path(left).unlink(missing_ok=True)
        preload = ["env", f"LD_PRELOAD={bench.link}"]
        self._command = [*through, *preload, bench.bin / "quon_mcu_daemon"]

    def __enter__(self):
        self.process = subprocess.Popen(self._command, stdout=subprocess.DEVNULL)
        _wait_for("/tmp/quon_mcu_daemon_run")
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()


def _wait_for(path, bound=20.0):
    deadline = time.monotonic() + bound
    while not os.path.exists(path):
        if time.monotonic() > deadline:
            raise RuntimeError(f"{path} does not come")
        time.sleep(0.005)


def starts(bench):
    with Chip(bench):
        shown = bench.run("bench_start", "--daemon", bench.bin / "quon_mcu_daemon", "--chip-link",
                          bench.link, "--service", bench.bin / "bench_sdbus_service", "--starts",
                          5 if bench.quick else 10)
    return {f"start.{side}.{name}": value for side, values in shown.items()
            for name, value in values.items()}


def client(bench):
    with Chip(bench), Daemon(bench):
        shown = bench.run("exec_time", 10 if bench.quick else 40, bench.bin / "quon-mcu", "get",
                          "time", "--", bench.bin / "bare_client")
    return {"client.ours": shown["first_us"], "client.bare": shown["second_us"]}


def world(bench):
    shown = bench.run("exec_time", 10 if bench.quick else 20, bench.bin / "hi3861l-sim", "run",
                      "--world", "own", "true", "--", bench.bin / "private-world", "true")
    return {"world.ours": shown["first_us"], "world.bare": shown["second_us"]}


# ---- The chip

def chip(bench):
    shown = bench.run("chip_paths", "--in-world")
    beyond = shown["call_with_exchange_us"] - shown["call_without_us"]
    return {"chip.exchange": beyond, "chip.bare": shown["bare_exchange_us"],
            "chip.call": shown["call_with_exchange_us"], "chip.call_without": shown["call_without_us"],
            "event.to_peer": shown["event"]["frame_to_peer_us"],
            "event.overtaken": shown["event"]["overtaken_share"],
            "update.delayed": shown["update"]["delayed_us"],
            "update.commands": shown["update"]["commands_us"],
            "wake_up.whole": shown["wake_up"]["exec_to_connection_us"],
            "wake_up.steps": shown["wake_up"]["steps_alone_us"]}


def system_calls(bench):
    """Of one call with a chip exchange, by name: those of the threads that do not just wait."""
    trace = pathlib.Path("/tmp/bench.strace")
    calls = 20
    with Chip(bench), Daemon(bench, "strace", "-f", "-qq", "-o", trace) as daemon:
        with bus.Client(name="bench") as caller:
            caller.call("method.quon.mcu.get.time")
            begin = trace.stat().st_size
            for _ in range(calls):
                caller.call("method.quon.mcu.get.time")
            time.sleep(0.1)
            text = trace.read_bytes()[begin:].decode(errors="replace")
        _end_traced(daemon)
    return {f"syscalls.{name}": count / calls for name, count in _work_of(text).items()}


def _end_traced(daemon):
    """strace holds its own signals back from what it runs."""
    children = pathlib.Path(f"/proc/{daemon.process.pid}/task/{daemon.process.pid}/children")
    for child in children.read_text().split():
        os.kill(int(child), signal.SIGTERM)


def _work_of(text):
    lines = re.findall(r"^(\d+) +(?:<\.\.\. )?(\w+)(?:\(| resumed)", text, re.MULTILINE)
    idle = {thread for thread, name in lines if name in {"select", "pselect6", "clock_nanosleep"}
            and not re.search(rf"^{thread} +(?:read|futex|sendto)\(", text, re.MULTILINE)}
    started = re.findall(r"^(\d+) +(\w+)\(", text, re.MULTILINE)
    return collections.Counter(name for thread, name in started if thread not in idle)


# ---- The pieces

def pieces(bench):
    shown = bench.run("pieces", "--benchmark_min_time=0.05")
    return {f"piece.{each['name']}": each["cpu_time"] for each in shown["benchmarks"]}


# By the first word of their figures.
QUICK = {"round_trip": round_trips, "one_way": signals, "load": depths, "start": starts,
         "client": client}
FULL = [round_trips, round_trips_of_peers, signals, signals_of_peers, depths, stacks, storm, starts,
        client, world, chip, sweeps, pieces]
ONCE = [system_calls]
