#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Runs drendctl against a socket that this test answers: drendctl_test.py DRENDCTL COMPLETION

COMPLETION is the file with bash's completion. Every wait has an end that is far beyond what it takes.
"""

import contextlib
import fcntl
import os
import pathlib
import pty
import select
import signal
import socket
import subprocess
import sys
import tempfile
import termios
import threading
import time
import unittest

# What is ignored here would be ignored by the program, too.
signal.signal(signal.SIGINT, signal.default_int_handler)

DRENDCTL = sys.argv.pop(1)
COMPLETION = sys.argv.pop(1)
PATIENCE = 60  # seconds
XML = "<a>\n  <b>1</b>\n</a>\n"
MENU = "drend show-interfaces\tNetwork interfaces\ndrend show-routes\tRouting \x1b[2Jtables\n"


def chunk(text):
    data = text if isinstance(text, bytes) else text.encode()
    return b"\n#%d\n%s" % (len(data), data) if data else b""


END = b"\n##\n"


def note(tag, text):
    return b"\n#%c%d\n%s" % (tag, len(text), text.encode())


def status_answer(text, status="end: complete\n", media_type="application/xml"):
    return note(b"t", media_type) * bool(text) + chunk(text) + note(b"s", status) + END



def answer(*texts):
    return b"".join(map(chunk, texts)) + END


def menu_answer(request):
    """What a daemon with the menu of MENU answers to a question."""
    begun = request[:-1].split(" ")[-1]
    return answer("".join(line for line in MENU.splitlines(True)
                          if line.split("\t")[0].split(" ")[-1].startswith(begun)))


class Peer:
    """The daemon's side of one connection."""

    def __init__(self, connection):
        connection.settimeout(PATIENCE)
        self.connection = connection
        self.unread = b""

    def receive(self, size=4096):
        """The next bytes; none at the end."""
        with contextlib.suppress(ConnectionError):
            return self.connection.recv(size)
        return b""

    # What the wish for protocol 2 is answered with: by a daemon without it.
    greeting = chunk("error: 'protocol=2' is no command; there are: drend\n") + END

    def line(self):
        """The next request, or None at the end; the wish for protocol 2 is none."""
        while (line := self.any_line()) == "protocol=2":
            self.send(self.greeting)
        return line

    def any_line(self):
        while b"\n" not in self.unread:
            data = self.receive()
            if not data:
                return None
            self.unread += data
        line, self.unread = self.unread.split(b"\n", 1)
        return line.decode()

    def send(self, data):
        self.connection.sendall(data)


class Daemon:
    """Serves each connection by `serve(peer)`, one after the other; `requests` has the lines that
    were answered by `reply(request)` where there is no other way to serve."""

    def __init__(self, folder, reply=None, serve=None):
        self.path = os.path.join(folder, "socket")
        self.reply, self.serve = reply, serve or self.serve_lines
        self.requests, self.connections, self.closed, self.served = [], 0, 0, None
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(self.path)
        self.listener.listen()
        self.thread = threading.Thread(target=self.run, daemon=True)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        for end in (self.listener, self.served):
            with contextlib.suppress(OSError):  # it may be closed already
                end and end.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join(PATIENCE)
        os.unlink(self.path)

    def run(self):
        with contextlib.suppress(OSError):
            while True:
                connection = self.served = self.listener.accept()[0]
                self.connections += 1
                with connection, contextlib.suppress(ConnectionError):
                    self.serve(Peer(connection))
                self.closed += 1

    def serve_lines(self, peer):
        while (request := peer.line()) is not None:
            self.requests.append(request)
            reply = self.reply(request)
            if reply is None:
                return
            peer.send(reply)


