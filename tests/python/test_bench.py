"""When scripts/bench --quick fails, with subjects that only say what they measured."""

import contextlib
import io
import unittest

import bench
import rows

FAST = rows.Row("calls", "1/s", "calls.ours", ratio=("calls.ours", "calls.floor"), goal=3.0,
                more_is_better=True)
SMALL = rows.Row("memory", "kB", "memory.ours", ratio=("memory.ours", "memory.floor"), goal=1.5)
ROUNDS = 3


class Subjects:
    """Each round takes the next of the given ratios, the last one again and again."""

    def __init__(self, **ratios):
        self.counts = dict.fromkeys(ratios, 0)
        self.by_name = {name: self._subject(name, values) for name, values in ratios.items()}

    def _subject(self, name, values):
        def subject(_bench):
            value = values[min(self.counts[name], len(values) - 1)]
            self.counts[name] += 1
            return {f"{name}.ours": value, f"{name}.floor": 1.0}
        return subject


def run(calls, memory):
    """The exit status, what was said about it, and the rounds of each subject."""
    subjects = Subjects(calls=calls, memory=memory)
    said = io.StringIO()
    with contextlib.redirect_stderr(io.StringIO()):
        _, results = bench.run_quick(None, subjects.by_name, [FAST, SMALL], ROUNDS)
    with contextlib.redirect_stderr(said):
        status = bench.judge(results)
    return status, said.getvalue(), subjects.counts


class TheQuickRun(unittest.TestCase):
    def test_passes_up_to_half_worse_than_its_goals(self):
        self.assertEqual(run([2.0], [2.25]), (0, "", {"calls": 3, "memory": 3}))

    def test_fails_when_fewer_calls_come_twice(self):
        status, said, counts = run([1.99], [1.0])
        self.assertEqual(status, 1)
        self.assertEqual(said, "bench: calls: ratio 1.99, measured twice, is worse than its goal 3 "
                               "by more than half\n")
        self.assertEqual(counts, {"calls": 6, "memory": 3})

    def test_fails_when_memory_grows_twice(self):
        status, said, _ = run([3.0], [2.26])
        self.assertEqual((status, said.count("\n")), (1, 1))
        self.assertIn("memory: ratio 2.26", said)

    def test_names_each_row_that_fails(self):
        status, said, _ = run([1.0], [9.0])
        self.assertEqual((status, said.count("\n")), (1, 2))

    def test_takes_one_bad_round_of_three_for_chance(self):
        self.assertEqual(run([0.1, 3.0], [1.0]), (0, "", {"calls": 3, "memory": 3}))

    def test_measures_a_bad_row_again_and_then_passes(self):
        self.assertEqual(run([0.1, 0.1, 0.1, 3.0], [1.0]), (0, "", {"calls": 6, "memory": 3}))


class ARowWithoutARatio(unittest.TestCase):
    def test_is_held_to_the_figure_itself(self):
        row = rows.Row("p99", "us", "p99.ours", goal=130.0)
        for figure, met in ((130.0, True), (131.0, False)):
            self.assertIs(bench.evaluate(row, [{"p99.ours": figure}])["met"], met)


if __name__ == "__main__":
    unittest.main()
