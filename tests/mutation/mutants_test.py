"""The faults that scripts/mutate plants, by kind, and the runner that looks whether a test notices."""

import os
import pathlib
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts/lib"))

import ctest_runner  # noqa: E402
import mutants  # noqa: E402


def changed(source, kind):
    return [mutant.applied(source) for mutant in mutants.mutants_of("a.cpp", source)
            if mutant.kind == kind]


class Faults(unittest.TestCase):
    ROWS = [
        ("comparison", "a == b", ["a != b"]),
        ("comparison", "a < b || c >= d", ["a <= b || c >= d", "a < b || c > d"]),
        ("comparison", "array<int, 3> x; p->y << 1", []),
        ("condition", "a && b || c", ["a || b || c", "a && b && c"]),
        ("sign", "a + b - c", ["a - b - c", "a + b + c"]),
        ("sign", "-1 + i++", ["-1 - i++"]),
        ("truth", "return true;", ["return false;"]),
        ("truth", "is_true", []),
        ("constant", "x = 0;", ["x = 1;"]),
        ("constant", "x = 0x10U;", ["x = 17U;", "x = 15U;"]),
        ("constant", "x = 1'000;", ["x = 1001;", "x = 999;"]),
        ("constant", "x1 = 1.5;", []),
        ("text", 'puts("ab %s\\n");', ['puts("xb %s\\n");']),
        ("statement", "{\n    lock(&m);\n    x = f(1);\n    i++;\n    break;\n    int y = 1;\n}",
         ["{\n    \n    x = f(1);\n    i++;\n    break;\n    int y = 1;\n}",
          "{\n    lock(&m);\n    \n    i++;\n    break;\n    int y = 1;\n}",
          "{\n    lock(&m);\n    x = f(1);\n    \n    break;\n    int y = 1;\n}",
          "{\n    lock(&m);\n    x = f(1);\n    i++;\n    \n    int y = 1;\n}"]),
        ("statement", "    return f(1);\n    const int x = 1;", []),
        ("arguments", "f(a, &b, c)", ["f(&b, a, c)"]),
        ("arguments", "f(a, a); f(int a, int b)", []),
    ]

    def test_of_each_kind(self):
        for kind, source, expected in self.ROWS:
            with self.subTest(kind=kind, source=source):
                self.assertEqual(sorted(changed(source, kind)), sorted(expected))

    def test_leave_comments_and_directives_alone(self):
        source = '// a == 1 "text"\n#define X (a == 1)\n/* true\n    f(a, b);\n */'
        self.assertEqual(list(mutants.mutants_of("a.cpp", source)), [])

    def test_know_their_line(self):
        mutant, = mutants.mutants_of("a.cpp", "a;\n\n  if (x == y) {\n")
        self.assertEqual((mutant.line, mutant.text, mutant.change),
                         (3, "if (x == y) {", "== -> !="))


def test_of(name, command, seconds=30.0, alone=False):
    return ctest_runner.Test(name, tuple(command), "/", frozenset(), seconds, alone, ())


class TheRunner(unittest.TestCase):
    def names(self, outcomes, passed):
        return sorted(outcome.test.name for outcome in outcomes if outcome.passed == passed)

    def test_tells_passed_from_failed(self):
        outcomes = ctest_runner.Runner(2).run(
            [test_of("good", ["true"]), test_of("bad", ["false"]),
             test_of("alone", ["true"], alone=True)], stop_at_failure=False)
        self.assertEqual(self.names(outcomes, True), ["alone", "good"])
        self.assertEqual(self.names(outcomes, False), ["bad"])

    def test_takes_one_that_does_not_end_for_failed(self):
        outcomes = ctest_runner.Runner(1).run([test_of("slow", ["sleep", "1000"], seconds=0.2)])
        self.assertEqual(self.names(outcomes, False), ["slow"])

    def test_ends_what_runs_at_the_first_failure(self):
        begin = time.monotonic()
        outcomes = ctest_runner.Runner(2).run(
            [test_of("slow", ["sleep", "1000"]), test_of("bad", ["false"])])
        self.assertEqual([outcome.test.name for outcome in outcomes], ["bad"])
        self.assertLess(time.monotonic() - begin, 500)

    def test_ends_what_a_test_has_left_behind(self):
        with tempfile.NamedTemporaryFile("r") as number:
            ctest_runner.Runner(1).run([test_of("parent", [
                "sh", "-c", f"setsid sleep 1000 & echo $! >{number.name}"])])
            left = int(number.read())
        with self.assertRaises(ProcessLookupError):
            os.kill(left, 0)


if __name__ == "__main__":
    unittest.main()
