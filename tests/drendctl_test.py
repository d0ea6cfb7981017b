#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Requests of drendctl and how they end: drendctl_test.py DRENDCTL"""

import fcntl
import os
import pathlib
import signal
import socket
import subprocess
import termios
import threading
import unittest

from drendctl_fixture import DRENDCTL, END, PATIENCE, XML, Case, answer, chunk, status_answer


class Requests(Case):
    def test_what_is_sent(self):
        cases = [
            (["show-x", "name=lo"], "show-x name=lo"),
            (["show-x", "name=a b", "as-json"], "show-x name='a b' as-json"),
            (["a=b,c", "=b c", "a='b c'", "a=\"b\\\" c\"", "a='b' 'c'", "a=it's", "a=b\\"],
             "a='b,c' =b c a='b c' a=\"b\\\" c\" a=\"'b' 'c'\" a=\"it's\" a=b\\"),
            (["a=b c d", "/b[c='d e']/f", "g[h='i j']"], "a='b c d' /b[c='d e']/f g[h='i j']"),
            (["show-x name=\"a b\" c"], "show-x name=\"a b\" c"),
            (["show-x", "--json"], "show-x as-ietf-json"),
            (["show-x", "--filter", "/a/b[name='lo']", "--plain-json"],
             "show-x filter=\"/a/b[name='lo']\" as-json"),
            (["show-x", "--table", "--wide", "--limit", "20"], "show-x as-table wide limit=20"),
            (["show-x", "--lines"], "show-x as-json-lines"),
            (["show-x", "--count"], "show-x count"),
            (["show-x", "--xml"], "show-x"),
            (["--", "show-x", "--odd"], "show-x --odd"),
            (["[a,b]", "[c]", "{}", "'d'", "-"], "[a,b] [c] {} 'd' -"),
            (["show-?", "--json"], "show-?"),
            (["show-x", "name=a?", "--plain-json"], "show-x name=a? as-json"),
        ]
        with self.daemon(lambda _: answer(XML)) as daemon:
            for words, _ in cases:
                self.assertEqual(self.run_it(*words), (0, XML, ""), words)
        self.assertEqual(daemon.requests, [request for _, request in cases])

    def test_a_subtree_filter_comes_from_a_file(self):
        file = pathlib.Path(self.folder, "filter.xml")
        file.write_text("\n<a>\n  <b>it's</b>\n</a>\n")
        path = pathlib.Path(self.folder, "path")
        path.write_text("/a/b")
        with self.daemon(lambda _: answer(XML)) as daemon:
            for given in (file, path):
                self.assertEqual(self.run_it("x", "--filter", str(given)), (0, XML, ""))
        self.assertEqual(daemon.requests, ['x filter="<a>   <b>it\'s</b> </a> "',
                                           f"x filter='{path}'"])

    def test_what_is_not_sent(self):
        cases = [
            (["a\nb"], "a request cannot hold a line feed"),
            (["a", "b\x03"], "a request cannot hold the byte 3"),
            ([""], "the request is empty"),
            (["x", "--filter", "a\\"], "a filter cannot end in a backslash"),
            (["x", "n=a b\\"], "cannot be quoted, as it ends in a backslash: n=a b\\"),
            (["x" * 65537], "the request is longer than 65536 bytes"),
            (["x", "--timeout", "nan"], "not a number of seconds: nan"),
            (["x", "--timeout", "-1"], "not a number of seconds: -1"),
            (["x", "--color", "red"], "red not in"),
            (["x", "--nonsense"], "--nonsense"),
            (["-x", "--", "-y"], "-x"),
            (["x", "--json", "--table"], "--json"),
            (["x", "--limit", "0"], "--limit"),
        ]
        with self.daemon(lambda _: answer(XML)) as daemon:
            for words, reason in cases:
                code, output, error = self.run_it(*words)
                self.assertEqual((code, output), (2, ""), words)
                self.assertIn(reason, error)
        self.assertEqual(daemon.connections, 0)

    def test_help_and_version(self):
        self.assertEqual(self.run_it("--help")[0], 0)
        self.assertRegex(self.run_it("--version")[1], r"^drendctl \d+\.\d+\.\d+\n$")


