#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""What the soak takes for an answer, and what not; and for growth: soak_test.py"""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent / "soak"))
# pylint: disable=wrong-import-position
import asked
import framing
import memory
from answers import Answer
from fake_daemon import END_OF_CHUNKS, chunks_of, note

XML = b"<synthetic-routes>\n<route>1</route>\n<route>2</route>\n</synthetic-routes>\n"
COMPLETE = b"end: complete\n"
ROUTES = next(c for c in asked.COMMANDS["netstatd"] if c.word == "show-synthetic-routes")


def answer(data, status=COMPLETE, media=b"application/xml"):
    return ((note("t", media) if media else b"") + chunks_of(data)
            + (note("s", status) if status else b"") + END_OF_CHUNKS)


def page(form=""):
    request = asked.paged(ROUTES, "", form, 2, None)
    request.rows, request.names = 2, asked.NAMES["netstatd"]
    return request


def judged(said, request=None, protocol=2, piece=1 << 20):
    """How the answer ended; "FAULT" and why."""
    reader, taken = framing.ChunkReader(), Answer(request or page(), protocol)
    try:
        for begin in range(0, len(said), piece):
            for kind, data in reader.feed(said[begin:begin + piece]):
                if kind == framing.END:
                    return taken.outcome()
                taken.take(kind, data)
    except framing.Malformed as fault:
        return f"FAULT {fault}"
    return "unfinished"


class Answers(unittest.TestCase):
    def test_whole_answers_in_any_pieces(self):
        interrupted = page()
        interrupted.interrupted = True
        for said, request, protocol, outcome in (
                (answer(XML, COMPLETE + b"rows: 2\n"), None, 2, "complete"),
                (note("s", COMPLETE + b"code: nothing\nrows: 2\n") + END_OF_CHUNKS, None, 2, "complete nothing"),
                (answer(XML[:-9], b"end: interrupted\ncode: interrupted\ntext: i\n"), interrupted, 2,
                 "interrupted"),
                (answer(b'{"a":1}\n{"a":2}\n{"cursor":"c"}\n', COMPLETE + b"cursor: c\nrows: 2\n",
                        b"application/jsonl"), page("as-json-lines"), 2, "complete"),
                (chunks_of(XML) + END_OF_CHUNKS, None, 1, "complete"),
                (chunks_of(XML[:-9], b"\nerror: interrupted\n") + END_OF_CHUNKS, interrupted, 1, "interrupted"),
                (chunks_of(b"210\n") + END_OF_CHUNKS, None, 1, "complete")):
            for piece in 1, 7, len(said):
                self.assertEqual(judged(said, request, protocol, piece), outcome, said)

    def test_what_is_torn_mixed_or_not_told_is_a_fault(self):
        rows = COMPLETE + b"rows: 2\n"
        for said, request, protocol, why in (
                (answer(XML[:-9], rows), None, 2, "XML at its end"),
                (answer(XML[:30] + XML[50:], rows), None, 2, "XML: mismatched"),
                (answer(b'{"a": [1, 2}', rows, b"application/json"), page("as-json"), 2, "JSON: "),
                (answer(b'{"a":1}\n{"a":\n', rows, b"application/jsonl"), page("as-json-lines"), 2, "line of"),
                (answer(b'{"a":1}\n{"a":2}', rows, b"application/jsonl"), page("as-json-lines"), 2, "a line wi"),
                (answer(b"/a/b 1\n/a/", COMPLETE + b"rows: 2\n", b"text/plain"), page("count"), 2, "a line wi"),
                (answer(XML, COMPLETE + b"rows: 3\n"), None, 2, "3 rows, not 2"),
                (answer(XML.replace(b"<route>2</route>", b""), rows), None, 2, "2 rows are told, 1 shown"),
                (answer(XML, None), None, 2, "it has no status"),
                (answer(XML, rows, None), None, 2, "data without a type"),
                (answer(XML, rows, b"text/plain"), None, 2, "it is of type"),
                (answer(XML, b"rows: 2\nend: complete\n"), None, 2, "a status with"),
                (answer(XML, b"end: given-up\ncode: unavailable\ntext: t\n"), None, 2, "it ended given-up"),
                (answer(XML, b"end: interrupted\ncode: interrupted\ntext: t\n"), None, 2, "it ended interr"),
                (answer(b"<a><next-hop/><gateway/></a>", rows), None, 2, "it is made of two sets"),
                (answer(XML + XML, rows), None, 2, "XML: junk"),
                (b"\n#12\nshort", None, 2, None),
                (b"\n#012\n", None, 2, "no header"),
                (chunks_of(XML[:-9]) + END_OF_CHUNKS, None, 1, "XML at its end"),
                (chunks_of(b"error: a\nb\n") + END_OF_CHUNKS, None, 1, "the line of error"),
                (END_OF_CHUNKS, None, 1, "there is nothing")):
            found = judged(said, request, protocol)
            self.assertTrue(found.startswith(f"FAULT {why}") if why else found == "unfinished", (said, found))


class Memory(unittest.TestCase):
    def test_growth_is_told_from_noise_and_from_a_start(self):
        noise = [1000 + (n * 7919) % 11 for n in range(400)]
        for samples, slack, is_flat in (
                (noise, 0, True), ([500] * 100 + noise[100:], 0, True), ([5000] * 100 + noise[100:], 0, True),
                ([n + i / 20 for i, n in enumerate(noise)], 0, True),
                ([n + i / 5 for i, n in enumerate(noise)], 0, False),
                ([n + i / 5 for i, n in enumerate(noise)], 50, True),
                (noise[:300] + [n + 100 for n in noise[300:]], 50, False)):
            self.assertEqual(memory.is_flat(samples, slack), is_flat)


if __name__ == "__main__":
    unittest.main()
