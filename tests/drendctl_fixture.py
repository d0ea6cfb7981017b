# SPDX-License-Identifier: BSD-2-Clause
"""What the tests of drendctl share: a daemon that a test plays, a terminal, a test's surroundings.

The first argument of each is DRENDCTL, the program. Every wait has an end that is far beyond what it
takes.
"""

import contextlib
import fcntl
import os
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

from fake_daemon import END_OF_CHUNKS as END
from fake_daemon import chunks_of, note

# What is ignored here would be ignored by the program, too.
signal.signal(signal.SIGINT, signal.default_int_handler)

DRENDCTL = sys.argv.pop(1)
PATIENCE = 60  # seconds
XML = "<a>\n  <b>1</b>\n</a>\n"
MENU = "drend show-interfaces\tNetwork interfaces\ndrend show-routes\tRouting \x1b[2Jtables\n"


def chunk(text):
    data = text if isinstance(text, bytes) else text.encode()
    return chunks_of(data) if data else b""


def status_answer(text, status="end: complete\n", media_type="application/xml"):
    return note("t", media_type.encode()) * bool(text) + chunk(text) + note("s", status.encode()) + END


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

    def talk(self, *turns):
        """Types the first text of each turn, and waits until the others are shown."""
        for typed, *shown in turns:
            self.type(typed)
            for text in shown:
                self.expect(text)

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
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
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
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        process = subprocess.Popen([DRENDCTL, *words], env=self.env, **{**streams, **more})
        for stream in (process.stdout, process.stderr):
            if stream:
                self.addCleanup(stream.close)
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

    def talk(self, *turns, words=()):
        """All that is shown in a terminal where a talk ends well."""
        terminal = self.terminal(*words)
        terminal.talk(*turns)
        self.assertEqual(terminal.finish(), 0)
        return terminal.text


class StatusCase(Case):
    """The daemon has protocol 2."""

    def setUp(self):
        super().setUp()
        self.addCleanup(setattr, Peer, "greeting", Peer.greeting)
        Peer.greeting = status_answer("")
