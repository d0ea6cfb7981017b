#!/usr/bin/env python3
"""Checks what the shared library exports: check_exports.py LIBRARY HEADER

The library's dynamic symbols and the names that the header declares with DREND_API must be the
same set: nothing missing, nothing more, no C++ symbol.
"""

import pathlib
import re
import subprocess
import sys


def declared(header):
    text = re.sub(r"/\*.*?\*/", " ", header, flags=re.S)
    text = re.sub(r"^\s*#(?:.*\\\n)*.*$", "", text, flags=re.M)
    names = set()
    for declaration in re.findall(r"\bDREND_API\b([^;]*);", text):
        # A function's name stands before its first parenthesis, a variable's name is the last.
        head = re.split(r"[(\[]", declaration, maxsplit=1)[0]
        names.add(re.findall(r"\w+", head)[-1])
    return names


def exported(library):
    command = ["nm", "--dynamic", "--defined-only", "--format=posix", library]
    lines = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    return {line.split()[0].split("@")[0] for line in lines.splitlines()}


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
