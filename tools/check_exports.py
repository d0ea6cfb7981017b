#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Checks what the shared library exports: check_exports.py LIBRARY HEADER

The library's dynamic symbols and what the header declares with DREND_API must be the same set:
nothing missing, nothing more. What the header declares for C has a plain symbol; only a function
declared after the end of its extern "C" block, shown as "name()", has a C++ one.
"""

import pathlib
import re
import subprocess
import sys


def names(declarations):
    for declaration in re.findall(r"\bDREND_API\b([^;]*);", declarations):
        # A function's name stands before its first parenthesis, a variable's name is the last.
        head = re.split(r"[(\[]", declaration, maxsplit=1)[0]
        yield re.findall(r"\w+", head)[-1]


def declared(header):
    text = re.sub(r"/\*.*?\*/", " ", header, flags=re.S)
    text = re.sub(r"^\s*#(?:.*\\\n)*.*$", "", text, flags=re.M)
    for_c, *for_cpp = re.split(r"^}\s*$", text, maxsplit=1, flags=re.M)
    return {*names(for_c), *(f"{name}()" for name in names("".join(for_cpp)))}


def output_of(command, text=None):
    return subprocess.run(command, check=True, capture_output=True, text=True, input=text).stdout


def exported(library):
    lines = output_of(["nm", "--dynamic", "--defined-only", "--format=posix", library])
    symbols = [line.split()[0].split("@")[0] for line in lines.splitlines()]
    readable = output_of(["c++filt"], "\n".join(symbols)).splitlines()
    return {text if text == symbol else re.sub(r"\(.*", "()", text)
            for symbol, text in zip(symbols, readable)}


def main(library, header):
    wanted, found = declared(pathlib.Path(header).read_text()), exported(library)
    errors = [f"declared but not exported: {name}" for name in sorted(wanted - found)]
    errors += [f"exported but not declared: {name}" for name in sorted(found - wanted)]
    print("\n".join(errors) or f"{len(found)} names exported")
    return 1 if errors or not wanted else 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2]))
