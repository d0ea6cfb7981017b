#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Has the screenshots of the documents made anew, elsewhere: screenshots_test.py BINARIES

What they show changes from one time to the next; that they show it does not. Skipped where no network
namespace may be made.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ET

BINARIES = sys.argv.pop(1)
ROOT = pathlib.Path(__file__).resolve().parent.parent
SKIPPED = 77
SVG = "{http://www.w3.org/2000/svg}"

# What is seen in each: texts in this order, and looks of texts.
SCENES = {
    "table": ([r"show-leases", r"address +pool", r"10\.0\.0\.1 +office", "8 rows"], {"bold", "good"}),
    "table-wide": (["--wide", r"state +starts +ends", "8 rows"], {"bold", "good"}),
    "nested": (["show-interfaces", r"name +admin", r"lo +up", r"^    address +length", r"uplink0",
                r"^    192\.0\.2\.7 +24"], {"bold", "good", "warning", "bad"}),
    "help": ([r"show-leases \?", "pool= +The leases of one pool", "as-table +Aligned columns"], set()),
    "prompt": (["drendctl> show-leases .* include office", r"10\.0\.0\.1 +office",
                r"drendctl> .* count", "^2$", "4 rows"], {"bold", "good"}),
    "watch": ([r"show-interfaces +every 0\.5 s +\d\d:\d\d:\d\d +5 rows", r"in bytes +in bytes/s",
               r"lo +up +unknown .* \d+\.\d "], {"bold", "good", "warning", "bad", "reverse"}),
    "error": (["show-leases --filter", "error: filter: no 'hostname'",
               r"^/leases/lease\[pool='office'\]/hostname$", r"^ {29}\^$"], set()),
}


def lines_of(picture):
    """The text of a picture, at its columns."""
    lines = {}
    for text in picture.iter(SVG + "text"):
        column = round((float(text.get("x")) - 12) / 8.4)
        line = lines.get(float(text.get("y")), "")
        lines[float(text.get("y"))] = line.ljust(column) + text.text
    return "\n".join(lines[y] for y in sorted(lines))


class Screenshots(unittest.TestCase):
    def test_each_scene_shows_what_it_is_for(self):
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run([sys.executable, "-B", ROOT / "script/screenshots", BINARIES, folder],
                                  capture_output=True, text=True, check=False, timeout=120)
            if done.returncode == SKIPPED:
                self.skipTest("no namespaces")
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
            made = {file.stem: ET.parse(file).getroot() for file in pathlib.Path(folder).iterdir()}
        self.assertEqual(made.keys(), SCENES.keys())
        for name, (texts, looks) in SCENES.items():
            text = lines_of(made[name])
            self.assertRegex(text, re.compile("(?s:.*)".join(f"(?-s:{part})" for part in texts), re.M),
                             name)
            seen = {look for element in made[name].iter(SVG + "text")
                    for look in element.get("class").split()}
            self.assertEqual(seen, looks, name)

    def test_the_documents_have_each(self):
        kept = {file.stem for file in (ROOT / "docs/screenshots").glob("*.svg")}
        self.assertEqual(kept, set(SCENES))
        texts = (ROOT / "README.md").read_text("utf-8") + (ROOT / "docs/drendctl.md").read_text("utf-8")
        for name in kept:
            self.assertIn(f"screenshots/{name}.svg)", texts)


if __name__ == "__main__":
    unittest.main()