class Answers(Case):
    def test_exit_codes_and_streams(self):
        hostile = "<a>\x1b[2J\x9b\x00</a>"
        too_long = "\nerror: " + "x" * 4096
        cases = [
            (answer(XML), 0, XML, ""),
            (answer(*XML), 0, XML, ""),
            (END, 0, "", ""),
            (answer("{}"), 0, "{}", ""),
            (answer(hostile.encode("latin1")), 0, hostile, ""),
            (answer("210\n"), 4, "", ""),
            (answer("2", "10", "\n"), 4, "", ""),
            (answer("210\n", "1"), 0, "210\n1", ""),
            (answer("210"), 0, "210", ""),
            (answer("error: no such command\n"), 1, "", "error: no such command\n"),
            (answer("err", "or: ", "no"), 1, "", "error: no\n"),
            (answer("error"), 0, "error", ""),
            (answer("<a>", "\nerror: out of memory"), 1, "<a>", "error: out of memory\n"),
            (answer("<a>", "\nerror: a", "\nerror: b"), 1, "<a>\nerror: a", "error: b\n"),
            (answer("<a>\nerror: text"), 0, "<a>\nerror: text", ""),
            (answer("<a>", "\nerror: text\n", "b"), 0, "<a>\nerror: text\nb", ""),
            (answer("<a>", "\nerror: text\nb"), 0, "<a>\nerror: text\nb", ""),
            (answer("<a>", "\nerror"), 0, "<a>\nerror", ""),
            (answer("<a>", too_long), 0, "<a>" + too_long, ""),
            (answer(XML)[:-2], 3, XML, "drendctl: connection lost\n"),
            (b"", 3, "", "drendctl: connection lost\n"),
            (chunk("<a>") + b"\n#x", 3, "<a>",
             "drendctl: malformed answer: byte 9 is not a length or '#'\n"),
        ]
        for reply, *expected in cases:
            def serve(peer, reply=reply):
                peer.line()
                peer.send(reply)
                peer.connection.shutdown(socket.SHUT_WR)
                peer.receive()
            with self.daemon(serve=serve):
                self.assertEqual(self.run_it("show-x"), tuple(expected), reply)

    def test_the_status_of_an_answer(self):
        error = "\nerror: this is text\n"
        cases = [
            (status_answer(XML), 0, XML, ""),
            (status_answer("210\n"), 0, "210\n", ""),
            (status_answer("<a>" + error), 0, "<a>" + error, ""),
            (status_answer("", "end: complete\ncode: nothing\n"), 4, "", ""),
            (status_answer("", "end: refused\ncode: x\ntext: why\n"), 1, "", "error: why\n"),
            (status_answer("<a>", "end: given-up\ntext: a: b \ntext\ncode:x\n: \n"), 1, "<a>", "error: a: b \n"),
            (status_answer("<a>", "rows: 3\n"), 3, "<a>",
             "drendctl: malformed answer: it does not say how it ended\n"),
            (answer("<a>"), 3, "<a>", "drendctl: malformed answer: it does not say how it ended\n"),
        ]
        for reply, *expected in cases:
            def serve(peer, reply=reply):
                peer.greeting = status_answer("")
                while peer.line() is not None:
                    peer.send(reply)
            with self.daemon(serve=serve) as daemon:
                self.assertEqual(self.run_it("show-x"), tuple(expected), reply)
            if expected[0] != 3:  # one connection, which is asked once
                self.assertEqual(self.run_it_twice(serve), (expected[1] * 2, 1))
        with self.daemon(serve=lambda peer: peer.any_line() and peer.send(answer("x"))):
            self.assertEqual(self.run_it("show-x")[::2],
                             (3, "drendctl: malformed answer: to protocol=2\n"))

    def run_it_twice(self, serve):
        with self.daemon(serve=serve) as daemon:
            return self.run_it(stdin="show-x\nshow-x\n")[1], daemon.connections

    def test_a_refused_filter_is_shown_with_its_place(self):
        error = "error: filter: no 'c' below /ä; there is nothing at character 4\n"
        place = "/ä/c\n   ^\n"
        with self.daemon(lambda _: answer(error)):
            for words in (["x", "--filter", "/ä/c"], ["x", "filter=/ä/c"]):
                self.assertEqual(self.run_it(*words), (1, "", error + place))
            self.assertEqual(self.run_it(stdin="x filter=/ä/c\nx\n"), (1, "", error + place + error))

    def test_findings_are_shown_with_their_places(self):
        file = pathlib.Path(self.folder, "a.json")
        file.write_text("[\n {}]")
        finding = f"{file}:2:2: error: what is wrong [id]\n"
        place = "  2 |  {}]\n    |  ^\n"
        errors, warnings = "1 errors, 0 warnings\n", "0 errors, 1 warnings\n"
        json = '[\n {"severity": "error"}\n]\n'
        cases = [
            (["check"], [finding, errors], 5, finding + place + errors),
            (["check"], [finding, warnings], 0, finding + place + warnings),
            (["check", "--json"], [json], 5, json),
            (["show-x"], [finding, errors], 0, finding + errors),
        ]
        for words, texts, code, expected in cases:
            with self.daemon(lambda _, texts=texts: answer(*texts)):
                self.assertEqual(self.run_it(*words), (code, expected, ""), words)
        with self.daemon(lambda _: answer("error: no 'check'\n")):
            self.assertEqual(self.run_it("check"), (1, "", "error: no 'check'\n"))

    def test_nobody_answers(self):
        code, output, error = self.run_it("show-x")
        self.assertEqual((code, output), (3, ""))
        self.assertEqual(error, f"drendctl: cannot connect to {self.folder}/socket: "
                                "No such file or directory\n")
        self.assertEqual(self.run_it("show-x", "--socket", "/" + "x" * 200)[0], 3)

    def test_a_daemon_that_is_full_says_so(self):
        def serve(peer):
            peer.send(answer("error: too many peers\n"))
        with self.daemon(serve=serve):
            self.assertEqual(self.run_it("show-x"), (1, "", "error: too many peers\n"))

    def test_silence_is_not_waited_for(self):
        with self.daemon(serve=lambda peer: peer.line() and (peer.send(chunk("<a>")) or
                                                             peer.receive())):
            self.assertEqual(self.run_it("show-x", "--timeout", "0.3"), (
                3, "<a>", "drendctl: timed out: the daemon has sent nothing for 0.3 s\n"))

    def test_a_long_answer_is_passed_on_as_it_is(self):
        part = os.urandom(1 << 20)
        with self.daemon(lambda _: answer(*[part] * 20)):
            done = subprocess.run([DRENDCTL, "show-x"], capture_output=True, env=self.env,
                                  timeout=PATIENCE)
        self.assertTrue(done.stdout == part * 20 and done.returncode == 0)

    def test_output_that_cannot_be_written(self):
        with self.daemon(lambda _: answer(XML)):
            closed = subprocess.run(["sh", "-c", '"$0" show-x >&-', DRENDCTL], env=self.env,
                                    stderr=subprocess.PIPE, timeout=PATIENCE)
            self.assertEqual(closed.returncode, 3)

    def test_a_reader_that_goes_ends_it_quietly(self):
        ends = []

        def serve(peer):
            peer.line()
            peer.send(chunk("<a>"))
            ends.append(peer.receive())  # silent: only the pipe says that nobody reads

        with self.daemon(serve=serve) as daemon:
            process = self.start("show-x")
            self.assertEqual(process.stdout.read(3), b"<a>")
            process.stdout.close()
            self.assertEqual(process.wait(PATIENCE), 141)
            self.assertEqual(process.stderr.read(), b"")
        daemon.thread.join(PATIENCE)
        self.assertEqual(ends, [b"\x03"])


