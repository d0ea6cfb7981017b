#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Checks that documents show what is compiled: check_samples.py [ROOT]

A code block of a document below docs/ that stands under `<!-- FILE -->` or, in a manual page,
`.\\" FILE` is FILE, or what stands in it between the lines `/* [shown] */` and `/* [end] */`. One
under `<!-- FILE NAME -->` is what stands between `/* [NAME] */` and the next `/* [end] */`.
"""

import pathlib
import re
import sys

from project_files import project_files

BLOCKS = {
    ".md": re.compile(r"^<!-- (\S+)(?: (\w+))? -->\n```.*\n((?:.*\n)*?)```$", re.MULTILINE),
    ".3": re.compile(r'^\.\\" (\S+)(?: (\w+))?\n\.Bd .*\n((?:.*\n)*?)\.Ed$', re.MULTILINE),
}
MARKS = {".md": "<!--", ".3": '.\\"'}
LICENCE = "// SPDX-License-Identifier: BSD-2-Clause\n"
SHOWN = r"^/\* \[%s\] \*/\n(.*?)^/\* \[end\] \*/$"


def shown(text, name):
    """The part of `text` with that name; without a name, the part to be shown or all of it but the
    licence's line."""
    part = re.search(SHOWN % (name or "shown"), text, re.MULTILINE | re.DOTALL)
    return part.group(1) if part else None if name else text.removeprefix(LICENCE).lstrip("\n")


def errors_of(root, document):
    """The number of samples in `document`, and what is wrong with them."""
    text, kind = document.read_text(), document.suffix
    name = document.relative_to(root)
    samples = BLOCKS[kind].findall(text)
    errors = [f"{name}: shows another {' '.join((file, part)).strip()}"
              for file, part, block in samples
              if not (root / file).is_file() or block != shown((root / file).read_text(), part)]
    if len(samples) != sum(line.startswith(MARKS[kind]) for line in text.split("\n")):
        errors.append(f"{name}: a sample's file is named, but no block follows")
    return len(samples), errors


def main(root):
    documents = [file for file in project_files(root)
                 if file.suffix in BLOCKS and file.relative_to(root).parts[0] == "docs"]
    found = [errors_of(root, document) for document in documents]
    count, errors = sum(n for n, _ in found), [error for _, more in found for error in more]
    print("\n".join(errors) or f"{count} samples are as compiled")
    return 1 if errors or count == 0 else 0


if __name__ == "__main__":
    default = pathlib.Path(__file__).parent.parent
    sys.exit(main(pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else default).resolve()))
