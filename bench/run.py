#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Runs the measure: run.py BUILD_DIR [options], see --help.

Every number comes from a process of its own that measures one case with one contender at one size
(render_bench). The contenders of a case take turns, round after round; a time is the median of the
rounds, a ratio the median of the ratios within a round. Documents are compared before anything is
measured: a contender that renders something else is an error.
"""

import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
from dataclasses import asdict, dataclass, field

import documents
import machine
import report
import targets

# The sizes of each case: rows of its table, or daemons of its merged schema.
SIZES = {
    "routes to XML": (100, 10_000, 1_000_000),
    "routes to JSON": (100, 10_000, 1_000_000),
    "routes in forms": (10_000, 1_000_000),
    "routes to a table": (10_000, 1_000_000),
    "routes with key": (10_000, 1_000_000),
    "own formatter": (10_000,),
    "values of 4 bytes": targets.ALLOCATION_SIZES,
    "long values": targets.ALLOCATION_SIZES,
    "request by key": (1_000, 1_000_000),
    "distinct filters": (1_000,),
    "filter": (10_000, 1_000_000),
    "deferral": (10_000, 1_000_000),
    "16 levels": (1_000,),
    "100 leaves a row": (100,),
    "merged schema": (50,),
}
# What stands below the line of a ratio where there is no hand-written printf.
BASELINES = {"routes in forms": "XML", "filter": "unfiltered", "deferral": "none",
             "request by key": "libyang"}
# Instructions are counted at sizes that callgrind gets through.
MOST_COUNTED = 10_000
QUICK_SIZE = 64


@dataclass
class Row:
    """A line of the table."""
    case: str
    contender: str
    unit: str
    size: int
    layout: str
    ns: float = 0
    ratio: float | None = None
    bytes_per_second: float = 0
    peak: int | None = None
    allocations: float = 0
    instructions: float | None = None
    rounds: list = field(default_factory=list)


class Bench:
    """The programs of a build directory."""

    def __init__(self, build):
        self.render = build / "bin" / "render_bench"
        self.load = build / "bin" / "load_bench"

    def run(self, verb, row, *more, wrapper=()):
        command = [*wrapper, self.render, verb, row.case, row.contender, str(row.size), *more]
        done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, check=True)
        return json.loads(done.stdout)

    def scenarios(self):
        done = subprocess.run([self.render, "list"], stdout=subprocess.PIPE, check=True)
        return [json.loads(line) for line in done.stdout.splitlines()]

    def output(self, row):
        """A process that writes what `row` renders to its standard output."""
        return subprocess.Popen([self.render, "write", row.case, row.contender, str(row.size)],
                                stdout=subprocess.PIPE)

    def instructions(self, row):
        with tempfile.NamedTemporaryFile(suffix=".callgrind") as file:
            wrapper = ("valgrind", "-q", "--tool=callgrind", "--collect-atstart=no",
                       f"--callgrind-out-file={file.name}")
            units = self.run("count", row, wrapper=wrapper)["units"]
            text = pathlib.Path(file.name).read_text("utf-8")
        return int(re.search(r"^(?:summary|totals): (\d+)", text, re.MULTILINE)[1]) / units


def make_groups(bench, options):
    """The rows that take turns: those of one case and size, or of all its sizes."""
    scenarios = bench.scenarios()
    groups = []
    for case in dict.fromkeys(scenario["case"] for scenario in scenarios):
        if not re.search(options.only, case):
            continue
        sizes = SIZES[case]  # a quick run, too, finds out that there are none
        tables = [[Row(s["case"], s["contender"], s["unit"], size, s["layout"])
                   for s in scenarios if s["case"] == case]
                  for size in ([QUICK_SIZE] if options.quick else sizes)
                  if size <= options.most]
        groups += [sum(tables, [])] if case in targets.SIZES_TAKE_TURNS else tables
    return groups


def measure_group(bench, group, options):
    """Every other round goes backwards, so that nobody always comes after the same neighbour."""
    for number in range(options.rounds):
        for row in group if number % 2 == 0 else reversed(group):
            report.progress(f"{row.case}, {row.size}, round {number + 1}: {row.contender}")
            row.rounds.append(bench.run("measure", row, str(options.seconds)))
    bases = {row.size: row for row in group
             if row.contender == BASELINES.get(row.case, "printf")}
    for row in group:
        report.progress(f"{row.case}, {row.size}: {row.contender}")
        summarise(bench, row, bases.get(row.size), options)


def summarise(bench, row, base, options):
    row.ns = statistics.median(each["ns"] for each in row.rounds)
    row.allocations = statistics.median(each["allocations"] for each in row.rounds)
    row.bytes_per_second = 1e9 * row.rounds[0]["bytes"] / row.ns if row.ns else 0
    row.peak = bench.run("memory", row)["peak"]
    if base is not None:
        row.ratio = targets.ratio_of_rounds(row, base)
    if options.instructions and row.size <= MOST_COUNTED:
        row.instructions = bench.instructions(row)


def measure_load(bench, options):
    """Loading and merging definitions, which has a program of its own."""
    files = 5 if options.quick else 500
    command = [bench.load, f"--benchmark_filter=(jansson_alone|load_and_merge)/files:{files}/",
               f"--benchmark_min_time={options.seconds}", "--benchmark_format=json",
               f"--benchmark_repetitions={options.rounds}"]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    times = {}
    for entry in json.loads(done.stdout)["benchmarks"]:
        if entry["run_type"] == "iteration":
            times.setdefault(entry["name"].split("/")[0], []).append(entry["ns_per_tag"])
    rows = []
    for name, contender in (("load_and_merge", "library"), ("jansson_alone", "jansson, parsing")):
        row = Row("load and merge", contender, "tag", files * 2000, "")
        row.ns = statistics.median(times[name])
        row.ratio = row.ns / statistics.median(times["jansson_alone"])
        rows.append(row)
    return rows


def parse_options():
    parser = argparse.ArgumentParser(description="Measures rendering against other ways to do it.")
    parser.add_argument("build", type=pathlib.Path, help="the build directory")
    parser.add_argument("--json", type=pathlib.Path, metavar="FILE",
                        help="write the results there, too")
    parser.add_argument("--only", default="", metavar="PATTERN", help="cases that match")
    parser.add_argument("--most", type=int, default=1_000_000, metavar="N", help="the largest size")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=float, default=0.2, help="the least time of a round")
    parser.add_argument("--no-instructions", dest="instructions", action="store_false",
                        help="without callgrind")
    parser.add_argument("--quick", action="store_true",
                        help="tiny sizes, two rounds: whether it all works, not how fast it is")
    options = parser.parse_args()
    if options.quick:
        options.rounds, options.seconds, options.instructions = 2, 0, False
    return options


def main():
    options = parse_options()
    bench = Bench(options.build)
    groups = make_groups(bench, options)
    errors = documents.check(bench, groups, report.progress)
    if errors:
        sys.exit("\n".join(errors))
    for group in groups:
        measure_group(bench, group, options)
    rows = [row for group in groups for row in group]
    if re.search(options.only, "load and merge"):
        rows += measure_load(bench, options)
    about = machine.describe(options.build)
    reached = targets.judge(rows)
    report.show(about, rows, reached)
    if options.json:
        results = {"machine": about, "rounds": options.rounds,
                   "rows": [asdict(row) for row in rows],
                   "targets": [asdict(target) for target in reached]}
        options.json.write_text(json.dumps(results, indent=2) + "\n", "utf-8")


if __name__ == "__main__":
    main()
