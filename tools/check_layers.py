#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Checks that includes run one way: check_layers.py [ROOT]

Prints each breach as `file:line -> folder` (or the outside library) and fails when there is one.
Includes are written from the project's root; drend.h and orvex_platform/ stand for the two
folders with public headers.
"""

import collections
import pathlib
import re
import sys

from project_files import project_files

# The folders that a folder may include besides itself.
MAY_INCLUDE = {
    "include": set(),
    "platform": {"include"},
    "frame": {"include", "platform"},
    "model": {"include", "platform", "frame"},
    "expr": {"include", "platform", "frame"},
    "definitions": {"include", "platform", "frame", "model", "expr"},
    "render": {"include", "platform", "frame", "model", "expr", "definitions"},
    "service": {"include", "platform", "frame", "model", "expr", "definitions", "render"},
    "examples": {"include", "platform"},
    "tools": {"include", "platform", "tools/common"},
}
# Each tool is a program of its own: of the folder "tools", a file may include what its tool has.
# Some are about definitions themselves.
TOOL_MAY_INCLUDE = {
    "tools/format": {"frame", "definitions"},
    "tools/init": {"frame", "model", "definitions", "tools/model"},
    "tools/lint": {"frame", "model", "definitions", "tools/model"},
    "tools/model": {"frame", "model", "definitions"},
    "tools/netconf": {"tools/drendctl"},  # the client's side of the management socket
}
# Tests, benchmarks and fuzzers may include anything and are not looked at.

# Outside libraries by the first part of their headers' names: the folders that may include
# them, and from how many files of each.
MANY = sys.maxsize
OUTSIDE = {
    "jansson.h": {"definitions": 1, "tools": 1},  # the preview makes data up
    "libxml": {"expr": 1, "tools": 1},
    "event2": {"platform": MANY, "examples": MANY, "tools": MANY},
    "netlink": {"examples": MANY},
    "uv.h": {"examples": 1},
    "CLI": {"examples": MANY, "tools": MANY},
    "histedit.h": {"tools": 1},
    "libyang": {"tools": 1},
}
SYSTEM = {"arpa", "linux", "net", "netinet", "sys"}

# Files that may include every folder. One that no longer needs to is an error.
EXCEPTIONS = {"frame/drend_init.cpp"}

INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')


def folder_of(root, file, name):
    """The project folder of the header `name`, or None for one from outside.

    Of the platform only the public headers count as "platform"; a tool is named with "tools".
    """
    for start in (root, root / "include", root / "platform/include", file.parent):
        if (start / name).is_file():
            found = (start / name).resolve().relative_to(root)
            public = found.parts[0] != "platform" or name.startswith("orvex_platform/")
            is_tool = found.parts[0] == "tools"
            return "/".join(found.parts[:1 + is_tool]) if public else str(found.parent)
    return None


def target_of(root, file, name):
    """What an include reaches: a project folder, an outside library, or None for the system."""
    first = name.split("/")[0]
    outside = first if "/" in name and first not in SYSTEM else None
    return folder_of(root, file, name) or (first if first in OUTSIDE else outside)


def is_allowed(home, target, file, users):
    """`users` gathers which files of a folder include an outside library."""
    if target in OUTSIDE:
        users[home, target].add(file)
        return len(users[home, target]) <= OUTSIDE[target].get(home, 0)
    own = "/".join(file.parts[:2]) if home == "tools" else home
    is_own = target is None or target == own or target.startswith(own + "/")
    return is_own or target in MAY_INCLUDE[home] | TOOL_MAY_INCLUDE.get(own, set())


def breaches(root):
    users = collections.defaultdict(set)
    for file in project_files(root):
        path = file.relative_to(root)
        home = path.parts[0]
        if home not in MAY_INCLUDE or file.suffix not in (".c", ".h", ".cpp"):
            continue
        for number, line in enumerate(file.read_text().splitlines(), 1):
            include = INCLUDE.match(line)
            target = include and target_of(root, file, include.group(1))
            if include and not is_allowed(home, target, path, users):
                yield str(path), number, target


def main(root):
    found = list(breaches(root))
    excused = {path for path, _, _ in found} & EXCEPTIONS
    errors = [f"{path}:{number} -> {target}" for path, number, target in found
              if path not in EXCEPTIONS]
    errors += [f"{path}: needs no exception any more" for path in sorted(EXCEPTIONS - excused)]
    print("\n".join(errors) or "includes run one way")
    return 1 if errors else 0


if __name__ == "__main__":
    default = pathlib.Path(__file__).parent.parent
    sys.exit(main(pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else default).resolve()))
