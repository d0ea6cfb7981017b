#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""What built files have against exploited faults: check_hardening.py FILE...

Prints each breach as "file: not what it should be" and fails when there is one. Relies on readelf.
"""

import re
import subprocess
import sys


def readelf(option, file):
    return subprocess.run(["readelf", "--wide", option, file], check=True, text=True,
                          capture_output=True).stdout


def segment_flags(segments, name):
    """The letters of a segment such as "RW", or None without it."""
    found = re.search(rf"^\s+{name}\s+(?:0x\w+\s+){{5}}([RWE ]+?)\s+0x", segments, re.MULTILINE)
    return found and found[1].replace(" ", "")


def missing(file):
    header, segments, dynamic, symbols = (
        readelf(option, file)
        for option in ("--file-header", "--segments", "--dynamic", "--dyn-syms"))
    imports = set(re.findall(r"\bUND (\w+)", symbols))
    flags = " ".join(re.findall(r"\(FLAGS(?:_1)?\)\s+(.*)", dynamic))
    is_program = "INTERP" in segments
    checks = {
        "a position-independent program": not is_program or "PIE" in flags,
        "a position-independent file": "DYN" in header,
        "relocations that are read-only": segment_flags(segments, "GNU_RELRO") is not None,
        "binding at start-up": "NOW" in flags.replace("BIND_NOW", "NOW"),
        "a stack that is not executable": segment_flags(segments, "GNU_STACK") == "RW",
        "segments that are written or executed":
            not re.search(r"^\s+LOAD\s.*\bRWE\b", segments, re.MULTILINE),
        "protected stacks": "__stack_chk_fail" in imports,
        "checked sizes": any(re.fullmatch(r"__\w+_chk", name) for name in imports),
    }
    return [what for what, holds in checks.items() if not holds]


def main():
    files = sys.argv[1:]
    breaches = [f"{file}: not {what}" for file in files for what in missing(file)]
    print(*breaches, sep="\n", end="\n" if breaches else "")
    return 1 if breaches or not files else 0


sys.exit(main())
