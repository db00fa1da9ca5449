#!/usr/bin/python3
"""Random requests and frames to the daemon and to its model; the first difference is made short.

Run it in a private world:
    private-world differences.py --daemon PROGRAM --chip-link LIBRARY [--steps N] [--seed N]

With --plant KIND the harness falsifies what it sees or sends in one way, as a faulty daemon would;
the run then succeeds only when it finds a difference.
"""

import argparse
import struct
import sys
import time

import hypothesis
import hypothesis.strategies as st
from hypothesis.stateful import RuleBasedStateMachine, initialize, rule, run_state_machine_as_test

import model
from world import Daemon, Difference, RECORD, HEAD, record

STEPS_OF_ONE_RUN = 50  # at most
RUNS_OF_ONE_SEARCH = 20
SEARCHES_OF_ONE_SEED = 1000000
START_TIME = 212 + 396  # in the result with the wake-up context: the machine's own
# The daemon waits a second for an answer. One that this side gives so late, or that a busy machine
# lets the daemon read so late, proves nothing.
SLOW = 0.5
# A network update keeps all later frames waiting. Each is asked once, so that no late answer can be
# taken for another one's.
PATIENCE = ("get.alarm", "get.time", "get.battery.status", "get.pir.info", "get.status.info",
            "get.config.info")
PLANTS = ("length", "order", "text", "stale", "lost")

OPTIONS = argparse.Namespace(daemon="", chip_link="", plant=None)

