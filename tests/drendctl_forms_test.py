#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""What drendctl makes of an answer for who reads it: drendctl_forms_test.py DRENDCTL"""

import pathlib
import threading
import time
import unittest

from drendctl_fixture import (END, PATIENCE, XML, Case, StatusCase, answer, chunk, note,
                              status_answer)


class Terminals(Case):
    def shown(self, reply, *words):
        with self.daemon(lambda _: reply):
            terminal = self.terminal("show-x", *words)
            code = terminal.finish()
        return code, terminal.text.replace("\r\n", "\n")

    def test_text_is_safe_and_ends_in_a_line_feed(self):
        hostile = answer(b"a\x1b[2J\x07\r\xc2", b"\x9b2J \x9b\xc3\xa4")
        self.assertEqual(self.shown(hostile),
                         (0, "a\\x1b[2J\\x07\\x0d\\xc2\\x9b2J \\x9b\u00e4\n"))
        self.assertEqual(self.shown(answer('{\n  "a" : 1\n}'), "--color", "never"),
                         (0, '{\n  "a" : 1\n}\n'))
        self.assertEqual(self.shown(answer("error: \x1bc")), (1, "error: \\x1bc\n"))
        self.assertEqual(self.shown(answer("210\n")), (4, "nothing to show\n"))

    def test_colours_are_for_terminals(self):
        colours = "\x1b[36m<a>\x1b[32m1\x1b[36m</a>\x1b[0m\n"
        self.assertEqual(self.shown(answer("<a>1</a>")), (0, colours))
        self.assertEqual(self.shown(answer("<a/>"), "--color", "never"), (0, "<a/>\n"))
        self.env["NO_COLOR"] = "1"
        self.assertEqual(self.shown(answer("<a/>")), (0, "<a/>\n"))
        with self.daemon(lambda _: answer("<a>1</a>")):
            self.assertEqual(self.run_it("x", "--color", "always"), (0, colours[:-1], ""))
            self.assertEqual(self.run_it("x"), (0, "<a>1</a>", ""))

    def test_more_than_a_screenful_is_paged(self):
        def lines(count, before=""):
            return "".join(f"{before}line {i}\n" for i in range(count))

        cases = [
            ("sed s/^/P:/", lines(39), lines(39)),
            ("sed s/^/P:/", lines(60), lines(60, "P:")),
            ("", lines(60), lines(60)),
            ("head -n 1", lines(100000), "line 0\n"),  # who leaves the pager has seen enough
        ]
        for pager, text, shown in cases:
            self.env["PAGER"] = pager
            self.assertEqual(self.shown(answer(text)), (0, shown), pager)
            with self.daemon(lambda _, text=text: answer(text)):
                self.assertEqual(self.run_it("show-x"), (0, text, ""))

    def test_what_comes_slowly_is_shown_as_it_comes(self):
        is_seen = threading.Event()

        def serve(peer):
            peer.line()
            peer.send(chunk("first\n"))
            is_seen.wait(PATIENCE)
            peer.send(answer("second\n" * 60))

        self.env["PAGER"] = "sed s/^/P:/"
        with self.daemon(serve=serve):
            terminal = self.terminal("show-x")
            terminal.expect("first\r\n")
            is_seen.set()
            self.assertEqual(terminal.finish(), 0)
        self.assertNotIn("P:", terminal.text)

    def test_progress_is_shown_and_of_a_long_answer_its_size_is_left(self):
        def serve(peer):
            peer.greeting = status_answer("")
            peer.line()
            peer.send(note("t", b"text/plain"))
            end = time.monotonic() + PATIENCE
            while not is_seen.wait(0.1) and time.monotonic() < end:
                peer.send(chunk("x" * 1000))
            peer.send(note("s", b"end: complete\nrows: 7\n") + END)

        is_seen = threading.Event()
        with self.daemon(serve=serve):
            terminal = self.terminal("show-x", streams=("stdin", "stderr"))
            for text in (" kB received, ", " kB/s, ", " s"):
                terminal.expect(text)
            is_seen.set()
            self.assertEqual(terminal.process.stdout.read().strip(b"x"), b"")
            self.assertEqual(terminal.finish(), 0)
        self.assertRegex(terminal.text, r"\r\x1b\[K7 rows, \d+\.\d kB, \d+ s\r\n$")


