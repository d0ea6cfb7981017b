#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""drendctl's prompt, and what it completes: drendctl_prompt_test.py DRENDCTL COMPLETION

COMPLETION is the file with bash's completion.
"""

import os
import pathlib
import socket
import sys
import time
import unittest

from bash_completion import completed
from drendctl_fixture import DRENDCTL, Case, Terminal, answer, chunk, menu_answer

COMPLETION = sys.argv.pop(1)


class Prompt(Case):
    def setUp(self):
        super().setUp()
        self.replies = {"show-interfaces": answer("<a>1</a>"), "show-routes": answer("210\n")}

    def reply(self, request):
        if request.endswith("?"):
            return menu_answer(request)
        return self.replies.get(request, answer("error: no " + request))

    def test_a_session(self):
        with self.daemon(self.reply) as daemon:
            text = self.talk(
                ("", "drendctl> "), ("show-i\t", "nterfaces "), ("\n", "<a>1</a>\r\n", "drendctl> "),
                # The common beginning, then what there is.
                ("sh\t\t", "ow-", "drend show-interfaces  Network interfaces\r\n",
                 "drend show-routes      Routing \\x1b[2Jtables\r\n"),
                ("r?", "drend show-routes  Routing"),
                ("\t\t", "outes ", "\x07"),  # there is nothing behind it
                ("?", "nothing can follow\r\n"), ("\n", "nothing to show\r\n"),
                ("show x='a?'\n", "error: no show x='a?'\r\n"),
                ("x?", "nothing can follow\r\n"), ("\x03quit\n",), words=("--color", "never"))
            self.assertEqual(daemon.connections, 1)
        self.assertNotIn("\x1b[2J", text)
        self.assertEqual([r for r in daemon.requests if not r.endswith("?")],
                         ["show-interfaces", "show-routes", "show x='a?'"])

    def test_history_stays_and_the_end_of_input_ends_it(self):
        history = pathlib.Path(self.folder, "state", "drendctl", "history")
        with self.daemon(self.reply):
            for keys in ("show-routes\n", "\x1b[A\n"):
                # Before the second prompt the terminal would take the key itself.
                self.talk(("", "drendctl> "), (keys, "nothing to show\r\n", "drendctl> "), ("\x04",))
            self.assertIn("show-routes", history.read_text())
            self.assertEqual(history.stat().st_mode & 0o077, 0)
            self.env["XDG_STATE_HOME"] = "/dev/null"
            self.talk(("show-routes\nexit\n", "nothing to show\r\n"))

    def test_interrupts_lead_back_to_the_prompt(self):
        def serve(peer):
            peer.line()
            peer.send(chunk("<a>"))
            self.assertEqual(peer.receive(), b"\x03")
            peer.send(answer("<never-shown/>", "\nerror: interrupted\n"))
            self.assertEqual(peer.line(), "again")
            peer.send(answer("done"))
            self.assertIsNone(peer.line())
        with self.daemon(serve=serve):
            text = self.talk(
                ("", "drendctl> "), ("unfinished", "unfinished"), ("\x03", "drendctl> "),
                ("long\n", "<a>"),
                ("\x03", "drendctl: interrupted: the answer is incomplete\r\n", "drendctl> "),
                ("again\n", "done\r\n"), ("exit\n",), words=("--color", "never"))
        self.assertNotIn("never-shown", text)

    def test_a_daemon_that_comes_back(self):
        with self.daemon(lambda request: None if request == "die" else answer("fine")) as daemon:
            terminal = self.terminal()
            terminal.talk(("die\n", "drendctl: connection lost\r\n"), ("show\n", "fine\r\n"))
        terminal.talk(("show\n", "drendctl: cannot connect"), ("exit\n",))
        self.assertEqual(terminal.finish(), 0)
        self.assertEqual(daemon.connections, 2)

    def test_without_a_daemon_there_is_no_prompt(self):
        terminal = self.terminal()
        self.assertEqual(terminal.finish(), 3)
        self.assertTrue(terminal.text.startswith("drendctl: cannot connect"))


class Completion(Case):
    def test_the_menu(self):
        with self.daemon(menu_answer) as daemon:
            self.assertEqual(self.run_it("--list"), (0, (
                "drend show-interfaces  Network interfaces\n"
                "drend show-routes      Routing \x1b[2Jtables\n"), ""))
            self.assertEqual(self.run_it("--list", "drend", "show-x"), (4, "", ""))
            self.assertEqual(self.run_it("--complete", "drend show-i"),
                             (0, "show-interfaces\n", ""))
            self.assertEqual(self.run_it("--complete", "drend show-i x"), (0, "", ""))
        self.assertEqual(daemon.requests, ["?", "drend show-x ?", "drend ?", "drend show-i ?"])
        self.assertEqual(self.run_it("--complete", "drend show-i"), (3, "", ""))

    def completed(self, *words):
        return completed(COMPLETION, DRENDCTL, *words, env=self.env)

    def test_bash(self):
        shows = ["show-interfaces", "show-routes"]
        filter_file = self.folder + "/filter.xml"
        pathlib.Path(filter_file).touch()
        cases = [
            (("",), shows, "?"),
            (("--json", "--filter", "/a b", "drend", "show-r"), shows[1:], "drend ?"),
            (("drend", "show-routes", ""), [], "drend show-routes ?"),
            (("--filter=/a", "drend", ""), shows, "drend ?"),
            (("--js",), ["--json"], None),
            (("--limit", "x"), [], None),
            (("show-routes", "name", "=", "lo", ""), [], "show-routes name=lo ?"),
            (("--color", "al"), ["always"], None),
            (("--filter", self.folder + "/f"), [filter_file], None),
            (("--filter", "=", self.folder + "/f"), [filter_file], None),
            (("--filter", "/a[b='"), [], None),
        ]
        for words, expected, question in cases:
            with self.daemon(menu_answer) as daemon:
                self.assertEqual(self.completed(*words), expected, words)
            self.assertEqual(daemon.requests, [question] if question else [], words)
        self.assertEqual(self.completed("show"), [])  # no daemon
        other = self.env.pop("DRENDCTL_SOCKET")
        with self.daemon(menu_answer):
            self.assertEqual(self.completed("--socket", other, "show-r"), shows[1:])

    HOSTILE = ["show;touch${IFS}pwned", "show$(touch${IFS}pwned)", "show`touch${IFS}pwned`",
               "show>pwned", "show'", "show\x1b[2J", "show\x9b", "*", "~", ";touch${IFS}pwned"]

    def test_what_a_hostile_daemon_offers_is_quoted(self):
        with self.daemon(lambda _: answer("".join(f"{word}\tx\n" for word in self.HOSTILE))):
            self.assertEqual(self.completed("sho"), [
                "show\\$\\(touch\\$\\{IFS\\}pwned\\)", "show\\'",
                "show\\;touch\\$\\{IFS\\}pwned", "show\\>pwned",
                "show\\`touch\\$\\{IFS\\}pwned\\`"])
        with self.daemon(lambda _: answer(f"{self.HOSTILE[0]}\tx\n")) as daemon:
            rc = pathlib.Path(self.folder, "rc")
            rc.write_text(f"source {COMPLETION}; PS1='ready> '; cd {self.folder}\n"
                          f"PATH={os.path.dirname(DRENDCTL)}:$PATH\n")
            shell = Terminal(["bash", "--rcfile", rc, "-i"], self.env)
            self.addCleanup(shell.process.kill)
            shell.expect("ready> ")
            shell.type("drendctl sho\t")
            shell.expect("pwned ")
            shell.type("\nexit\n")
            shell.finish()
            self.assertEqual(daemon.requests, ["sho?", self.HOSTILE[0]])
        self.assertFalse(pathlib.Path(self.folder, "pwned").exists())

    def test_no_daemon_takes_more_than_a_second(self):
        def drips(peer):
            peer.send(b"\n#1000000\n")
            while not peer.connection.send(b"x") == 0:
                time.sleep(0.05)

        def floods(peer):
            peer.send(chunk("error: "))
            while True:
                peer.send(chunk("x" * 100000))

        late = (3, "", "drendctl: timed out: the daemon takes too long for its answer\n")
        cases = [
            (lambda peer: peer.receive() and peer.receive(), late),
            (drips, late),
            (floods, late),
            (lambda peer: peer.line() and peer.send(chunk("x" * 1000000)),
             (3, "", "drendctl: the menu is longer than 262144 bytes\n")),
        ]
        for serve, expected in cases:
            with self.daemon(serve=serve):
                self.assertEqual(self.run_it("--list", "--timeout", "0"), expected)
                self.assertEqual(self.run_it("--complete", "s", "--timeout", "0"), (3, "", ""))
        with socket.socket(socket.AF_UNIX) as listener, socket.socket(socket.AF_UNIX) as waiting:
            listener.bind(self.folder + "/socket")
            listener.listen(0)
            waiting.connect(self.folder + "/socket")
            self.assertEqual(self.run_it("--list", "--timeout", "0"), (
                3, "", f"drendctl: cannot connect to {self.folder}/socket: timed out\n"))


if __name__ == "__main__":
    unittest.main()