class Lines(Case):
    def test_requests_share_a_connection_and_the_first_fault_counts(self):
        replies = {"a": "1", "b": "210\n", "c": "error: c", "d as-json": "2"}
        lines = b"a\n\n#remark\n  \r\nb\nc\nbad\0\n" + b"x" * 70000 + b"\nd as-json"
        for words in ([], ["-"]):
            with self.daemon(lambda request: answer(replies[request])) as daemon:
                self.assertEqual(self.run_it(*words, stdin=lines), (
                    4, "12", "error: c\n"
                    "drendctl: a request cannot hold the byte 0\ndrendctl: line 7 was not sent\n"
                    "drendctl: the request is longer than 65536 bytes\n"
                    "drendctl: line 8 was not sent\n"))
            self.assertEqual((daemon.requests, daemon.connections), (list(replies), 1))

    def test_a_connection_lost_in_between_is_made_anew(self):
        def serve(peer):
            peer.line()
            peer.send(answer("1"))
        with self.daemon(serve=serve) as daemon:
            process = self.start(stdin=subprocess.PIPE, bufsize=0)
            for count in (1, 2):
                process.stdin.write(b"a\n")
                self.assertEqual(process.stdout.read(1), b"1")
                self.wait_for(lambda count=count: daemon.closed == count)
            process.communicate(timeout=PATIENCE)
            self.assertEqual(process.returncode, 0)

    UNASKED = "drendctl: the daemon has answered what nobody asked\n"

    def test_answers_that_nobody_asked_for(self):
        cases = [
            ("a\n", [answer("1") + answer("2")], "1"),
            ("a\nb\n", [answer("1") + b"\n", answer("2")], "12"),
            ("a\nb\n", [answer("1"), answer("1") + answer("2")], "11"),
            ("a\n", [answer("error: no") + answer("1")], ""),
        ]
        for lines, replies, output in cases:
            left = replies.copy()
            with self.daemon(lambda _, left=left: left.pop(0)):
                code, *printed = self.run_it(stdin=lines)
            self.assertEqual((code, printed[0]), (3, output), replies)
            self.assertTrue(printed[1].endswith(self.UNASKED), printed)

    def test_an_answer_that_nobody_asked_for_comes_later(self):
        for more in (b"", b"a\n"):  # it waits when the next request or the end of input comes
            def serve(peer):
                while peer.line() is not None:
                    peer.send(answer("1"))
                    if not is_sent.is_set():
                        self.assertTrue(is_read.wait(PATIENCE))
                        peer.send(answer("2"))
                        is_sent.set()

            is_read, is_sent = threading.Event(), threading.Event()
            with self.daemon(serve=serve):
                process = self.start(stdin=subprocess.PIPE, bufsize=0)
                process.stdin.write(b"a\n")
                self.assertEqual(process.stdout.read(1), b"1")
                is_read.set()
                self.assertTrue(is_sent.wait(PATIENCE))
                error = process.communicate(more, timeout=PATIENCE)[1].decode()
            self.assertEqual((process.returncode, error), (3, self.UNASKED), more)

    def test_a_connection_lost_within_an_answer_ends_the_run(self):
        with self.daemon(lambda request: None if request == "b" else answer("1")) as daemon:
            self.assertEqual(self.run_it(stdin="a\nb\nc\n"),
                             (3, "1", "drendctl: connection lost\n"))
        self.assertEqual(daemon.requests, ["a", "b"])


