#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Checks the project's texts: check_texts.py [ROOT]

Sources and documents have no trailing white space; C and C++ sources have no tabs, no line over
100 columns and no argument taken from a va_list parameter, for that leaves the caller's list
indeterminate, which only some machines show, and they open with their licence; no text at all refers to something that a reader of
the project does not have; a test that a document names, tests/FILE:NAME, is there.
"""

import pathlib
import re
import sys

from project_files import project_files

COLUMNS = 100
CODE = {".c", ".cpp", ".h"}
PROSE = {".cmake", ".json", ".map", ".md", ".py", ".sh", ".txt", ".yml"}
SCRIPTS = {".ci", "script"}
# Recorded input and output is kept byte for byte.
RECORDED = ("tests/data/", "fuzz/corpus/")

LICENCE = "// SPDX-License-Identifier: BSD-2-Clause\n"

# What only its writer could look up. The brackets keep a pattern from finding itself.
UNAVAILABLE = re.compile(
    r"\b[s]pecification\b|\bthe [s]pec\b|\b[s]pec\.md\b|\b[P]arts? \d\.\d"
    r"|\b[i]ssue #?\d|(?<![\w.])/(?:work|farm|home|root)/", re.IGNORECASE)

TEST_NAME = re.compile(r"`(tests/[\w.]+):(\w+)`")


def missing_tests(root, line):
    for file, name in TEST_NAME.findall(line):
        source = root / file
        if not source.is_file() or not re.search(rf"\b{name}\b", source.read_text("utf-8")):
            yield f"no test '{name}' in {file}"


VA_LIST = re.compile(r"\bva_list (\w+)([;,)])")
VA_ARG = re.compile(r"\bva_arg\((\w+)")


def va_list_errors(lines):
    is_parameter = {}
    for number, line in enumerate(lines, 1):
        is_parameter.update((name, end != ";") for name, end in VA_LIST.findall(line))
        for name in VA_ARG.findall(line):
            if is_parameter.get(name):
                yield number, f"takes an argument from the parameter '{name}'"


def layout_errors(line, is_code):
    if line != line.rstrip():
        yield "trailing white space"
    if is_code and "\t" in line:
        yield "tab"
    if is_code and len(line) > COLUMNS:
        yield f"{len(line)} columns"


def errors_of(root, path, text):
    is_code = path.suffix in CODE
    is_text = is_code or path.suffix in PROSE or path.parts[0] in SCRIPTS
    is_text = is_text and not path.as_posix().startswith(RECORDED)
    lines = text.split("\n")
    if is_code and not text.startswith(LICENCE):
        yield f"{path}:1: no licence"
    for number, error in va_list_errors(lines) if is_code else ():
        yield f"{path}:{number}: {error}"
    for number, line in enumerate(lines, 1):
        found = list(layout_errors(line, is_code)) if is_text else []
        found += missing_tests(root, line) if path.suffix == ".md" else []
        found += [f"refers to '{m.group()}'" for m in UNAVAILABLE.finditer(line)]
        for error in found:
            yield f"{path}:{number}: {error}"


def main(root):
    errors = []
    for file in project_files(root):
        try:
            text = file.read_text(encoding="utf-8")
        except UnicodeDecodeError:
            continue
        errors += errors_of(root, file.relative_to(root), text)
    print("\n".join(errors) or "texts are clean")
    return 1 if errors else 0


if __name__ == "__main__":
    default = pathlib.Path(__file__).parent.parent
    sys.exit(main(pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else default).resolve()))
