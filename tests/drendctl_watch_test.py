#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Requests that drendctl asks again and again: drendctl_watch_test.py DRENDCTL"""

import re
import signal
import unittest

from drendctl_fixture import PATIENCE, StatusCase, note, END, status_answer

ENTER, LEAVE = "\x1b[?1049h", "\x1b[?1049l"


class Watching(StatusCase):
    """The daemon has a table of a counter that grows by 100 each time it is asked."""

    def setUp(self):
        super().setUp()
        self.asked = []
        self.fails_from = None

    def reply(self, request):
        if request.endswith("?"):
            return status_answer("as-table\tTable\tform\t\n", media_type="text/plain")
        self.asked.append(request)
        count = len(self.asked)
        if self.fails_from is not None and count >= self.fails_from:
            return note("s", b"end: refused\ncode: x\ntext: no \x1b]0;table\n") + END
        rows = "\x1fkp1  \x1fv up  \x1fc %5d\x1fr         -\n" % (100 * count)
        if count == 2:
            rows += "\x1fkp\x1b]0;x\x07\x1fv up  \x1fc     0\x1fr         -\n"
        header = "\x1fhname\x1fh state\x1fh octets\x1fh  octets/s\n"
        return status_answer(header + rows, "end: complete\nrows: 1\n", "text/plain")

    def test_without_a_terminal_there_is_one_answer_after_the_other(self):
        with self.daemon(self.reply):
            process = self.start("show-x", "--watch=0.1", text=True)
            lines = [process.stdout.readline() for _ in range(11)]
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(PATIENCE), 130)
            self.assertEqual(process.stderr.read(), "")
        self.assertEqual(set(self.asked), {"show-x as-table fields"})
        self.assertRegex(lines[0], r"^show-x  every 0\.1 s  \d\d:\d\d:\d\d  1 row\n$")
        self.assertEqual(lines[2:4], ["  name state octets  octets/s\n",
                                      "  p1   up     100         -\n"])
        self.assertRegex(lines[8], r"^  p1   up     200\* +\d+\n$")
        self.assertEqual(lines[9], "+ p\\x1b]0;x\\x07 up       0         -\n")
        self.assertNotIn("\x1b", "".join(lines))

    def test_a_reader_that_goes_ends_it(self):
        with self.daemon(self.reply):
            process = self.start("show-x", "--watch=0.1")
            process.stdout.readline()
            process.stdout.close()
            self.assertEqual(process.wait(PATIENCE), 141)

    def test_a_terminal_is_drawn_anew_and_given_back(self):
        with self.daemon(self.reply):
            terminal = self.terminal("show-x", "--watch=0.1", "--color", "never")
            terminal.talk(("", ENTER, "\x1b[7m200\x1b[0m", "+ p\\x1b]0;x\\x07", "\x1b[2m- p\\x1b]0;x"),
                          ("x\x03",))
            self.assertEqual(terminal.finish(), 130)
        self.assertEqual(set(self.asked), {"show-x as-table fields limit=40"})
        self.assertTrue(terminal.text.endswith("\x1b[?7h\x1b[?25h" + LEAVE), terminal.text[-40:])
        self.assertNotIn("x", terminal.text.split(LEAVE)[-1])
        self.assertFalse(re.search(r"\n", re.sub(r"\r\n", "", terminal.text)))
        self.assertNotIn("\x1b]", terminal.text)
        for picture in terminal.text.split("\x1b[H")[1:]:
            self.assertLess(picture.count("\n"), 40)

    def test_a_signal_gives_the_terminal_back(self):
        with self.daemon(self.reply):
            terminal = self.terminal("show-x", "--watch=0.1")
            terminal.expect(ENTER)
            terminal.expect("200")
            terminal.process.send_signal(signal.SIGTSTP)
            terminal.expect(LEAVE)
            terminal.process.send_signal(signal.SIGCONT)
            terminal.expect(ENTER)
            terminal.process.send_signal(signal.SIGTERM)
            self.assertEqual(terminal.finish(), -signal.SIGTERM)
        self.assertTrue(terminal.text.endswith(LEAVE))

    def test_what_goes_wrong(self):
        self.fails_from = 1
        with self.daemon(self.reply):
            self.assertEqual(self.run_it("show-x", "--watch"),
                             (1, "", "error: no \x1b]0;table\n"))
            terminal = self.terminal("show-x", "--watch")
            self.assertEqual(terminal.finish(), 1)
            self.assertEqual(terminal.text, "error: no \\x1b]0;table\r\n")
            self.asked.clear()
            self.fails_from = 2
            terminal = self.terminal("show-x", "--watch=0.1")  # which waits for better times
            terminal.expect("100")
            terminal.expect("error: no \\x1b]0;table")
            self.fails_from = None
            terminal.expect("1 row")
            terminal.type("\x03")
            self.assertEqual(terminal.finish(), 130)
        for seconds in ("0", "nan", "x"):
            self.assertEqual(self.run_it("show-x", f"--watch={seconds}")[0], 2)

    def test_at_the_prompt(self):
        with self.daemon(self.reply):
            self.talk(("", "drendctl> "), ("watch 0.1 show-x as-t\t", "able "), ("\n", "200"),
                      ("\x03", LEAVE, "drendctl> "),
                      ("watch show-x | count\n", "what is watched cannot be piped"),
                      ("help\n", "watch [SECONDS] REQUEST"), ("exit\n",),
                      words=("--color", "never"))


if __name__ == "__main__":
    unittest.main()