class Interrupts(Case):
    INCOMPLETE = b"drendctl: interrupted: the answer is incomplete\n"

    def serve(self, peer):
        peer.line()
        peer.send(chunk("<a>"))
        self.received.append(peer.receive())
        if self.follows:
            peer.send(answer("<never-shown/>", "\nerror: interrupted\n"))
        self.received.append(peer.receive())

    def interrupted(self, follows, times):
        """The exit code and the output behind the first bytes."""
        self.received, self.follows = [], follows
        with self.daemon(serve=self.serve):
            process = self.start("show-x")
            self.assertEqual(process.stdout.read(3), b"<a>")
            for _ in range(times):
                process.send_signal(signal.SIGINT)
                self.wait_for(lambda: len(self.received) > 0)
            code = process.wait(PATIENCE)
            self.wait_for(lambda: len(self.received) == 2)
        return code, process.stdout.read(), process.stderr.read()

    def test_the_first_has_the_daemon_end_the_answer_and_the_second_closes_at_once(self):
        for follows, times in (True, 1), (False, 2):
            self.assertEqual(self.interrupted(follows, times), (130, b"", self.INCOMPLETE))
            self.assertEqual(self.received, [b"\x03", b""])

    def test_an_interrupt_frees_from_a_reader_that_does_not_read(self):
        received = []

        def serve(peer):
            peer.line()
            sender = threading.Thread(target=lambda: peer.send(chunk(b"x" * 4000000) + END))
            sender.start()
            received.append(peer.receive())
            sender.join(PATIENCE)

        with self.daemon(serve=serve):
            process = self.start("show-x")
            self.assertEqual(process.stdout.read(1), b"x")
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(PATIENCE), 130)
            self.wait_for(lambda: received)
        self.assertEqual(received, [b"\x03"])

    def test_an_answer_that_was_read_but_not_written(self):
        read_end, write_end = os.pipe()
        self.addCleanup(os.close, read_end)
        room = fcntl.fcntl(read_end, fcntl.F_GETPIPE_SZ)
        parts, is_read = [b"x" * (room - 8000), b"x" * 16000], threading.Event()

        def serve(peer):
            def is_taken():
                return not any(fcntl.ioctl(peer.connection, termios.TIOCOUTQ, b"    "))
            peer.line()
            peer.send(chunk(parts[0]))
            self.wait_for(is_taken)
            peer.send(answer(parts[1]))
            self.wait_for(is_taken)
            is_read.set()
            peer.receive()

        with self.daemon(serve=serve):
            process = self.start("show-x", stdout=write_end)
            os.close(write_end)
            self.assertTrue(is_read.wait(PATIENCE))
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.communicate(timeout=PATIENCE)[1], self.INCOMPLETE)
        self.assertEqual(process.returncode, 130)

    def test_waiting_for_requests(self):
        read_end, write_end = os.pipe()
        with self.daemon(lambda _: answer("1")):
            process = self.start(stdin=read_end)
            os.write(write_end, b"a\n")
            self.assertEqual(process.stdout.read(1), b"1")
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(PATIENCE), 130)
        os.close(read_end)
        os.close(write_end)


if __name__ == "__main__":
    unittest.main()
