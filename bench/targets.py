# SPDX-License-Identifier: BSD-2-Clause
"""What is to be reached, and whether it was."""

import statistics
from dataclasses import dataclass

KIB = 1024
# Where allocations are counted, see run.py.
ALLOCATION_SIZES = (1_000, 10_000)
# Cases whose sizes are compared with each other, and are measured in turns for it.
SIZES_TAKE_TURNS = ("request by key",)
# What the names of contenders that are not the library begin with.
OTHERS = ("printf", "to_chars", "xmlTextWriter", "libyang", "RapidJSON", "jansson", "memcpy")


@dataclass
class Target:
    """A line of the table of targets. `measured` is None where the run had no such case."""
    case: str
    at_most: float
    measured: float | None
    unit: str = ""

    @property
    def verdict(self):
        if self.measured is None:
            return "not measured"
        return "reached" if self.measured <= self.at_most else "not reached"


class Rows:
    """The rows of a run by what they measure."""

    def __init__(self, rows):
        self.all = rows
        self.by_name = {(row.case, row.contender, row.size): row for row in rows}
        self.largest = {}
        for row in rows:
            self.largest[row.case] = max(row.size, self.largest.get(row.case, 0))
        self.collects = any(row.contender.endswith(", collected") for row in rows)

    def at(self, case, contender, size=None):
        return self.by_name.get((case, contender, size or self.largest.get(case)))

    def ratio(self, one, other):
        """Of two rows' times, in the rounds that they ran side by side where they did."""
        if one is None or other is None:
            return None
        if one.case == other.case and (one.size == other.size or one.case in SIZES_TAKE_TURNS):
            return ratio_of_rounds(one, other)
        return one.ns / other.ns if one.ns and other.ns else None

    def allocations_per_leaf(self, case, contender):
        """What each further leaf costs: the difference between two sizes, without what a request
        costs however small."""
        small, large = (self.at(case, contender, size) for size in ALLOCATION_SIZES)
        if small is None or large is None:
            return None
        growth = large.allocations * large.size - small.allocations * small.size
        return max(0.0, round(growth / (large.size - small.size), 6))


def ratio_of_rounds(row, base):
    """The median of the ratios within each round; None when times are too short to tell."""
    pairs = [(one["ns"], other["ns"]) for one, other in zip(row.rounds, base.rounds)]
    if any(one == 0 or other == 0 for one, other in pairs):
        return None
    return statistics.median(one / other for one, other in pairs)


def judge(rows):
    rows = Rows(rows)
    # What a daemon may choose is measured that way; the default is held to its own limit.
    chosen = "library, collected" if rows.collects else "library"
    targets = []
    for words in ("XML", "JSON"):
        case = f"routes to {words}"
        printf = rows.at(case, "printf")
        targets.append(Target(f"{words}, collected sends, against printf", 1.0, rows.ratio(
            rows.at(case, "library, collected"), printf)))
        targets.append(Target(f"{words}, single sends, against printf", 2.0, rows.ratio(
            rows.at(case, "library"), printf)))
    case = "routes to XML"
    for words, other, limit in (("xmlTextWriter", "xmlTextWriter", 0.3),
                                ("libyang build and print", "libyang tree", 0.07)):
        targets.append(Target(f"XML, against {words}", limit,
                              rows.ratio(rows.at(case, chosen), rows.at(case, other))))
    return targets + judge_requests(rows) + judge_walks(rows) + judge_memory(rows)


def judge_requests(rows):
    case = "request by key"
    collected = ", collected" if rows.collects else ""
    seeking = f"seeking{collected}"
    return [
        Target("request by key, seeking: 1,000,000 routes against 1,000", 1.1,
               rows.ratio(rows.at(case, seeking, 1_000_000), rows.at(case, seeking, 1_000))),
        Target("request by key, seeking, against libyang", 1.0,
               rows.ratio(rows.at(case, seeking), rows.at(case, "libyang"))),
        Target("request by key, seeking, a new filter each time, against libyang", 1.0,
               rows.ratio(rows.at(case, f"seeking, new filter{collected}"),
                          rows.at(case, "libyang"))),
    ]


def judge_walks(rows):
    targets = []
    for sends in ("", ", collected") if rows.collects else ("",):
        targets.append(Target(f"filter that 1 % matches{sends}, against the unfiltered walk", 1.0,
                              rows.ratio(rows.at("filter", f"1 % matches{sends}"),
                                         rows.at("filter", f"unfiltered{sends}"))))
        targets.append(Target(f"deferral every 100 leaves{sends}, against none", 1.05,
                              rows.ratio(rows.at("deferral", f"every 100 leaves{sends}"),
                                         rows.at("deferral", f"none{sends}"))))
    return targets


def judge_memory(rows):
    own = [row for row in rows.all if row.peak is not None and is_library(row)]
    peak = max((row.peak for row in own), default=None)
    targets = [Target("peak memory above the data's own, any case and size", 256,
                      None if peak is None else peak / KIB, "KiB")]
    for case, limit in (("values of 4 bytes", 0), ("long values", 1)):
        targets.append(Target(f"allocations per leaf, {case}", limit,
                              rows.allocations_per_leaf(case, "library")))
    return targets


def is_library(row):
    return not row.contender.startswith(OTHERS)
