# SPDX-License-Identifier: BSD-2-Clause
"""A client's connection to a management socket, whose answers are checked as they come."""

import collections
import socket
import time

import framing
from answers import Answer
from asked import Request
from loop import READ

INTERRUPT = b"\x03"
PIECE = 1 << 18


class Connection:
    """Calls on_answer(request, status) behind each answer and on_end() when it is over, which is a
    fault unless `may_end` or `awaits_end` is set. `status` is None in protocol 1."""

    def __init__(self, loop, tally, daemon, protocol, on_answer, on_end):
        self.loop, self.tally, self.daemon, self.protocol = loop, tally, daemon, protocol
        self.on_answer, self.on_end = on_answer, on_end
        self.reader, self.answer = framing.ChunkReader(), None
        self.asked = collections.deque()
        self.may_end = False     # the daemon may close it: it was not read for too long
        self.read_last = time.monotonic()
        self.awaits_end = False  # and will, behind the answers
        self.piece = PIECE  # as much as is read at once
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(str(daemon.socket))
        self.socket.setblocking(False)
        self.fd = self.socket.fileno()
        self.resume()
        if protocol == 2:
            self.ask(Request("protocol=2", "protocol", ends={"complete": ("",)}))

    @property
    def is_open(self):
        return self.socket is not None

    def ask(self, request, end=b"\n"):
        if not self.asked:
            self.read_last = time.monotonic()
        self.asked.append(request)
        self.send(request.line.encode() + end)

    def send(self, data):
        """What the daemon does not take, it has a reason for: it is about to close."""
        try:
            if self.socket.send(data) < len(data):
                self.fault(f"the daemon takes no more of {data[:40]!r}")
        except BlockingIOError:
            self.fault(f"the daemon takes nothing of {data[:40]!r}")
        except OSError:
            pass  # the end is read

    def interrupt(self):
        """Everything that was asked before may be interrupted from now on; the wish for a protocol is not,
        for it would not be known which one is spoken."""
        if any(request.form == "protocol" for request in self.asked):
            return
        for request in self.asked:
            request.interrupted = True
        self.send(INTERRUPT)

    def end_requests(self):
        self.awaits_end = True
        self.socket.shutdown(socket.SHUT_WR)

    def pause(self):
        if self.is_open:
            self.loop.watch(self.fd, 0, None)

    def resume(self):
        if self.is_open:
            self.loop.watch(self.fd, READ, self.on_readable)

    def close(self):
        if self.is_open:
            self.pause()
            self.socket.close()
            self.socket = None

    def fault(self, what):
        asked = self.asked[0].line[:200] if self.asked else "nothing"
        self.tally.fault(f"{self.daemon.name}, protocol {self.protocol}, asked {asked!r}: {what}")
        self.end()

    def end(self):
        if self.is_open:
            self.close()
            self.on_end()

    def on_readable(self, _events):
        """Whether on purpose or because the machine is busy: who takes nothing may be closed."""
        now = time.monotonic()
        self.may_end = self.may_end or (self.asked and now - self.read_last > self.daemon.patience / 2)
        self.read_last = now
        try:
            data = self.socket.recv(self.piece)
        except BlockingIOError:
            return
        except ConnectionError:
            data = b""
        if not data:
            self.on_eof()
            return
        self.tally.count("bytes", self.daemon.name, by=len(data))
        try:
            for kind, piece in self.reader.feed(data):
                self.take(kind, piece)
                if not self.is_open:
                    return
        except framing.Malformed as error:
            self.fault(str(error))

    def on_eof(self):
        if not (self.may_end or self.awaits_end and not self.asked):
            self.fault("the connection was closed")
        elif self.socket is not None:
            self.tally.count("connections", "closed by the daemon")
            self.end()

    def take(self, kind, piece):
        if not self.asked:
            raise framing.Malformed("an answer that nobody asked for")
        if self.answer is None:
            self.answer = Answer(self.asked[0], self.protocol)
        if kind != framing.END:
            self.answer.take(kind, piece)
            return
        answer, self.answer = self.answer, None
        outcome = answer.outcome()
        request = self.asked.popleft()
        self.tally.count("answers", outcome)
        self.tally.count("forms", request.form)
        for name in answer.seen:
            self.tally.count("seen", name.decode())
        self.awaits_end = self.awaits_end or request.ends_connection
        self.on_answer(request, answer.status)
