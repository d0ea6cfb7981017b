#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Programs whose calls and allocations fail: failing_tools_test.py BIN_DIR PRELOAD

PRELOAD is failing_program.c as a shared object. Whatever fails, a program ends by itself: either it
has printed what it prints otherwise, and says so, or it says in a line what is wrong, and its status
is not 0.

A call that is made often fails at its first times, at its last one and at a few in between; all
errors of its manual at the first, one of them later.
"""

import contextlib
import errno
import os
import pathlib
import re
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

from fake_daemon import END_OF_CHUNKS, FakeDaemon, framed, note

BIN, PRELOAD = pathlib.Path(sys.argv[1]), sys.argv[2]
PATIENCE = 30  # seconds; only a fault lasts so long
FIRST, BETWEEN = 4, 6  # positions of a call that fail
ALLOCATIONS = 60
# What an answer has that says itself what is missing; `check` shows files that it can read.
MARKS = {"orvex-netconf": "<rpc-error>", "drend-lint": r"\[unreadable\]",
         "drendctl check": r":2:3: warning: nothing\n$", "netstatd": "\nerror: out of memory\n$"}
LEAVE_OUT = ("netstatd",)  # a table that cannot be read, and go on behind it
BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"
LIBRARY = "<yang-library xmlns='urn:ietf:params:xml:ns:yang:ietf-yang-library'/>"
ROWS = b"".join(b"<row>%04d</row>\n" % n for n in range(2000))
SHOWN = """[{"dc_name": "show-c", "dc_tag": {"dts_name": "c", "dts_source": "/c", "dts_kids": [
    {"dts_name": "x", "dts_type": "leaf", "dts_source": "x"}]}}]"""
DUMP = "".join(f"/list{n} list\n/list{n}/leaf leaf\n" for n in range(700))

# What manuals name, but for what is a fault of the program itself. Those that pass are tried again.
PASSING = (errno.EINTR, errno.EAGAIN)
FAULTS = {
    "socket": (errno.EACCES, errno.EMFILE, errno.ENFILE, errno.ENOBUFS, errno.ENOMEM),
    "setsockopt": (errno.ENOMEM,),
    "connect": (errno.EINTR, errno.EACCES, errno.ECONNREFUSED, errno.ENOENT, errno.ENOMEM),
    "fcntl": (errno.EACCES, errno.EPERM),
    "send": (errno.EINTR, errno.EAGAIN, errno.ECONNRESET, errno.ENOBUFS, errno.ENOMEM, errno.EPIPE),
    "recv": (errno.EINTR, errno.EAGAIN, errno.ECONNRESET, errno.ENOMEM),
    "shutdown": (errno.ENOTCONN,),
    "read": (errno.EINTR, errno.EIO),
    "write": (errno.EINTR, errno.EIO, errno.ENOSPC, errno.EPIPE),
    "pwrite": (errno.EIO, errno.ENOSPC, errno.EDQUOT),
    "poll": (errno.EINTR, errno.ENOMEM),
    "pipe2": (errno.EMFILE, errno.ENFILE),
    "open": (errno.EACCES, errno.EINTR, errno.EIO, errno.EMFILE, errno.ENOMEM, errno.ENOSPC),
    "fopen": (errno.EACCES, errno.EMFILE, errno.ENOMEM),
    "stat": (errno.EACCES, errno.EIO, errno.ENOMEM),
    "fstat": (errno.EIO, errno.ENOMEM),
    "opendir": (errno.EACCES, errno.EMFILE, errno.ENOMEM),
    "readdir": (errno.EIO,),
    "mkdir": (errno.EACCES, errno.ENOSPC, errno.EROFS),
    "chmod": (errno.EIO, errno.EPERM),
    "fchmod": (errno.EIO, errno.EPERM),
    "unlink": (errno.EACCES, errno.EIO),
}


def rpc(number, content):
    return f"<rpc xmlns='{BASE}' message-id='{number}'>{content}</rpc>]]>]]>"


NETCONF = (f"<hello xmlns='{BASE}'><capabilities><capability>urn:ietf:params:netconf:base:1.0"
           "</capability></capabilities></hello>]]>]]>"
           + rpc(1, "<get><filter><a/></filter></get>") + rpc(2, f"<get><filter>{LIBRARY}</filter></get>")
           + rpc(3, "<create-subscription xmlns='urn:ietf:params:xml:ns:netconf:notification:1.0'/>")
           + rpc(4, "<close-session/>"))


@contextlib.contextmanager
def open_directory(path):
    descriptor = os.open(path, os.O_RDONLY)
    yield descriptor
    os.close(descriptor)


class FailingTools(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.place / "dump").write_text(DUMP, encoding="ascii")
        (self.place / "d.json").write_text('[\n {"dc_name": "c", "dc_hlp": ""}\n]\n', encoding="ascii")
        (self.place / "shown.json").write_text(SHOWN, encoding="ascii")
        (self.place / "filter").write_text("<a/>" + " " * 9000, encoding="ascii")
        FakeDaemon(self.place, "d", self.answer)
        ask = [BIN / "drendctl", "--socket", self.place / "d.socket"]
        self.cases = {
            "drendctl": ([*ask, "show"], ""),
            "drendctl -": ([*ask, "-"], "show\n# remark\nshow more\n"),
            "drendctl check": ([*ask, "check"], ""),
            "drendctl --filter": ([*ask, "--filter", self.place / "filter", "show"], ""),
            "drendctl --list": ([*ask, "--list"], ""),
            "drend-init": ([BIN / "drend-init", self.place / "dump"], ""),
            "drend-lint": ([BIN / "drend-lint", "--model", self.place / "dump",
                            self.place / "d.json"], ""),
            "orvex-netconf": ([BIN / "orvex-netconf", "--run-dir", self.place], NETCONF),
            "netstatd": ([BIN / "netstatd", "--once", "show-routes"], ""),
        }

    def answer(self, send, line):
        if line.endswith(b"?\n"):
            send(framed(b"show\tShow it\n"))
        elif line.startswith(b"events"):
            send(note("s", b"end: refused\ncode: unknown-entry\ntext: no events\n") + END_OF_CHUNKS)
        elif b"check" in line:
            send(framed(f"{self.place}/d.json:2:3: warning: nothing\n".encode()))
        else:
            send(framed(ROWS))
        return True

    def run_tool(self, name, **environment):
        command, text = self.cases[name]
        done = subprocess.run(command, input=text, capture_output=True, text=True, timeout=PATIENCE,
                              check=False, env={**os.environ, "LD_PRELOAD": PRELOAD, **environment})
        done.stdout = re.sub("<session-id>[0-9]+<", "<session-id>N<", done.stdout)
        return done

    def positions_of(self, name, call, between):
        made = self.place / "made"
        self.run_tool(name, DREND_FAILING_CALL=f"{call} 1000000 1", DREND_CALLS_MADE=str(made))
        times = int(made.read_text(encoding="ascii"))
        middle = range(FIRST, times, max(times // between, 1))
        return sorted({*range(1, min(times, FIRST) + 1), *middle, *([times] if times else [])})

    def check(self, name, whole, call, number, error):
        with self.subTest(f"{name}: {call} {number}: {errno.errorcode[error]}"):
            done = self.run_tool(name, DREND_FAILING_CALL=f"{call} {number} {error}")
            said = f"{done.returncode} {done.stdout[-300:]} {done.stderr}"
            if (done.returncode, done.stdout) == (whole.returncode, whole.stdout):
                return
            self.assertFalse(error in PASSING and call != "open", said)
            self.assertGreaterEqual(done.returncode, 0, said)
            is_marked = re.search(MARKS[name], done.stdout) if name in MARKS else False
            self.assertTrue(is_marked or name in LEAVE_OUT or whole.stdout.startswith(done.stdout), said)
            is_told = done.returncode != whole.returncode and done.stderr != ""
            self.assertTrue(is_marked or is_told or error == errno.EPIPE, said)

    def test_single_bytes_make_the_same_output(self):
        for name in self.cases:
            whole, by_bytes = self.run_tool(name), self.run_tool(name, DREND_ONE_BYTE="1")
            self.assertEqual((by_bytes.returncode, by_bytes.stdout, by_bytes.stderr),
                             (whole.returncode, whole.stdout, whole.stderr), name)

    def test_what_fails_is_told(self):
        for name in self.cases:
            whole = self.run_tool(name)
            for call, errors in FAULTS.items():
                for number in self.positions_of(name, call, BETWEEN):
                    for error in errors if number <= FIRST else errors[number % len(errors):][:1]:
                        self.check(name, whole, call, number, error)

    def test_a_subscription_that_would_miss_daemons_is_refused(self):
        for call, error in (("inotify_init1", errno.EMFILE), ("inotify_add_watch", errno.ENOSPC)):
            done = self.run_tool("orvex-netconf", DREND_FAILING_CALL=f"{call} 1 {error}")
            self.assertIn(f"{self.place} cannot be watched: {os.strerror(error)}", done.stdout)

    def test_memory_that_runs_out_is_told(self):
        for name in self.cases:
            whole = self.run_tool(name)
            for number in self.positions_of(name, "malloc", ALLOCATIONS):
                self.check(name, whole, "malloc", number, errno.ENOMEM)

    def test_what_is_no_input(self):
        """A directory can be opened and not read."""
        for name, options in (("drendctl -", []), ("drendctl", ["--filter", "-"]), ("orvex-netconf", [])):
            command = [*self.cases[name][0], *options]
            with self.subTest(command), open_directory(self.place) as directory:
                done = subprocess.run(command, stdin=directory, capture_output=True, text=True,
                                      timeout=PATIENCE, check=False)
                self.assertEqual((done.returncode > 0, done.stderr.count("\n")), (True, 1), done)
                self.assertIn("cannot read", done.stderr)

    def test_an_entry_that_is_none(self):
        """A pipe would be waited for."""
        entry = self.place / "e.daemon"
        os.mkfifo(entry)
        for _ in range(2):
            done = self.run_tool("orvex-netconf")
            self.assertEqual((done.returncode, done.stdout), (1, ""), done)
            self.assertIn(f"cannot read {entry}", done.stderr)
            entry.unlink()
            entry.write_bytes(b"x" * (1 << 20) + b"y")

    def test_a_full_disk_is_told(self):
        socket = self.place / "d.socket"
        ask = [BIN / "drendctl", "--socket", socket]
        commands = [command for command, text in self.cases.values() if not text]
        commands += [[*ask, form, "show"] for form in ("--json", "--table", "--lines", "--color=always")]
        commands += [[*ask, "--complete", ""], [*ask, "--watch=0.1", "show"]]
        commands += [[BIN / "drend-preview", self.place / "shown.json", *words] for words in (["--print-data"], [], ["show-c"])]
        commands += [[BIN / program, option] for option in ("--help", "--version")
                     for program in ("drendctl", "drend-init", "drend-lint", "drend-preview", "orvex-netconf")]
        commands.append([BIN / "netstatd", "--once", "show-interfaces"])
        for command in commands:
            with self.subTest(command), open("/dev/full", "wb") as full:
                done = subprocess.run(command, stdout=full, stderr=subprocess.PIPE, text=True,
                                      stdin=subprocess.DEVNULL, timeout=PATIENCE, check=False)
                self.assertGreater(done.returncode, 0, done)
                self.assertEqual(done.stderr.count("\n"), 1, done)

    def test_what_a_full_disk_has_no_room_for_is_not_left(self):
        """Files may have no byte."""
        def no_room():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))
        place = self.place / "run"
        place.mkdir()
        for name, command in (("netstatd", [BIN / "netstatd", "--socket", place / "s", "--run-dir", place]),
                              ("orvex-netconf", [BIN / "orvex-netconf", "--run-dir", place])):
            # pylint: disable-next=subprocess-popen-preexec-fn
            done = subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, check=False,
                                  stdin=subprocess.DEVNULL, preexec_fn=no_room)
            self.assertIn(os.strerror(errno.EFBIG), done.stderr, name)
            self.assertEqual([file for file in place.rglob("*") if not file.is_dir()], [], name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
