# SPDX-License-Identifier: BSD-2-Clause
"""Daemons that a test plays: a registration, a management socket, and what is said on it."""

import contextlib
import pathlib
import socket
import threading


def framed(*chunks):
    return b"".join(b"\n#%d\n%s" % (len(c), c) for c in chunks) + b"\n##\n"


class FakeDaemon:
    """Registers in RUN_DIR. For each request SCRIPT(send, request) is called, which returns whether the
    connection stays."""

    def __init__(self, run_dir, name, script, modules=()):
        self.requests = []
        self.script = script
        path = pathlib.Path(run_dir, name + ".socket")
        self.entry = pathlib.Path(run_dir, name + ".daemon")
        self.listener = socket.socket(socket.AF_UNIX)
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
                self.requests.append(line.decode())
                if not self.script(connection.sendall, line):
                    return


def says(*chunks):
    def script(send, _):
        send(framed(*chunks))
        return True
    return script


def flood(sent, until=lambda: False):
    """An answer that goes on until told; `sent` has the size of each of its pieces."""
    rows = b"<a>1234567890</a>\n" * 800

    def script(send, _):
        while not until():
            send(framed(rows)[:-4])
            sent.append(len(rows))
        send(b"\n##\n")
        return True
    return script
