#!/usr/bin/env python3
"""The rounds of scripts/bench, its table and its pictures. Runs in a private world."""

import argparse
import json
import os
import pathlib
import platform
import re
import statistics
import sys
import time

import charts
import measures
import rows

CURVES = {"in_flight": "calls in flight on one connection", "connections": "connections, one call each",
          "payload": "bytes of payload, 20 calls in flight"}
QUICK_ROUNDS = 3
FIGURES = {"calls_per_second": "calls a second", "p50_us": "p50, us", "p99_us": "p99, us"}


def machine():
    processors = re.findall(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(),
                            re.MULTILINE)
    system = re.search(r'^PRETTY_NAME="(.*)"$', pathlib.Path("/etc/os-release").read_text(),
                       re.MULTILINE)
    return {"processor": processors[0] if processors else platform.machine(),
            "cores": len(os.sched_getaffinity(0)), "kernel": platform.release(),
            "system": system[1] if system else "", "load_before": os.getloadavg()[0]}


def run_rounds(bench, count, subjects, once=()):
    """The figures of each round; those that are taken once are of the first."""
    rounds = []
    for number in range(count):
        figures = {}
        for subject in [*(once if number == 0 else ()), *subjects]:
            begin = time.monotonic()
            figures |= subject(bench)
            print(f"round {number + 1} of {count}: {subject.__name__} "
                  f"({time.monotonic() - begin:.1f} s)", file=sys.stderr, flush=True)
        rounds.append(figures)
    return rounds


def spread(values):
    return {"median": statistics.median(values), "min": min(values), "max": max(values)}


def of_all_rounds(rounds, name):
    return spread([figures[name] for figures in rounds])


def evaluate(row, rounds):
    shown = {"title": row.title, "unit": row.unit, "goal": row.goal or None,
             "more_is_better": row.more_is_better}
    for side in ("ours", "floor", "peer"):
        if getattr(row, side):
            shown[side] = of_all_rounds(rounds, getattr(row, side))
    if row.ratio:
        above, below = row.ratio
        shown["ratio"] = spread([figures[above] / figures[below] for figures in rounds])
    value = shown["ratio" if row.ratio else "ours"]["median"]
    shown["met"] = row.is_met(value) if row.goal else None
    shown["bad"] = row.is_bad(value)
    return shown


def run_quick(bench, subjects, chosen, count):
    """The rounds and the results. What is far from its goal is measured again, and then it counts:
    for a moment a busy machine may have left one side behind."""
    rounds = run_rounds(bench, count, subjects.values())
    results = [evaluate(row, rounds) for row in chosen]
    bad = sorted({row.subject for row, shown in zip(chosen, results) if shown["bad"]})
    if bad:
        again = run_rounds(bench, count, [subjects[name] for name in bad])
        results = [evaluate(row, again) if shown["bad"] else shown
                   for row, shown in zip(chosen, results)]
        rounds += again
    return rounds, results


def figure(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def figures_in_words(shown):
    if shown is None:
        return ""
    low, high = figure(shown["min"]), figure(shown["max"])
    return f"{figure(shown['median'])} ({low}..{high})"


def table(results):
    """As a Markdown table."""
    lines = ["| | unit | ours | floor | peer | ratio | goal | |",
             "|---|---|---|---|---|---|---|---|"]
    for shown in results:
        ratio = shown.get("ratio")
        words = f"{ratio['median']:.2f} ({ratio['min']:.2f}..{ratio['max']:.2f})" if ratio else ""
        goal = f"{shown['goal']:g}" if shown["goal"] else ""
        outcome = {True: "met", False: "missed", None: ""}[shown.get("met")]
        sides = (figures_in_words(shown.get(side)) for side in ("ours", "floor", "peer"))
        lines.append(f"| {shown['title']} | {shown['unit']} | {' | '.join(sides)} | {words} | "
                     f"{goal} | {outcome} |")
    return "\n".join(lines)


def sweep_points(rounds, curve, name):
    pattern = re.compile(rf"sweep\.{curve}\.(\d+)\.{name}$")
    xs = sorted(int(found[1]) for key in rounds[0] if (found := pattern.match(key)))
    return [(x, *(of_all_rounds(rounds, f"sweep.{curve}.{x}.{name}")[part]
                  for part in ("min", "median", "max"))) for x in xs]


def write_pictures(folder, rounds, results):
    goals = [(shown["title"], shown["ratio"]["median"], shown["goal"]) for shown in results
             if shown["goal"] and "ratio" in shown]
    (folder / "goals.svg").write_text(charts.bars("Ratios and their goals", goals))
    for curve, x_label in CURVES.items():
        for name, y_label in FIGURES.items():
            picture = charts.curve(f"{y_label} against {x_label}", x_label, y_label,
                                   sweep_points(rounds, curve, name))
            (folder / f"{curve}-{name}.svg").write_text(picture)


def other_figures(rounds):
    """What stands in no row: the pieces and the system calls."""
    return {name: spread([figures[name] for figures in rounds if name in figures])
            for name in rounds[0] if name.startswith(("piece.", "syscalls.", "event.overtaken"))}


def judge(results):
    bad = [shown for shown in results if shown.get("bad")]
    for shown in bad:
        print(f"bench: {shown['title']}: ratio {shown['ratio']['median']:.2f}, measured twice, is "
              f"worse than its goal {shown['goal']:g} by more than half", file=sys.stderr)
    return 1 if bad else 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("output", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--rounds", type=int, default=5)
    given = parser.parse_args()
    bench = measures.Bench(given.build, given.quick)
    about = machine()
    begin = time.monotonic()
    if given.quick:
        chosen = [row for row in rows.ROWS if row.quick]
        rounds, results = run_quick(bench, measures.QUICK, chosen, QUICK_ROUNDS)
    else:
        rounds = run_rounds(bench, given.rounds, measures.FULL, measures.ONCE)
        results = [evaluate(row, rounds) for row in rows.ROWS]
    print(table(results))
    about |= {"load_after": os.getloadavg()[0], "seconds": round(time.monotonic() - begin),
              "rounds": len(rounds)}
    given.output.mkdir(parents=True, exist_ok=True)
    result = {"machine": about, "rows": results, "other": other_figures(rounds), "rounds": rounds}
    name = "quick.json" if given.quick else "bench.json"
    (given.output / name).write_text(json.dumps(result, indent=1) + "\n")
    if given.quick:
        return judge(results)
    (given.output / "table.md").write_text(table(results) + "\n")
    write_pictures(given.output, rounds, results)
    return 0


if __name__ == "__main__":
    sys.exit(main())
