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
        self.largest, self.smallest = {}, {}
        for row in rows:
            self.largest[row.case] = max(row.size, self.largest.get(row.case, 0))
            self.smallest[row.case] = min(row.size, self.smallest.get(row.case, row.size))

    def at(self, case, contender, size=None):
        return self.by_name.get((case, contender, size or self.largest.get(case)))

    def ratio(self, one, other):
        """Of two rows' times, in the rounds that they ran side by side where they did."""
        if one is None or other is None:
            return None
        if one.case == other.case and (one.size == other.size or one.case in SIZES_TAKE_TURNS):
            return ratio_of_rounds(one, other)
        return one.ns / other.ns if one.ns and other.ns else None

    def allocations_per_row(self, case, contender, of_each=True):
        """What each further row or leaf costs: the difference between the case's smallest size and
        its largest, without what a request costs however small. `of_each` is false
        where a unit is no row but a whole request. To three digits: a run has few requests of a
        million rows, and the first of them makes what is kept for the others."""
        small = self.at(case, contender, self.smallest.get(case))
        large = self.at(case, contender)
        if small is None or large is None or small.size == large.size:
            return None
        counts = [row.allocations * (row.size if of_each else 1) for row in (small, large)]
        return max(0.0, round((counts[1] - counts[0]) / (large.size - small.size), 3))


def ratio_of_rounds(row, base):
    """The median of the ratios within each round; None when times are too short to tell."""
    pairs = [(one["ns"], other["ns"]) for one, other in zip(row.rounds, base.rounds)]
    if any(one == 0 or other == 0 for one, other in pairs):
        return None
    return statistics.median(one / other for one, other in pairs)


def judge(rows):
    rows = Rows(rows)
    return judge_leaves(rows) + judge_forms(rows) + judge_requests(rows) + judge_walks(rows) + judge_memory(rows)


def judge_leaves(rows):
    targets = []
    for words in ("XML", "JSON"):
        case = f"routes to {words}"
        collected, single = rows.at(case, "library, collected"), rows.at(case, "library")
        targets += [
            Target(f"{words}, collected sends, against to_chars", 1.25,
                   rows.ratio(collected, rows.at(case, "to_chars"))),
            Target(f"{words}, single sends, against printf", 0.75,
                   rows.ratio(single, rows.at(case, "printf"))),
        ]
    xml, json = "routes to XML", "routes to JSON"
    for case, other, limit in ((json, "RapidJSON", 0.8), (xml, "xmlTextWriter", 0.3),
                               (xml, "libyang tree", 0.07), ("routes with key", "printf", 0.5),
                               ("16 levels", "printf", 0.3)):
        targets.append(Target(f"{case}, collected sends, against {other}", limit,
                              rows.ratio(rows.at(case, "library, collected"),
                                         rows.at(case, other))))
    table = rows.at("routes to a table", "library, collected")
    targets.append(Target("a table, collected sends, against XML", 1.5,
                          rows.ratio(table, rows.at(xml, "library, collected"))))
    return targets


def judge_forms(rows):
    case = "routes in forms"
    return [Target(f"{form}, collected sends, against {other}", 1.1,
                   rows.ratio(rows.at(case, f"{form}, collected"),
                              rows.at(case, f"{other}, collected")))
            for form, other in (("as-ietf-xml", "XML"), ("as-ietf-json", "as-json"),
                                ("as-json-lines", "as-json"))]


def judge_requests(rows):
    case, libyang = "request by key", rows.at("request by key", "libyang")
    seeking = "seeking, collected"
    return [
        Target("request by key, seeking: 1,000,000 routes against 1,000", 1.1,
               rows.ratio(rows.at(case, seeking, 1_000_000), rows.at(case, seeking, 1_000))),
        Target("request by key, seeking, against libyang", 0.33,
               rows.ratio(rows.at(case, seeking), libyang)),
        Target("request by key, seeking, a new filter each time, against libyang", 0.6,
               rows.ratio(rows.at(case, "seeking, new filter, collected"), libyang)),
        Target("20 of all routes beside a request for one", 20.0,
               beside(rows.at(case, "limit of 20, collected"), rows.at(case, seeking)), "us"),
        Target("request by key, a subtree filter against a path", 1.2,
               rows.ratio(rows.at(case, "seeking, subtree filter, collected"),
                          rows.at(case, seeking))),
    ]


def beside(row, base):
    """What a request costs more than another one, in microseconds."""
    return (row.ns - base.ns) / 1000 if row and base and row.ns and base.ns else None


def judge_walks(rows):
    leaf = rows.at("routes to XML", "to_chars")
    scan = rows.at("request by key", "scanning, collected")
    filtered = rows.at("filter", "1 % matches, collected")
    row_of = {"a route that a filter hides": filtered and filtered.ns,
              "a route that a search for a key passes": scan and scan.ns / scan.size}
    targets = [Target(f"{words}, against a leaf by to_chars", 1.8,
                      ns / leaf.ns if ns and leaf and leaf.ns else None)
               for words, ns in row_of.items()]
    # Three of eight leaves are 0.375 of the text, and a row has a beginning and an end.
    targets.append(Target("a subtree filter for 3 of 8 leaves, against the whole", 0.5, rows.ratio(
        rows.at("filter", "3 of 8 leaves, collected"),
        rows.at("filter", "unfiltered, collected"))))
    for sends in ("", ", collected"):
        targets.append(Target(f"deferral every 100 leaves{sends}, against none", 1.05,
                              rows.ratio(rows.at("deferral", f"every 100 leaves{sends}"),
                                         rows.at("deferral", f"none{sends}"))))
    return targets


def judge_memory(rows):
    def peak_of(those):
        peak = max((row.peak for row in those if row.peak is not None), default=None)
        return None if peak is None else peak / KIB

    own = [row for row in rows.all if is_library(row)]
    many = "distinct filters"
    targets = [
        Target("peak memory above the data's own, any other case and size", 256,
               peak_of(row for row in own if row.case != many), "KiB"),
        Target("peak memory of 1,000 distinct filters", 512,
               peak_of(row for row in own if row.case == many), "KiB"),
    ]
    for case, contender, limit, of_each in (
            ("values of 4 bytes", "library", 0, True), ("long values", "library", 1, True),
            ("filter", "1 % matches", 0, True), ("request by key", "scanning", 0, False)):
        targets.append(Target(f"allocations per row or leaf, {case}, {contender}", limit,
                              rows.allocations_per_row(case, contender, of_each)))
    return targets


def is_library(row):
    return not row.contender.startswith(OTHERS)
