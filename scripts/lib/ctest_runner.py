"""Runs chosen tests of a CMake build folder, several at once, until the first one fails.

ctest itself cannot take a list of tests in an order of the caller's choosing.
"""

import concurrent.futures
import ctypes
import dataclasses
import json
import os
import signal
import subprocess
import tempfile
import threading
import time


PR_SET_CHILD_SUBREAPER = 36


@dataclasses.dataclass(frozen=True)
class Test:
    name: str
    command: tuple
    folder: str
    labels: frozenset
    seconds: float  # it may take
    alone: bool
    environment: tuple

    @property
    def program(self):
        return self.command[0]


def entries_of(build):
    """What ctest says of the tests of a build folder."""
    listing = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True,
                             capture_output=True, text=True).stdout
    return json.loads(listing)["tests"]


def tests_of(build):
    """Those whose programs have been built."""
    tests = []
    for entry in entries_of(build):
        properties = {row["name"]: row["value"] for row in entry.get("properties", [])}
        if properties.get("DISABLED") or "command" not in entry:
            continue
        tests.append(Test(
            name=entry["name"], command=tuple(entry["command"]),
            folder=properties.get("WORKING_DIRECTORY", build),
            labels=frozenset(properties.get("LABELS", [])),
            seconds=float(properties.get("TIMEOUT", 300)),
            alone=bool(properties.get("RUN_SERIAL", False)),
            environment=tuple(properties.get("ENVIRONMENT", []))))
    return tests


@dataclasses.dataclass
class Outcome:
    test: Test
    passed: bool
    seconds: float
    said: str


def children():
    with open(f"/proc/self/task/{threading.main_thread().native_id}/children",
              encoding="ascii") as listing:
        return [int(number) for number in listing.read().split()]


class Runner:
    """What it starts has ended when a call returns, also what a test has left behind.

    The process that has one starts no other children meanwhile.
    """

    def __init__(self, jobs):
        ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
        self._jobs = jobs
        self._lock = threading.Lock()
        self._running = set()
        self._stop = False

    def _start(self, test, output):
        with self._lock:
            if self._stop:
                return None
            process = subprocess.Popen(
                test.command, cwd=test.folder, stdin=subprocess.DEVNULL, stdout=output,
                stderr=subprocess.STDOUT, start_new_session=True,
                env=dict(os.environ, **dict(row.split("=", 1) for row in test.environment)))
            self._running.add(process)
            return process

    def _end(self, process):
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()
        with self._lock:
            self._running.discard(process)

    def _run(self, test):
        begin = time.monotonic()
        with tempfile.TemporaryFile() as output:
            process = self._start(test, output)
            if process is None:
                return None
            try:
                status = process.wait(test.seconds)
            except subprocess.TimeoutExpired:
                status = None
            self._end(process)
            output.seek(0)
            said = output.read().decode(errors="replace")
        if self._stop:
            return None
        return Outcome(test, status == 0, time.monotonic() - begin, said)

    def _stop_all(self):
        with self._lock:
            self._stop = True
            running = list(self._running)
        for process in running:
            self._end(process)

    @staticmethod
    def _end_orphans():
        """Daemons have sessions of their own. They come to this process when their test is gone."""
        for number in children():
            os.kill(number, signal.SIGKILL)
            os.waitpid(number, 0)

    def run(self, tests, seconds=None, stop_at_failure=True):
        """The outcomes, as they come. It ends early at the first failure, or after `seconds`."""
        self._stop = False
        try:
            return self._run_all(tests, seconds, stop_at_failure)
        finally:
            self._stop_all()
            self._end_orphans()

    def _run_all(self, tests, seconds, stop_at_failure):
        deadline = None if seconds is None else time.monotonic() + seconds
        outcomes = []
        for group, jobs in (([t for t in tests if not t.alone], self._jobs),
                            ([t for t in tests if t.alone], 1)):
            with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
                pending = {pool.submit(self._run, test) for test in group}
                while pending:
                    left = None if deadline is None else max(0.0, deadline - time.monotonic())
                    done, pending = concurrent.futures.wait(
                        pending, left, concurrent.futures.FIRST_COMPLETED)
                    new = [future.result() for future in done if not future.cancelled()]
                    outcomes += [outcome for outcome in new if outcome is not None]
                    failed = any(not outcome.passed for outcome in outcomes)
                    if not done or (failed and stop_at_failure):
                        pool.shutdown(wait=False, cancel_futures=True)
                        self._stop_all()
                        return outcomes
        return outcomes
