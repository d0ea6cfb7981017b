#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""What docs/accessors.md shows in C works: shelfd_test.py PROGRAM"""

import pathlib
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ET

PROGRAM = sys.argv.pop(1)
PREFIX = pathlib.Path(__file__).resolve().parent.parent / "examples/shelfd"


def output_of(*arguments):
    return subprocess.run([PROGRAM, PREFIX, *arguments], check=True, capture_output=True,
                          text=True, timeout=60).stdout


def shelves(argument=""):
    """The answer to show-shelves: (name, cards) for each shelf."""
    answer = output_of("show-shelves", argument)
    return [(shelf.findtext("name"), [card_of(card) for card in shelf.iter("card")])
            for shelf in ET.fromstring(answer)] if answer else []


def card_of(card):
    counters = [(counter.tag, counter.text) for counter in card.iterfind("counters/*")]
    return (card.findtext("slot"), card.findtext("mac"), card.findtext("fault/reason"), counters)


LEFT = ("left", [("1", "02:00:5e:00:00:01", None, [("in-frames", "10"), ("out-frames", "20")]),
                 ("2", "02:00:5e:00:00:02", "no power", [("crc-errors", "3"), ("in-frames", "7")])])
RIGHT = ("right", [("1", "02:00:5e:00:01:01", None, [])])
SPARE = ("spare", [])


class Shelves(unittest.TestCase):
    def test_what_is_shown(self):
        for argument, shown in (
                ("", [LEFT, RIGHT, SPARE]), ("name=right", [RIGHT]), ("name=none", []),
                ("filter='/shelves/shelf/card[slot=2]'", [("left", LEFT[1][1:])])):
            with self.subTest(argument=argument):
                self.assertEqual(shelves(argument), shown)

    def test_values_one_by_one(self):
        self.assertEqual(output_of("faults"),
                         "/shelves/shelf[name='left']/card[slot='2']: no power\n")


if __name__ == "__main__":
    unittest.main()