class Terminal:
    """The program on a terminal of its own; `streams` of it are the terminal, others are pipes."""

    def __init__(self, command, env, streams=("stdin", "stdout", "stderr")):
        self.master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, b"\x28\x00\xc8\x00\x00\x00\x00\x00")

        def own_terminal():
            os.setsid()
            fcntl.ioctl(slave, termios.TIOCSCTTY, 0)

        kinds = {name: slave if name in streams else subprocess.PIPE
                 for name in ("stdin", "stdout", "stderr")}
        self.process = subprocess.Popen(command, env=env, preexec_fn=own_terminal, **kinds)
        os.close(slave)
        self.text = ""
        self.seen = 0

    def type(self, text):
        os.write(self.master, text.encode())

    def read(self):
        """Reads more of what is shown; False when there will be no more."""
        if not select.select([self.master], [], [], PATIENCE)[0]:
            raise AssertionError(f"nothing more after {self.text!r}")
        try:
            data = os.read(self.master, 65536)
        except OSError:
            data = b""
        self.text += data.decode(errors="replace")
        return bool(data)

    def expect(self, text):
        """Waits until `text` is shown behind what was expected before; gives what is between."""
        while (found := self.text.find(text, self.seen)) < 0:
            if not self.read():
                raise AssertionError(f"no {text!r} in {self.text[self.seen:]!r}")
        between = self.text[self.seen:found]
        self.seen = found + len(text)
        return between

    def finish(self):
        """The exit code, all of the text having been read."""
        while self.read():
            pass
        code = self.process.wait(PATIENCE)
        os.close(self.master)
        for stream in (self.process.stdin, self.process.stdout, self.process.stderr):
            if stream:
                stream.close()
        return code


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.env = {"HOME": self.folder, "XDG_STATE_HOME": self.folder + "/state",
                    "TERM": "xterm", "LC_ALL": "C.UTF-8", "PATH": os.environ["PATH"],
                    "DRENDCTL_SOCKET": self.folder + "/socket"}
        self.env.update({key: value for key, value in os.environ.items() if "SAN_OPT" in key})

    def daemon(self, reply=None, serve=None):
        return Daemon(self.folder, reply, serve)

    def run_it(self, *words, stdin="", **more):
        """(exit code, standard output, standard error)"""
        data = stdin if isinstance(stdin, bytes) else stdin.encode()
        done = subprocess.run([DRENDCTL, *words], input=data, capture_output=True, env=self.env,
                              timeout=PATIENCE, **more)
        return done.returncode, done.stdout.decode("latin1"), done.stderr.decode()

    def start(self, *words, **more):
        process = subprocess.Popen([DRENDCTL, *words], env=self.env, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, **more)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.kill)
        return process

    def wait_for(self, condition):
        end = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)

    def terminal(self, *words, **more):
        terminal = Terminal([DRENDCTL, *words], self.env, **more)
        self.addCleanup(terminal.process.kill)
        return terminal


