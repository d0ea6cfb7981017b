# SPDX-License-Identifier: BSD-2-Clause
"""A client of orvex-netconf on pipes, whose framing is the tests' own; and the daemons that it asks.

The arguments of such a test begin with ORVEX_NETCONF NETSTATD LEASESD MEASURES_MEMORY.
"""

import contextlib
import os
import pathlib
import select
import subprocess
import sys
import tempfile
import threading
import unittest
import xml.etree.ElementTree as ET

from fake_daemon import PATIENCE, FakeDaemon, started
from netstatd_yang import BASE, MONITORING

ORVEX_NETCONF, NETSTATD, LEASESD = sys.argv[1:4]
MEASURES_MEMORY = sys.argv[4] == "1"
LEASESD_PREFIX = pathlib.Path(__file__).resolve().parent.parent / "examples/leasesd"
SOON = 10  # seconds: far less than the 60 that the daemons and the server are patient for
CAPABILITY = "urn:ietf:params:netconf:base:1."
END = b"]]>]]>"


def hello(versions="01", more="", capability=CAPABILITY):
    listed = "".join(f"<capability>{capability}{v}</capability>" for v in versions)
    return f"<hello xmlns='{BASE}'><capabilities>{listed}</capabilities>{more}</hello>".encode() + END


def rpc(content, message_id="1", more=""):
    return f"<rpc xmlns='{BASE}' message-id='{message_id}'{more}>{content}</rpc>"


def kill_session(number):
    return rpc(f"<kill-session><session-id>{number}</session-id></kill-session>")


def get_schema(identifier, more=""):
    return rpc(f"<get-schema xmlns='{MONITORING}'><identifier>{identifier}</identifier>{more}</get-schema>")


# What every daemon that the tests play has at the top, unless it says something else
ANYTHING = "<filter><a/></filter>"


def get(content=ANYTHING, message_id="1", more=""):
    return rpc(f"<get>{content}</get>", message_id, more)


class Session:
    """A client of one orvex-netconf."""

    def __init__(self, run_dir, versions="01", *options, starter=(), program=ORVEX_NETCONF):
        # pylint: disable-next=consider-using-with
        self.process = subprocess.Popen(
            [*starter, program, "--run-dir", run_dir, *options], stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0)
        self.is_chunked = "1" in versions
        self.bytes = b""
        self.chunks = []  # their lengths
        if versions:
            self.write(hello(versions))
            self.hello = ET.fromstring(self.until(END))
            self.number = self.hello.findtext(f"{{{BASE}}}session-id")
            self.announced = [e.text for e in self.hello.iter(f"{{{BASE}}}capability")]

    def write(self, data):
        self.process.stdin.write(data)

    def more(self):
        ready = select.select([self.process.stdout], [], [], PATIENCE)[0]
        data = os.read(self.process.stdout.fileno(), 65536) if ready else b""
        if not data:
            raise EOFError(self.bytes)
        self.bytes += data

    def until(self, mark):
        while mark not in self.bytes:
            self.more()
        text, _, self.bytes = self.bytes.partition(mark)
        return text

    def take(self, size):
        while len(self.bytes) < size:
            self.more()
        data, self.bytes = self.bytes[:size], self.bytes[size:]
        return data

    def message(self):
        if not self.is_chunked:
            return self.until(END)
        text = []
        while True:
            assert self.take(2) == b"\n#", text
            length = self.until(b"\n")
            if length == b"#":
                return b"".join(text)
            self.chunks.append(int(length))
            text.append(self.take(int(length)))

    def send(self, text):
        data = text.encode()
        self.write(b"\n#%d\n%s\n##\n" % (len(data), data) if self.is_chunked else data + END)

    def ask(self, text):
        """The reply as it came: always in ASCII."""
        self.send(text)
        return self.message().decode("ascii")

    def fault(self, text):
        """Type and tag of the reply's only error, its info, and the reply's attributes."""
        reply = ET.fromstring(self.ask(text))
        error, = reply
        found = {e.tag.partition("}")[2]: e.text for e in error.iter()}
        assert found["error-severity"] == "error" and found["error-message"]
        info = {name: text for name, text in found.items() if name.startswith("bad-")}
        return found["error-type"], found["error-tag"], info, reply.attrib

    def finish(self):
        """The exit code and standard error of a session that ends by itself."""
        out, error = self.process.communicate(timeout=PATIENCE)
        return self.process.returncode, error.decode(), self.bytes + out

    def close(self):
        with contextlib.suppress(BrokenPipeError):
            self.process.stdin.close()
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        self.process.stderr.close()


class Sessions(unittest.TestCase):
    def setUp(self):
        self.run_dir = self.enterContext(tempfile.TemporaryDirectory())

    def session(self, *arguments, **more):
        session = Session(self.run_dir, *arguments, **more)
        self.addCleanup(session.close)
        return session

    def held_back(self, sent):
        """Waits until a daemon stops: what is under way between it and the client is what sockets hold.
        How many pieces that are."""
        while True:
            before = len(sent)
            threading.Event().wait(1)
            if len(sent) == before:
                self.assertLess(sum(sent), 2 * 1024 * 1024)
                return before

    def daemon(self, name, script, *more, **options):
        daemon = FakeDaemon(self.run_dir, name, script, *more, **options)
        self.addCleanup(daemon.listener.close)
        return daemon

    def netstatd(self, socket="netstatd.socket"):
        path = pathlib.Path(self.run_dir, socket)
        return started([NETSTATD, "--socket", path, "--run-dir", self.run_dir],
                       f"netstatd: serving {path}\n", self.addCleanup)

    def leasesd(self, *options, prefix=LEASESD_PREFIX):
        started([LEASESD, "--socket", self.run_dir + "/leasesd.socket", "--run-dir", self.run_dir,
                 "--prefix", prefix, *options], "leasesd: serving", self.addCleanup)

    def data(self, session, content=ANYTHING):
        """What is within "data"."""
        reply = session.ask(get(content))
        opening = f'<rpc-reply xmlns="{BASE}" message-id="1"><data>'
        self.assertEqual((reply[:len(opening)], reply[-len("</data></rpc-reply>"):]),
                         (opening, "</data></rpc-reply>"))
        return reply[len(opening):-len("</data></rpc-reply>")]

    def own(self, session, content):
        """The element that is selected."""
        return ET.fromstring(self.data(session, f"<filter>{content}</filter>"))
