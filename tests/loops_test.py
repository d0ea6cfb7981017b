#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""The samples of event loops continue what was suspended: loops_test.py PROGRAM"""

import pathlib
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ET

PROGRAM = sys.argv.pop(1)
PREFIX = pathlib.Path(__file__).resolve().parent.parent / "examples/loops"


def run(requests, rows_per_slice):
    """What was answered to `requests`, and in how many slices."""
    result = subprocess.run([PROGRAM, PREFIX, str(rows_per_slice)], input=requests, check=True,
                            capture_output=True, text=True, timeout=60)
    return result.stdout, int(result.stderr.removesuffix(" slices\n"))


class Loop(unittest.TestCase):
    def setUp(self):
        self.whole, slices = run("show-ports\n", 0)
        self.assertEqual(slices, 1)
        self.assertEqual([port.findtext("number") for port in ET.fromstring(self.whole)],
                         [str(number) for number in range(1, 11)])

    def test_suspended_answers_are_the_same(self):
        for rows, slices in (1, 11), (3, 4), (10, 2), (11, 1):
            with self.subTest(rows=rows):
                self.assertEqual(run("show-ports\n", rows), (self.whole, slices))

    def test_a_cancelled_answer_is_forgotten(self):
        output, slices = run("show-ports\nshow-ports\ncancel\nshow-ports\n", 4)
        begun, again = output.split("error: an answer is under way\n")
        self.assertTrue(self.whole.startswith(begun))
        self.assertEqual((begun.count("</port>"), again, slices), (4, self.whole, 4))


if __name__ == "__main__":
    unittest.main()