class Requests(Case):
    def test_what_is_sent(self):
        cases = [
            (["show-x", "name=lo"], "show-x name=lo"),
            (["show-x", "name=a b", "as-json"], "show-x name='a b' as-json"),
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
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        file = pathlib.Path(folder.name) / "filter.xml"
        file.write_text("\n<a>\n  <b>it's</b>\n</a>\n")
        path = pathlib.Path(folder.name) / "path"
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
        cases = [
            (answer(XML), 0, XML, ""),
            (answer(*XML), 0, XML, ""),
            (END, 0, "", ""),
            (answer("{}"), 0, "{}", ""),
            (answer(hostile.encode("latin1")), 0, hostile, ""),
            (answer("210\n"), 4, "", ""),
            (answer("2", "10", "\n"), 4, "", ""),
            (answer("210\n", "1"), 0, "210\n1", ""),
            (answer("error: no such command\n"), 1, "", "error: no such command\n"),
            (answer("<a>", "\nerror: out of memory"), 1, "<a>", "error: out of memory\n"),
            (answer("<a>", "\nerror: text\n", "b"), 0, "<a>\nerror: text\nb", ""),
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
            (status_answer("<a>", "end: given-up\ntext: why\n"), 1, "<a>", "error: why\n"),
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
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        file = pathlib.Path(folder.name) / "a.json"
        file.write_text("[\n {}]")
        finding = f"{file}:2:2: error: what is wrong [id]\n"
        place = "  2 |  {}]\n    |  ^\n"
        errors, warnings = "1 errors, 0 warnings\n", "0 errors, 1 warnings\n"
        json = '[\n {"severity": "error"}\n]\n'
        cases = [
            (["check"], [finding, errors], 5, finding + place + errors),
            (["drend", "check", f"path={file}"], [finding, errors], 5, finding + place + errors),
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

    def test_bytes_come_one_by_one(self):
        def serve(peer):
            peer.line()
            for byte in answer("<a>", "\nerror: given up"):
                peer.send(bytes([byte]))
        with self.daemon(serve=serve):
            self.assertEqual(self.run_it("show-x"), (1, "<a>", "error: given up\n"))

    def test_a_long_answer_is_passed_on_as_it_is(self):
        part = os.urandom(1 << 20)
        with self.daemon(lambda _: answer(*[part] * 20)):
            done = subprocess.run([DRENDCTL, "show-x"], capture_output=True, env=self.env,
                                  timeout=PATIENCE)
        self.assertTrue(done.stdout == part * 20 and done.returncode == 0)

    def test_output_that_cannot_be_written(self):
        with self.daemon(lambda _: answer(XML)), open("/dev/full", "wb") as full:
            done = subprocess.run([DRENDCTL, "show-x"], stdout=full, stderr=subprocess.PIPE,
                                  env=self.env, timeout=PATIENCE)
            self.assertEqual((done.returncode, done.stderr),
                             (3, b"drendctl: cannot write: No space left on device\n"))
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
            process = subprocess.Popen([DRENDCTL], env=self.env, stdin=subprocess.PIPE,
                                       stdout=subprocess.PIPE)
            self.addCleanup(process.kill)
            for count in (1, 2):
                process.stdin.write(b"a\n")
                process.stdin.flush()
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
                process = subprocess.Popen([DRENDCTL], env=self.env, stdin=subprocess.PIPE,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                self.addCleanup(process.kill)
                process.stdin.write(b"a\n")
                process.stdin.flush()
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

    def test_the_first_has_the_daemon_end_the_answer(self):
        self.assertEqual(self.interrupted(True, 1), (130, b"", self.INCOMPLETE))
        self.assertEqual(self.received, [b"\x03", b""])

    def test_the_second_closes_at_once(self):
        self.assertEqual(self.interrupted(False, 2), (130, b"", self.INCOMPLETE))
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
            process = subprocess.Popen([DRENDCTL, "show-x"], env=self.env, stdout=write_end,
                                       stderr=subprocess.PIPE)
            self.addCleanup(process.kill)
            os.close(write_end)
            self.assertTrue(is_read.wait(PATIENCE))
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.communicate(timeout=PATIENCE)[1], self.INCOMPLETE)
        self.assertEqual(process.returncode, 130)

    def test_waiting_for_requests(self):
        read_end, write_end = os.pipe()
        with self.daemon(lambda _: answer("1")):
            process = subprocess.Popen([DRENDCTL], env=self.env, stdin=read_end,
                                       stdout=subprocess.PIPE)
            self.addCleanup(process.kill)
            os.write(write_end, b"a\n")
            self.assertEqual(process.stdout.read(1), b"1")
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(PATIENCE), 130)
            process.stdout.close()
        os.close(read_end)
        os.close(write_end)


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

    def test_progress_is_shown_and_taken_away(self):
        is_seen = threading.Event()

        def serve(peer):
            peer.line()
            end = time.monotonic() + PATIENCE
            while not is_seen.wait(0.1) and time.monotonic() < end:
                peer.send(chunk("x" * 1000))
            peer.send(END)

        with self.daemon(serve=serve):
            terminal = self.terminal("show-x", streams=("stdin", "stderr"))
            terminal.expect(" kB received, ")
            terminal.expect(" kB/s, ")
            terminal.expect(" s")
            is_seen.set()
            terminal.expect("\r\x1b[K")
            self.assertEqual(terminal.process.stdout.read().strip(b"x"), b"")
            self.assertEqual(terminal.finish(), 0)
            self.assertTrue(terminal.text.endswith("\r\x1b[K"))


class Tables(Case):
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
            return status_answer(text, "end: complete\ncursor: a b\n", "text/plain")
        return status_answer(XML)

    def setUp(self):
        super().setUp()
        self.patched = Peer.greeting
        Peer.greeting = status_answer("")
        self.addCleanup(setattr, Peer, "greeting", self.patched)

    def test_a_terminal_gets_tables_where_there_are_any(self):
        coloured = "\x1b[1mname\x1b[0m\n\x1b[32mup\x1b[0m\\x1b[2J\nthere is more: cursor='a b'\n"
        plain = "name\nup\nthere is more: cursor='a b'\n"
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
            terminal.expect("drendctl> ")
            terminal.type("show-x na\t")
            terminal.expect("me=")
            terminal.type("lo ?")
            terminal.expect("as-table  Table\r\n")
            terminal.type("| include up\n")
            self.assertNotIn("name", terminal.expect("up\r\n")[-5:])
            terminal.expect("drendctl> ")
            terminal.type("show-x --xml | count\n")
            terminal.expect("3\r\n")
            terminal.type(f"show-x | json | save {saved}\n")
            terminal.expect("drendctl> ")
            terminal.type("show-x | grep a\n")
            terminal.expect("'grep a' is nothing to pipe into")
            terminal.type("exit\n")
            self.assertEqual(terminal.finish(), 0)
        self.assertEqual(saved.read_text(), XML)
        self.assertIn("show-x as-ietf-json", daemon.requests)


    def test_completion(self):
        cases = [("show-x ", "as-table\nname=\n"), ("show-x na", "name=\n"),
                 ("show-x name=lo ", "as-table\n"), ("other ", "")]
        with self.daemon(self.reply):
            for typed, words in cases:
                self.assertEqual(self.run_it("--complete", typed), (0 if words else 4, words, ""))


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
            terminal = self.terminal("--color", "never")
            terminal.expect("drendctl> ")
            terminal.type("show-i\t")
            terminal.expect("nterfaces ")
            terminal.type("\n")
            terminal.expect("<a>1</a>\r\n")
            terminal.expect("drendctl> ")
            terminal.type("sh\t\t")  # the common beginning, then what there is
            terminal.expect("ow-")
            terminal.expect("drend show-interfaces  Network interfaces\r\n")
            terminal.expect("drend show-routes      Routing \\x1b[2Jtables\r\n")
            terminal.type("r?")
            terminal.expect("drend show-routes  Routing")
            terminal.type("\t\t")
            terminal.expect("outes ")
            terminal.expect("\x07")  # there is nothing behind it
            terminal.type("?")
            terminal.expect("nothing can follow\r\n")
            terminal.type("\n")
            terminal.expect("nothing to show\r\n")
            terminal.type("show x='a?'\n")
            terminal.expect("error: no show x='a?'\r\n")
            terminal.type("x?")
            terminal.expect("nothing can follow\r\n")
            terminal.type("\x03quit\n")
            self.assertEqual(terminal.finish(), 0)
            self.assertEqual(daemon.connections, 1)
        self.assertNotIn("\x1b[2J", terminal.text)
        self.assertEqual([r for r in daemon.requests if not r.endswith("?")],
                         ["show-interfaces", "show-routes", "show x='a?'"])

    def test_history_stays_and_the_end_of_input_ends_it(self):
        history = pathlib.Path(self.folder, "state", "drendctl", "history")
        with self.daemon(self.reply):
            for keys in ("show-routes\n", "\x1b[A\n"):
                terminal = self.terminal()
                terminal.expect("drendctl> ")
                terminal.type(keys)
                terminal.expect("nothing to show\r\n")
                terminal.expect("drendctl> ")  # before, the terminal would take the key itself
                terminal.type("\x04")
                self.assertEqual(terminal.finish(), 0)
            self.assertIn("show-routes", history.read_text())
            self.assertEqual(history.stat().st_mode & 0o077, 0)
            self.env["XDG_STATE_HOME"] = "/dev/null"
            terminal = self.terminal()
            terminal.type("show-routes\nexit\n")
            terminal.expect("nothing to show\r\n")
            self.assertEqual(terminal.finish(), 0)

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
            terminal = self.terminal("--color", "never")
            terminal.expect("drendctl> ")
            terminal.type("unfinished")
            terminal.expect("unfinished")
            terminal.type("\x03")
            terminal.expect("drendctl> ")
            terminal.type("long\n")
            terminal.expect("<a>")
            terminal.type("\x03")
            terminal.expect("drendctl: interrupted: the answer is incomplete\r\n")
            terminal.expect("drendctl> ")
            terminal.type("again\n")
            terminal.expect("done\r\n")
            terminal.type("exit\n")
            self.assertEqual(terminal.finish(), 0)
        self.assertNotIn("never-shown", terminal.text)

    def test_a_daemon_that_comes_back(self):
        with self.daemon(lambda request: None if request == "die" else answer("fine")) as daemon:
            terminal = self.terminal()
            terminal.type("die\n")
            terminal.expect("drendctl: connection lost\r\n")
            terminal.type("show\n")
            terminal.expect("fine\r\n")
        terminal.type("show\n")
        terminal.expect("drendctl: cannot connect")
        terminal.type("exit\n")
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
        script = f"source {COMPLETION}; compopt() {{ :; }}; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); "
        script += "_drendctl; printf '%s\\n' \"${COMPREPLY[@]}\""
        done = subprocess.run(["bash", "--norc", "-euc", script, "bash", DRENDCTL, *words],
                              env=self.env, capture_output=True, timeout=PATIENCE, text=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout.splitlines() if done.stdout != "\n" else []

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
