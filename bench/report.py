# SPDX-License-Identifier: BSD-2-Clause
"""The tables of the measure, as Markdown."""

import sys


def progress(text):
    if sys.stderr.isatty():
        print(f"\r\033[K{text}", end="", file=sys.stderr, flush=True)


def show(about, rows, targets):
    progress("")
    for name, value in about.items():
        print(f"{name}: {value}")
    print()
    print_table(
        ("Case", "Size", "Contender", "ns", "per", "Ratio", "MB/s", "Peak KiB", "Allocations",
         "Instructions"),
        [(row.case, f"{row.size:,}", row.contender, number(row.ns), row.unit,
          number(row.ratio, 3), number(row.bytes_per_second / 1e6 or None),
          number(None if row.peak is None else row.peak / 1024),
          number(row.allocations if row.rounds else None, 3), number(row.instructions))
         for row in rows], left=(0, 2, 4))
    print()
    print_table(("Case", "At most", "Measured", ""),
                [(target.case, f"{target.at_most:g} {target.unit}".strip(),
                  number(target.measured, 3), target.verdict) for target in targets], left=(0, 3))


def number(value, digits=None):
    if value is None:
        return ""
    if digits is None:
        digits = 0 if value >= 100 else 1
    return f"{value:,.{digits}f}"


def print_table(head, lines, left):
    widths = [max(len(line[column]) for line in (head, *lines)) for column in range(len(head))]

    def print_line(cells):
        print("| " + " | ".join(cell.ljust(width) if column in left else cell.rjust(width)
                                for column, (cell, width) in enumerate(zip(cells, widths))) + " |")

    print_line(head)
    print("|" + "|".join("-" * (width + 2) if column in left else "-" * (width + 1) + ":"
                         for column, width in enumerate(widths)) + "|")
    for line in lines:
        print_line(line)