class Tables(StatusCase):
    """A daemon with protocol 2 that has tables of show-x."""

    TABLE = "\x1b[1mname\x1b[0m\n\x1b[32mup\x1b[0m\x1b[2J\n"
    TYPE = "text/tab-separated-values"

    def reply(self, request):
        words = request.split(" ")
        if words[-1] == "?":
            takes = "name=\tIts name\tstring\t\nas-table\tTable\tform\t\n"
            return (status_answer(takes, media_type=self.TYPE) if words[0] == "show-x"
                    else status_answer("", "end: complete\ncode: nothing\n"))
        if "as-table" in words:
            text = self.TABLE if "color" in words else "name\nup\n"
            return status_answer(text, "end: complete\ncursor: a b\nrows: 1\n", "text/plain")
        return status_answer(XML)

    def test_a_terminal_gets_tables_where_there_are_any(self):
        coloured = "\x1b[1mname\x1b[0m\n\x1b[32mup\x1b[0m\\x1b[2J\n\n1 row\nthere is more: cursor='a b'\n"
        plain = "name\nup\n\n1 row\nthere is more: cursor='a b'\n"
        cases = [
            (["show-x", "a=1"], coloured, ["show-x a=1 ?", "show-x a=1 as-table color"]),
            (["show-x", "--color", "never"], plain, ["show-x ?", "show-x as-table"]),
            (["show-x", "--table", "--color", "never"], plain, ["show-x as-table"]),
            (["other", "--color", "never"], XML, ["other ?", "other"]),
            (["show-x", "--xml", "--color", "never"], XML, ["show-x"]),
            (["show-x", "as-json", "--color", "never"], XML, ["show-x as-json"]),
        ]
        for words, shown, requests in cases:
            with self.daemon(self.reply) as daemon:
                terminal = self.terminal(*words)
                self.assertEqual(terminal.finish(), 0)
            self.assertEqual(terminal.text.replace("\r\n", "\n"), shown, words)
            self.assertEqual(daemon.requests, requests)
        with self.daemon(self.reply) as daemon:
            self.assertEqual(self.run_it("show-x"), (0, XML, ""))
            self.assertEqual(self.run_it("show-x", "--table"), (0, "name\nup\n", ""))
        self.assertEqual(daemon.requests, ["show-x", "show-x as-table"])

    def test_the_prompt(self):
        saved = pathlib.Path(self.folder, "saved")
        with self.daemon(self.reply) as daemon:
            terminal = self.terminal("--color", "never")
            terminal.talk(("", "drendctl> "), ("show-x na\t", "me="), ("lo ?", "as-table  Table\r\n"))
            terminal.type("| include up\n")
            self.assertNotIn("name", terminal.expect("up\r\n")[-5:])
            self.assertNotIn("row", terminal.expect("drendctl> "))
            terminal.talk(("show-x --xml | count\n", "3\r\n"),
                          (f"show-x | json | save {saved}\n", "drendctl> "),
                          ("show-x | grep a\n", "'grep a' is nothing to pipe into"), ("exit\n",))
            self.assertEqual(terminal.finish(), 0)
        self.assertEqual(saved.read_text(), XML)
        self.assertIn("show-x as-ietf-json", daemon.requests)

    def test_completion(self):
        cases = [("show-x ", "as-table\nname=\n"), ("show-x na", "name=\n"),
                 ("show-x name=lo ", "as-table\n"), ("other ", "")]
        with self.daemon(self.reply):
            for typed, words in cases:
                self.assertEqual(self.run_it("--complete", typed), (0 if words else 4, words, ""))


if __name__ == "__main__":
    unittest.main()
