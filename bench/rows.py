"""The table of scripts/bench: which figures make a row, and its goal."""

import dataclasses

from measures import LARGE, PEERS, SMALL


@dataclasses.dataclass
class Row:
    """`ratio` is what the goal is about: two names of figures, the first divided by the second.
    Without one it is about `ours`."""

    title: str
    unit: str
    ours: str
    floor: str = ""
    peer: str = ""
    ratio: tuple = ()
    goal: float = 0.0  # 0: none
    more_is_better: bool = False
    quick: bool = False

    def is_met(self, value):
        return value >= self.goal if self.more_is_better else value <= self.goal

    @property
    def subject(self):
        return self.ours.split(".")[0]

    def is_bad(self, value):
        """Worse than the goal by more than half."""
        if not self.goal:
            return False
        return value < self.goal / 1.5 if self.more_is_better else value > self.goal * 1.5


def _one_caller():
    yield Row("round trip, one caller, one core, beside records alone", "us", "round_trip.ours",
              "round_trip.floor", ratio=("round_trip.ours", "round_trip.floor"), goal=1.03,
              quick=True)
    yield Row("the same through the client library", "us", "round_trip.library", "round_trip.floor",
              ratio=("round_trip.library", "round_trip.floor"))
    for size in (SMALL, LARGE):
        for name in PEERS:
            ours = f"call.{size}.ours_beyond_pause"
            yield Row(f"round trip of {size} bytes but for the pause, beside {name}", "us", ours,
                      f"call.{size}.floor_without_pause", f"call.{size}.{name}",
                      ratio=(ours, f"call.{size}.{name}"))


def _one_way():
    yield Row("signals a second, beside a thread for each record", "1/s", f"one_way.{SMALL}.ours",
              f"one_way.{SMALL}.floor",
              ratio=(f"one_way.{SMALL}.ours", f"one_way.{SMALL}.floor"), goal=1.0,
              more_is_better=True, quick=True)
    for size in (SMALL, LARGE):
        for name in PEERS:
            ours, peer = f"one_way.{size}.ours", f"one_way.{size}.{name}"
            wanted = size == LARGE and name == "sd-bus, dbus-daemon"
            yield Row(f"records of {size} bytes one way a second, beside {name}", "1/s", ours,
                      f"one_way.{size}.floor", peer, ratio=(ours, peer),
                      goal=1.6 if wanted else 0.0, more_is_better=True)


def _stacks():
    for connections, each, goal in ((1, 200, 3.0), (1, 50, 1.75), (10, 5, 1.6)):
        load, name = f"{connections} x {each} in flight", f"stack.{connections}x{each}"
        yield Row(f"calls a second, {load}, beside default stacks", "1/s", f"{name}.small.calls",
                  peer=f"{name}.default.calls",
                  ratio=(f"{name}.small.calls", f"{name}.default.calls"), goal=goal,
                  more_is_better=True)
        yield Row(f"processor time of a call, {load}: default stacks beside ours", "us",
                  f"{name}.small.cpu", peer=f"{name}.default.cpu",
                  ratio=(f"{name}.default.cpu", f"{name}.small.cpu"), more_is_better=True)
        yield Row("the same of a bare thread for each record", "us", f"{name}.bare.cpu",
                  peer=f"{name}.bare_default.cpu",
                  ratio=(f"{name}.bare_default.cpu", f"{name}.bare.cpu"), more_is_better=True)
        yield Row("ours, beside a bare thread for each record", "us", f"{name}.small.cpu",
                  f"{name}.bare.cpu", ratio=(f"{name}.small.cpu", f"{name}.bare.cpu"))


def _under_load():
    for connections, each in ((1, 1000), (10, 100)):
        ours = f"load.{connections}x{each}.calls"
        yield Row(f"calls a second, {connections} x {each} in flight, beside the best depth", "1/s",
                  ours, f"load.best.{connections}", ratio=(ours, f"load.best.{connections}"),
                  goal=0.75, more_is_better=True, quick=True)
    yield Row("p99 at 1 x 1000 in flight", "us", "load.1x1000.p99", goal=130_000.0)
    yield Row("processor time of a call, 500 in flight beside 20", "us", "load.cpu.500",
              "load.cpu.20", ratio=("load.cpu.500", "load.cpu.20"), goal=1.3, quick=True)
    yield Row("RSS 1.5 s after 1000 in flight, beside before", "kB", "storm.settled",
              "storm.before", ratio=("storm.settled", "storm.before"), goal=1.3)


def _programs():
    service = "dbus-daemon with an sd-bus service"
    for title, figure, goal in (("exec to a peer's connection", "to_connect_us", 4.5),
                                ("exec to the first answer", "to_answer_us", 2.5)):
        yield Row(f"{title}: {service}, beside ours", "us", f"start.ours.{figure}",
                  peer=f"start.peer.{figure}",
                  ratio=(f"start.peer.{figure}", f"start.ours.{figure}"), goal=goal,
                  more_is_better=True, quick=True)
    for title, figure, goal in (("RSS idle", "idle_kib", 0.25),
                                ("RSS with 10 callers", "with_callers_kib", 0.27)):
        yield Row(f"{title}, beside {service}", "kB", f"start.ours.{figure}",
                  peer=f"start.peer.{figure}",
                  ratio=(f"start.ours.{figure}", f"start.peer.{figure}"), goal=goal, quick=True)
    yield Row("quon-mcu get time, exec to exit, beside a bare C client", "us", "client.ours",
              "client.bare", ratio=("client.ours", "client.bare"), goal=1.5, quick=True)
    yield Row("hi3861l-sim run -- true, exec to exit, beside a bare private world", "us",
              "world.ours", "world.bare", goal=150_000.0)


def _chip():
    yield Row("chip exchange within a call, beside the chip's answer alone", "us", "chip.exchange",
              "chip.bare", ratio=("chip.exchange", "chip.bare"))
    yield Row("event frame to a peer's hands, beside a call without the chip", "us",
              "event.to_peer", "chip.call_without", ratio=("event.to_peer", "chip.call_without"))
    yield Row("call during a network update, beside its commands alone", "us", "update.delayed",
              "update.commands", ratio=("update.delayed", "update.commands"))
    yield Row("wake-up, exec to the server's connection, beside its steps alone", "us",
              "wake_up.whole", "wake_up.steps", ratio=("wake_up.whole", "wake_up.steps"))


ROWS = [*_one_caller(), *_one_way(), *_stacks(), *_under_load(), *_programs(), *_chip()]