byte = st.integers(0, 255)
bodies = st.one_of(
    st.binary(max_size=16),
    st.integers(0, 400).flatmap(lambda size: st.binary(min_size=1, max_size=4).map(
        lambda seed: (seed * (size // len(seed) + 1))[:size])),
)
requests = st.one_of(st.binary(max_size=280), st.just(bytes(range(256)) + bytes(range(100))))
# What a frame's head declares in place of its true length.
declared = st.one_of(st.none(), st.none(), st.integers(0, 400),
                     st.sampled_from([383, 384, 385, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF]))
octets = st.binary(min_size=4, max_size=4)
macs = st.one_of(st.sampled_from([bytes(6), bytes.fromhex("020000000001")]),
                 st.binary(min_size=6, max_size=6).map(lambda mac: b"\x02" + mac[1:]))


def answers(type_):
    return st.builds(lambda body, length: model.frame(type_, body, length), bodies, declared)


def difference_of(seen, expected):
    """Where two values part, in a line."""
    if isinstance(seen, bytes) and isinstance(expected, bytes) and len(seen) == len(expected):
        place = next(i for i, pair in enumerate(zip(seen, expected)) if pair[0] != pair[1])
        return (f"byte {place}: daemon {seen[place:place + 16].hex(' ')}, "
                f"model {expected[place:place + 16].hex(' ')}")
    if isinstance(seen, tuple) and isinstance(expected, tuple):
        return "; ".join(f"field {i}: {difference_of(*pair)}"
                         for i, pair in enumerate(zip(seen, expected)) if pair[0] != pair[1])
    return f"daemon {seen!r}, model {expected!r}"


class Comparison(RuleBasedStateMachine):
    """Each rule is one step: it asks both, and compares all that can be seen."""

    steps = 0

    def __init__(self):
        super().__init__()
        self.daemon = None
        self.model = model.Model()
        self.number = 0
        self.flushed = True
        self.last_result = None
        self.held_event = None
        self.slow = False
        self.slow_start = False
        self.asked_at = 0.0
        self.held_up = 0.0

    @initialize(network=answers(0x81), wakeup=answers(0x82), time_=answers(0x84),
                battery=answers(0x86), wifi=answers(0x8C), store=answers(0x93),
                version=answers(0x80))
    def start(self, network, wakeup, time_, battery, wifi, store, version):
        # Another reason than a remote wake-up: the hand-off then waits for nothing.
        wakeup = wakeup[:5] + b"\0" + wakeup[6:] if len(wakeup) > 5 else wakeup
        frames = {0x81: network, 0x82: wakeup, 0x84: time_, 0x86: battery, 0x8C: wifi,
                  0x93: store, 0x80: version}
        self.daemon = Daemon(OPTIONS.daemon, OPTIONS.chip_link, frames)
        self.slow_start = self.daemon.start_took > SLOW or self.daemon.held_up() > SLOW
        expected = [model.frame(type_, b"")
                    for type_ in (0x81, *(row[0] for row in model.SNAPSHOT if row[0]))]
        self.compare("the questions of the start", self.daemon.asked, expected)
        self.model.start(frames)
        # Only when the version has come is the snapshot whole.
        self.ask("get.time", b"", model.frame(0x84, b""))
        self.slow_start = False

    def teardown(self):
        if self.daemon is not None:
            self.daemon.close()

    # ---- Comparing

    def proves_nothing(self):
        return self.slow or self.slow_start or self.daemon.held_up() - self.held_up > SLOW

    def compare(self, what, seen, expected):
        if seen != expected:
            if self.proves_nothing():
                hypothesis.reject()
            raise Difference(f"{what}: {difference_of(seen, expected)}")

    def compare_log(self, expected):
        expected = [(tag, function[:31], text) for tag, function, text in expected]
        if OPTIONS.plant == "text" and expected:
            expected[0] = (*expected[0][:2], expected[0][2] + "!")
        self.compare("log lines", self.daemon.log.take(len(expected)), expected)

    def compare_result(self, request, expected):
        self.compare_seen(self.daemon.peer.result(), request, expected)

    def compare_seen(self, seen, request, expected):
        result, payload = expected
        if OPTIONS.plant == "length":
            seen = seen[:208] + struct.pack("<I", struct.unpack("<I", seen[208:212])[0] | 1) + seen[212:]
        if OPTIONS.plant == "stale" and self.last_result is not None:
            seen = self.last_result[:212] + seen[212:]
        self.last_result = seen
        fields = RECORD.unpack(request)
        if fields[5].startswith(b"method.quon.mcu.get.allwakeup.info\0"):
            seen = seen[: START_TIME] + bytes(4) + seen[START_TIME + 4 :]
        self.compare("result", RECORD.unpack(seen), (
            HEAD, fields[1], fields[3], fields[2], 1, fields[5], result, max(result, 0),
            model.padded(payload, model.REPLY)))

    def request(self, kind, service, data, length=None, type_=None):
        Comparison.steps += 1
        self.number += 1
        self.slow = False
        if type_ is None:
            type_ = 1 if kind == model.METHOD else 0
        message = record(type_, kind + service, data, length, self.number)
        self.held_up = self.daemon.held_up()
        self.daemon.peer.send(message)
        self.asked_at = time.monotonic()
        return message

    def answer(self, frame):
        self.daemon.chip.send(frame)
        self.slow = self.slow or time.monotonic() - self.asked_at > SLOW

    def settle(self):
        """Comes back when a network update is over: when an answer is in time again."""
        for service in PATIENCE:
            message = self.request(model.METHOD, service, b"")
            self.compare("question", self.daemon.chip.next_frame(),
                         self.model.question(service, b""))
            frame = model.frame(model.QUERIES[service].type, b"\1")
            self.answer(frame)
            seen = self.daemon.peer.result()
            if RECORD.unpack(seen)[6] != -1:
                self.compare_seen(seen, message, self.model.answered(service, frame)[:2])
                self.compare_log([])
                self.flushed = True
                return
            result, payload, lines = self.model.unanswered(service)
            self.compare_seen(seen, message, (result, payload))
            self.compare_log(lines)
        raise Difference("no answer is taken after a network update")

    def flush(self):
        """All earlier frames of the chip have been handled once a later answer has come."""
        if not self.flushed:
            self.ask("get.alarm", b"", model.frame(0x99, b"\1"))
            self.flushed = True

    # ---- Methods

    def ask(self, service, data, answer, before=(), type_=None):
        message = self.request(model.METHOD, service, data, type_=type_)
        self.compare("question", self.daemon.chip.next_frame(),
                     self.model.question(service, model.padded(data, model.REPLY)))
        lines = []
        for frame in (*before, answer):
            lines += self.model.unsolicited(frame)
            self.answer(frame)
        result, payload, own_lines = self.model.answered(service, answer)
        self.compare_result(message, (result, payload))
        self.compare_log(lines + own_lines)

    @rule(data=st.data(), service=st.sampled_from(sorted(model.QUERIES)), request=requests)
    def query(self, data, service, request):
        self.ask(service, request, data.draw(answers(model.QUERIES[service].type)))

    @rule(data=st.data(), service=st.sampled_from(sorted(model.DIRECT)),
          other=st.integers(0x06, 0xFF), body=bodies)
    def query_after_a_frame_of_another_type(self, data, service, other, body):
        query = model.DIRECT[service]
        hypothesis.assume(other != query.type)
        self.ask(service, b"", data.draw(answers(query.type)), before=[model.frame(other, body)])

    @rule(data=st.data(), service=st.sampled_from(sorted(model.DIRECT)), type_=st.integers(0, 5),
          body=bodies)
    def query_with_an_event_in_between(self, data, service, type_, body):
        hypothesis.assume(type_ != 3)
        answer = data.draw(answers(model.DIRECT[service].type))
        self.ask(service, b"", answer, before=[model.frame(type_, body)])

    @rule(body=bodies)
    def late_answer(self, body):
        """An answer of a type that nobody waits for is kept for nobody."""
        Comparison.steps += 1
        self.daemon.chip.send(model.frame(0x84, body))
        self.flushed = False
        self.flush()
        self.ask("get.time", b"", model.frame(0x84, b""))

    @rule(service=st.sampled_from(["get.time", "get.alarm"]), chance=st.integers(0, 19))
    def silence(self, service, chance):
        hypothesis.assume(chance == 0)  # it takes a second
        message = self.request(model.METHOD, service, b"")
        self.compare("question", self.daemon.chip.next_frame(), self.model.question(service, b""))
        result, payload, lines = self.model.unanswered(service)
        self.compare_result(message, (result, payload))
        self.compare_log(lines)

    @rule(service=st.sampled_from([*model.EMPTY, "get.wifi.info", "get.allwakeup.info"]),
          request=requests, type_=st.sampled_from([1, 2, 0xFFFFFFFF]))
    def local(self, service, request, type_):
        self.flush()
        message = self.request(model.METHOD, service, request, type_=type_)
        result, payload, lines = self.model.local(service)
        self.compare_result(message, (result, payload))
        self.compare_log(lines)

    @rule()
    def time_since_start(self):
        self.request(model.METHOD, "get.socup.time", b"")
        seen = self.daemon.peer.result()
        self.compare("result", RECORD.unpack(seen)[6:8], (12, 12))
        self.compare("times", seen[212:220], self.model.context[60:68])

    @rule(status=byte)
    def system(self, status):
        message = self.request(model.METHOD, "get.system", f"exit {status}".encode() + b"\0x")
        text = str(status << 8).encode()
        self.compare_result(message, (len(text), text))

    @rule(count=st.integers(0, 5000))
    def popen(self, count):
        message = self.request(model.METHOD, "get.popen",
                               f"head -c {count} /dev/zero | tr '\\0' x".encode())
        size = min(count, model.REPLY)
        self.compare_result(message, (size, b"x" * size))

    @rule(data=st.data(), block=st.binary(max_size=40), count=st.integers(0, 300), last=byte)
    def upgrade_block(self, data, block, count, last):
        request = model.padded(block, 4) + struct.pack("<I", count) + model.padded(
            block, 256) + bytes([last])
        accepted = model.frame(0x90, b"\0\0\0\0\xa1")
        answer = data.draw(st.one_of(st.just(accepted), answers(0x90)))
        self.ask("upg.transmit", request, answer)

    @rule()
    def upgrade_finish(self):
        message = self.request(model.METHOD, "upg.finish", b"")
        self.compare("frame", self.daemon.chip.next_frame(), model.frame(0x91, b""))
        self.compare_result(message, (4, bytes(4)))

    @rule(services=st.lists(st.sampled_from(sorted(model.DIRECT)), min_size=2, max_size=6),
          bodies_=st.lists(bodies, min_size=6, max_size=6))
    def several_at_once(self, services, bodies_):
        """The chip is asked one thing at a time, in any order; results go by their numbers."""
        self.flush()
        waiting = {}
        begin = time.monotonic()  # the first one is asked while the others are sent
        for service in services:
            message = self.request(model.METHOD, service, b"")
            waiting[self.number] = (service, message)
        self.asked_at = begin
        payloads = {}
        asked = []
        for body in bodies_[: len(services)]:
            question = self.daemon.chip.next_frame()
            service = next(name for name in model.DIRECT if model.DIRECT[name].type == question[0])
            answer = model.frame(question[0], body)
            asked.append(service)
            payloads.setdefault(service, []).append(self.model.answered(service, answer)[1])
            self.answer(answer)
            self.asked_at = time.monotonic()  # the next one is asked now
        self.compare("questions", sorted(asked), sorted(services))
        for _ in services:
            fields = RECORD.unpack(self.daemon.peer.result())
            if fields[1] not in waiting:
                raise Difference(f"a result of number {fields[1]}, which nobody asked for")
            service, _ = waiting.pop(fields[1])
            self.compare("name and length", (fields[5].split(b"\0")[0], fields[6], fields[7]),
                         ((model.METHOD + service).encode(), *[model.DIRECT[service].size] * 2))
            payload = fields[8][: model.PAYLOAD]
            if payload not in payloads[service]:
                if self.proves_nothing():
                    hypothesis.reject()
                raise Difference(f"{service}: {payload!r} is none of {payloads[service]!r}")
            payloads[service].remove(payload)
        self.compare_log([])

    # ---- Signals

    @rule(service=st.sampled_from(sorted(model.COMMANDS)), request=requests)
    def command(self, service, request):
        self.request(model.SIGNAL, service, request)
        frames, lines = self.model.command(service, model.padded(request, model.REPLY), 0)
        for frame in frames:
            self.compare("frame", self.daemon.chip.next_frame(), frame)
        self.compare_log(lines)

    @rule(request=requests, length=st.one_of(
        st.integers(0, 400), st.sampled_from([0x7FFFFFFF, 0x80000000, 0xFFFFFFFF])))
    def raw_command(self, request, length):
        self.request(model.SIGNAL, "set.cmd", request, length)
        frames, lines = self.model.command("set.cmd", model.padded(request, model.REPLY), length)
        for frame in frames:
            self.compare("frame", self.daemon.chip.next_frame(), frame)
        self.compare_log(lines)

    @rule(first=byte)
    def log_profile(self, first):
        self.request(model.SIGNAL, "set.log.profile", bytes([first, 1]))
        self.compare_log(self.model.command("set.log.profile", b"", 0)[1])

    # ---- Records that nobody answers

    @rule(what=st.sampled_from(["magic", "unknown", "kind", "prefix"]), request=requests)
    def unanswered_record(self, what, request):
        Comparison.steps += 1
        name = {"unknown": "method.quon.mcu.get.nothing", "kind": "signal.quon.mcu.set.led",
                "prefix": "method.quon.mcu.get.tim"}.get(what, "method.quon.mcu.get.time")
        magic = HEAD ^ 1 if what == "magic" else HEAD
        self.daemon.peer.send(record(1, name, request, magic=magic))
        self.ask("get.time", b"", model.frame(0x84, request[:10]))
        if self.daemon.chip.waiting() or not self.daemon.peer.silent():
            raise Difference(f"a record with a wrong {what} is answered")

    @rule()
    def another_connection(self):
        self.daemon.restarted_peer()

    # ---- The chip speaks

    def event(self, frame):
        lines = self.model.unsolicited(frame)
        Comparison.steps += 1
        if OPTIONS.plant == "order" and self.held_event is None:
            self.held_event = frame
        elif OPTIONS.plant == "lost" and len(self.model.events) == 3:
            pass
        else:
            self.daemon.chip.send(frame)
            if self.held_event is not None:
                self.daemon.chip.send(self.held_event)
                self.held_event = b""
        self.flushed = False
        if lines:
            self.compare_log(lines)

    @rule(type_=st.sampled_from([0, 1, 2, 4, 5]), body=bodies, length=declared)
    def plain_event(self, type_, body, length):
        self.event(model.frame(type_, body, length))

    @rule(state=st.integers(0, 3), ip=octets, gateway=octets, mac=macs, dns=octets, second=octets)
    def network_event(self, state, ip, gateway, mac, dns, second):
        network = ip + b"\xff\xff\xff\0" + gateway + mac + dns + second
        self.event(model.frame(0x03, bytes([0, state]) + network))
        if state in (1, 2):
            self.settle()

    @rule()
    def poll_event(self):
        self.flush()
        message = self.request(model.METHOD, "get.event.info", b"")
        result, payload, lines = self.model.local("get.event.info")
        self.compare_result(message, (result, payload))
        self.compare_log(lines)


def search(seed, shrink):
    """Some runs of random steps. Raises the shortest difference that it finds."""
    phases = [hypothesis.Phase.generate] + ([hypothesis.Phase.shrink] if shrink else [])
    settings = hypothesis.settings(
        max_examples=RUNS_OF_ONE_SEARCH, stateful_step_count=STEPS_OF_ONE_RUN,
        deadline=None, database=None, phases=phases, print_blob=False,
        suppress_health_check=list(hypothesis.HealthCheck))
    run_state_machine_as_test(hypothesis.seed(seed)(Comparison), settings=settings)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--daemon", required=True)
    parser.add_argument("--chip-link", required=True)
    parser.add_argument("--steps", type=int, default=1000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--plant", choices=PLANTS)
    parser.parse_args(namespace=OPTIONS)
    start = time.monotonic()
    searches = 0
    try:
        while Comparison.steps < OPTIONS.steps:
            search(OPTIONS.seed * SEARCHES_OF_ONE_SEED + searches, OPTIONS.plant is None)
            searches += 1
    except Difference as difference:
        print(f"{Comparison.steps} steps, then a difference: {difference}")
        print("\n".join(getattr(difference, "__notes__", [])))
        print(f"seed {OPTIONS.seed}, search {searches}")
        return 0 if OPTIONS.plant else 1
    except hypothesis.errors.Flaky:
        print(f"{Comparison.steps} steps, then a difference that did not come again: {Difference.last}")
        print(f"seed {OPTIONS.seed}, search {searches}")
        return 0 if OPTIONS.plant else 1
    seconds = time.monotonic() - start
    print(f"{Comparison.steps} steps in {seconds:.0f} s, no difference")
    return 1 if OPTIONS.plant else 0


if __name__ == "__main__":
    sys.exit(main())
