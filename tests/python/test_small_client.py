"""The small client beside the full one: the same words, the same results, the same statuses.

Runs in a world of its own, with chip and daemon.
"""

import os
import subprocess
import time
import unittest

FULL = os.environ["QUON_FULL_CLIENT"]
SMALL = os.environ["QUON_SMALL_CLIENT"]

# Whose answers stand still.
OBJECTS = [
    "ver", "wakeup.info", "allwakeup.info", "battery.status", "pir.info", "wifi.status",
    "wifi.info", "wifi.scanf.info 1", "store.params", "wdg.state", "alarm", "err.report",
    "log.profile", "soc.min.ver", "status.info", "config.info", "bit.err.rate",
    "wifi.extended.status", "soc.time.list", "soc.time.cur.info", "wifi.info ip dns2", "get.alarm",
]


def run(program, *words):
    done = subprocess.run([program, *words], capture_output=True, timeout=60, check=False)
    return done.returncode, done.stdout, done.stderr


class TheSmallClient(unittest.TestCase):
    maxDiff = None

    def expect_same(self, *words):
        self.assertEqual(run(SMALL, *words)[:2], run(FULL, *words)[:2], words)

    def expect_alarm(self, wanted):
        # A signal is on its way when its sender ends.
        deadline = time.monotonic() + 20
        while run(FULL, "get", "alarm", "--hex")[1] != wanted and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(run(FULL, "get", "alarm", "--hex")[1], wanted)

    def test_gets_what_the_full_one_gets(self):
        for name in OBJECTS:
            for mode in ([], ["--hex"], ["--raw"]):
                with self.subTest(name, mode=mode):
                    self.expect_same(*mode, "get", *name.split())

    def test_calls_as_the_full_one_does(self):
        for words in (["get.alarm"], ["get.wifi.scanf.info", "01"], ["get.log.profile"],
                      ["get.alarm", "--hex"], ["method.quon.mcu.get.ver", "--raw"]):
            with self.subTest(words):
                self.expect_same("call", *words)

    def test_sets_what_is_given_and_keeps_the_rest(self):
        self.assertEqual(run(SMALL, "set", "alarm", "--hex", "0d0c0b0a010203"), (0, b"", b""))
        self.expect_alarm(b"0d0c0b0a010203\n")
        self.assertEqual(run(SMALL, "set", "alarm", "byte5=0x7f"), (0, b"", b""))
        self.expect_alarm(b"0d0c0b0a017f03\n")
        self.assertEqual(run(SMALL, "set", "alarm", "1", "2", "3", "4"), (0, b"", b""))
        self.expect_alarm(b"01000000020304\n")
        self.assertEqual(run(SMALL, "set", "alarm", "--base", "zero", "byte4=9"), (0, b"", b""))
        self.expect_alarm(b"00000000090000\n")

    def test_sets_the_clock_to_now(self):
        self.assertEqual(run(SMALL, "set", "time", "now"), (0, b"", b""))
        year = run("date", "+%-y")[1]
        deadline = time.monotonic() + 20
        while run(SMALL, "get", "time", "year")[1] != year and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(run(SMALL, "get", "time", "year")[1], year)

    def test_runs_shell_commands(self):
        self.expect_same("exec", "true")
        self.expect_same("exec", "exit", "3")
        self.expect_same("exec", "kill -9 $$")
        self.expect_same("popen", "echo", "hi", "--there")
        self.assertEqual(run(SMALL, "popen", "echo", "hi"), (0, b"hi\n", b""))

    def test_takes_events(self):
        self.assertEqual(run("hi3861l-sim", "control", "event", "raw", "01", "0b0c")[0], 0)
        status, out, _ = run(SMALL, "events", "--count", "1", "--timeout", "20s")
        self.assertEqual((status, out), (0, b"1  0b0c" + b"00" * 31 + b"\n"))
        self.assertEqual(run(SMALL, "events"), (0, b"", b""))
        self.expect_same("events")
        late = ["events", "--count", "1", "--timeout", "1ms"]
        self.assertEqual(run(SMALL, *late), (4, b"", b"quon-mcu-small: 0 of 1 events in time\n"))
        self.assertEqual(run(FULL, *late)[:2], (4, b""))

    def test_shows_the_snapshot(self):
        status, out, _ = run(SMALL, "wakeup")
        self.assertEqual(status, 0)
        self.assertIn(b"\nversion         V2.1.7\n", out)
        self.assertEqual(run(FULL, "wakeup")[0], 0)

    def test_refuses_what_the_full_one_refuses(self):
        for words in (
            [], ["nonsense"], ["get"], ["get", "nonsense"], ["get", "time", "nonsense"],
            ["set", "led"], ["set", "led", "256"], ["set", "led", "x"], ["set", "nonsense", "1"],
            ["set", "time", "month=13"], ["set", "wdg.feed", "1"], ["set", "alarm", "1"],
            ["set", "alarm", "--hex", "00"], ["call", "nonsense"], ["call", "get.ver", "0"],
            ["call", "set.led", "01"], ["--timeout", "soon", "get", "ver"], ["exec"],
            ["get", "wifi.scanf.info"], ["--nonsense", "get", "ver"], ["events", "--count", "0"],
        ):
            with self.subTest(words):
                status, out, err = run(SMALL, *words)
                self.assertEqual((status, out), (2, b""))
                self.assertTrue(err.startswith(b"quon-mcu-small: "), err)
                if words:
                    self.assertEqual(run(FULL, *words)[0], 2)

    def test_tells_a_failed_service_and_a_full_disk(self):
        status, out, err = run(SMALL, "get", "log.profile")
        self.assertEqual((status, out), (1, b""))
        self.assertEqual(
            err,
            b"quon-mcu-small: method.quon.mcu.get.log.profile: the service failed, result -1\n",
        )
        self.assertEqual(run("sh", "-c", '"$0" get alarm >/dev/full', SMALL)[0], 1)


if __name__ == "__main__":
    unittest.main()
