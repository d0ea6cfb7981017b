# SPDX-License-Identifier: BSD-2-Clause
"""Daemons that a test starts, or plays: a registration, a management socket, and what is said on it."""

import contextlib
import pathlib
import socket
import subprocess
import threading

PATIENCE = 120  # seconds; only a fault lasts so long
TYPE = b"application/yang-data+xml"
END_OF_CHUNKS = b"\n##\n"


def note(tag, data):
    return b"\n#%c%d\n%s" % (ord(tag), len(data), data)


def chunks_of(*chunks):
    return b"".join(b"\n#%d\n%s" % (len(c), c) for c in chunks)


def framed(*chunks, status="end: complete", media_type=TYPE):
    """An answer of protocol 2."""
    return note("t", media_type) + chunks_of(*chunks) + note("s", status.encode() + b"\n") + END_OF_CHUNKS


def started(command, ready, at_end, **more):
    """A real one, when it has written a line that begins so. `at_end(function)` has it ended."""
    # pylint: disable-next=consider-using-with
    daemon = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, **more)

    def end():
        daemon.terminate()
        daemon.communicate(timeout=PATIENCE)
    at_end(end)
    line = daemon.stdout.readline()
    assert line.startswith(ready), line + daemon.stdout.read()
    return daemon


class FakeDaemon:
    """Registers in RUN_DIR. For each request SCRIPT(send, request) is called, which returns whether the
    connection stays. The wish for protocol 2 is one only for a daemon without a GREETING, and so is the
    question for what it shows at the top, "NAME KIND" or "NAME KIND, xmlns NAMESPACE", without TOPS. WORDS are
    those that its command says it takes."""

    def __init__(self, run_dir, name, script, modules=(), tops=("a list",),
                 greeting=note("s", b"end: complete\n") + END_OF_CHUNKS, words=("depth", "content")):
        self.requests = []
        self.greeting = greeting
        self.tops = tops
        self.words = words
        self.is_left = threading.Event()  # a client has gone, and what was being said with it
        self.script = script
        path = pathlib.Path(run_dir, name + ".socket")
        self.entry = pathlib.Path(run_dir, name + ".daemon")
        self.listener = socket.socket(socket.AF_UNIX)
        path.unlink(missing_ok=True)  # that of one before
        self.listener.bind(str(path))
        self.listener.listen()
        self.entry.write_text(
            f"name {name}\nsocket {path}\napplication {name}\nsomething later\n"
            + "".join(f"module {module}\n" for module in modules), encoding="utf-8")
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        with contextlib.suppress(OSError):
            while True:
                connection = self.listener.accept()[0]
                threading.Thread(target=self.answer, args=(connection,), daemon=True).start()

    def answer(self, connection):
        with connection, contextlib.suppress(OSError):
            for line in connection.makefile("rb"):
                if line == b"protocol=2\n" and self.greeting:
                    connection.sendall(self.greeting)
                    continue
                if line == b"xwalker /corvane-netconf-get\n" and self.tops is not None:
                    connection.sendall(framed("".join(f"kid   {top}\n" for top in self.tops).encode(),
                                              media_type=b"text/plain"))
                    continue
                if line == b"corvane-netconf-get ?\n":
                    connection.sendall(framed(*(f"{word}=\t\tvalue\t\n".encode() for word in self.words),
                                              media_type=b"text/tab-separated-values"))
                    continue
                self.requests.append(line.decode())
                if not self.script(connection.sendall, line):
                    return
        self.is_left.set()


def says(*chunks, **more):
    def script(send, _):
        send(framed(*chunks, **more))
        return True
    return script


def flood(sent, until=lambda: False, begin=b"", end=b""):
    """An answer that goes on until told, and then ends; `sent` has the size of each of its pieces."""
    rows = b"<a>1234567890</a>\n" * 800

    def script(send, _):
        send(note("t", TYPE) + chunks_of(begin or b"\n"))
        while not until():
            send(chunks_of(rows))
            sent.append(len(rows))
        send(chunks_of(end or b"\n") + note("s", b"end: complete\n") + END_OF_CHUNKS)
        return True
    return script
