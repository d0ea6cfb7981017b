#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Checks that the manual page names what the header declares: check_manual.py HEADER PAGE

Every function and global variable of the header stands in the page, as .Fn or .Fo and as .Va, and
the page names none, and no constant or type of the library, that the header does not have.
"""

import pathlib
import re
import sys

from check_exports import declared

OURS = re.compile(r"\b(?:drend|drx|dri?|drc|drv|dtc|xpath|af_sock|DREND|DRX)_\w+")


def offered(header):
    inline = re.findall(r"^inline [\w *]+?(\w+)\(", header, flags=re.M)
    return {name.removesuffix("()") for name in declared(header)} | set(inline)


def documented(page):
    return set(re.findall(r"^\.(?:It )?(?:Fn|Fo|Va) (\w+)", page, flags=re.M))


def main(header, page):
    header, page = pathlib.Path(header).read_text(), pathlib.Path(page).read_text()
    wanted, found = offered(header), documented(page)
    strangers = set(OURS.findall(page)) - set(OURS.findall(header)) | found - wanted
    errors = [f"not in the page: {name}" for name in sorted(wanted - found)]
    errors += [f"not in the header: {name}" for name in sorted(strangers)]
    print("\n".join(errors) or f"{len(found)} names described")
    return 1 if errors or not wanted else 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2]))
