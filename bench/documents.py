# SPDX-License-Identifier: BSD-2-Clause
"""Whether contenders render the same: byte for byte where they claim it, else the same values."""

import dataclasses
import json
import xml.etree.ElementTree

CHUNK = 1 << 20
# Documents that are laid out in another way are parsed, at this size.
PARSED_SIZE = 200
# Bytes are compared at this size, and at each that is measured.
COMPARED_SIZE = 10_000
# In larger tables the slower contender asks for fewer routes in a run.
MOST_REQUESTED = 1_000


def check(bench, groups, progress):
    """Checks all groups and returns what is wrong. Needs something to compare in each."""
    errors = []
    done = set()
    for group in groups:
        case = group[0].case
        table = [row for row in group if row.size == group[0].size]
        for size in compared_sizes(group[0]):
            if (case, size) not in done:
                done.add((case, size))
                errors += check_bytes(bench, table, size, progress)
        if (case, "values") not in done:
            done.add((case, "values"))
            errors += check_values(bench, table, progress)
    return errors


def compared_sizes(row):
    if row.case.startswith("routes to"):
        return sorted({row.size, COMPARED_SIZE})
    if row.case == "request by key":
        return [min(row.size, MOST_REQUESTED)]
    return [row.size]


def at_size(row, size):
    return dataclasses.replace(row, size=size)


def check_bytes(bench, group, size, progress):
    same = [at_size(row, size) for row in group if row.layout == "same bytes"]
    errors = []
    for row in same[1:]:
        progress(f"comparing {row.case}, {size}: {row.contender}")
        difference = first_difference(bench, same[0], row)
        if difference is not None:
            errors.append(f"{row.case}, {size}: {row.contender} differs from "
                          f"{same[0].contender} at byte {difference}")
    return errors


def first_difference(bench, one, other):
    """The offset at which two outputs part, or None. Nothing at all is a difference at 0."""
    offset = 0
    with bench.output(one) as first, bench.output(other) as second:
        while True:
            left, right = first.stdout.read(CHUNK), second.stdout.read(CHUNK)
            if left != right:
                return offset + next((i for i, pair in enumerate(zip(left, right))
                                      if pair[0] != pair[1]), min(len(left), len(right)))
            if not left:
                break
            offset += len(left)
    failed = first.returncode or second.returncode
    return None if offset > 0 and not failed else offset


def check_values(bench, group, progress):
    parsed = [at_size(row, PARSED_SIZE) for row in group
              if row.layout in ("same document", "row by row")]
    if not parsed:
        return []
    is_json = "JSON" in group[0].case
    expected = values_of(bench, at_size(group[0], PARSED_SIZE), is_json)
    errors = [] if expected else [f"{group[0].case}: no rows to compare"]
    for row in parsed:
        progress(f"comparing {row.case}, {row.size}: {row.contender}")
        if values_of(bench, row, is_json) != expected:
            errors.append(f"{row.case}: {row.contender} holds other values")
    return errors


def values_of(bench, row, is_json):
    with bench.output(row) as process:
        text = process.stdout.read().decode("utf-8")
    return list(json_routes(text) if is_json else xml_routes(text))


def xml_routes(text):
    for element in xml.etree.ElementTree.fromstring(f"<all>{text}</all>").iter():
        if element.tag.rpartition("}")[2] == "route":
            yield {leaf.tag.rpartition("}")[2]: leaf.text for leaf in element}


def json_routes(text):
    """Of one document or of several in a row."""
    decoder = json.JSONDecoder()
    text = text.strip()
    while text:
        document, end = decoder.raw_decode(text)
        yield from routes_within(document)
        text = text[end:].strip()


def routes_within(value):
    for name, member in value.items():
        if name.rpartition(":")[2] == "route":
            for row in member:
                yield {leaf: as_text(content) for leaf, content in row.items()}
        else:
            yield from routes_within(member)


def as_text(value):
    if isinstance(value, bool):
        return "true" if value else "false"
    return str(value)
