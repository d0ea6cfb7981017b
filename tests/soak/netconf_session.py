# SPDX-License-Identifier: BSD-2-Clause
"""A NETCONF client at random: a session of orvex-netconf on pipes, and a new one when that has ended."""

import collections
import os
import re
import signal
import subprocess

import documents
import framing
from framing import Malformed
from loop import READ, WRITE

BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"
NOTIFICATION = "urn:ietf:params:xml:ns:netconf:notification:1.0"
MONITORING = "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring"
NMDA = 'xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-nmda" xmlns:ds="urn:ietf:params:xml:ns:yang:ietf-datastores"'
IETF = "urn:ietf:params:xml:ns:yang:ietf-"
LEASES = "urn:example:dhcp-leases"
THINKING = 0.3  # seconds between two messages, on the average
SLOW_PIECE, SLOW_PAUSE = 4096, 0.02
PIECE = 1 << 16
PATIENCE = 60  # seconds; only a fault lasts so long
# Why a daemon may give its answer up.
UNAVAILABLE = re.compile(r"cannot read the kernel's ")

FILTERS = (
    f'<interfaces xmlns="{IETF}interfaces"/>',
    f'<interfaces xmlns="{IETF}interfaces"><interface><name>lo</name><statistics/></interface></interfaces>',
    f'<routing xmlns="{IETF}routing"/>',
    f'<dhcp xmlns="{LEASES}"><pool/></dhcp>', f'<dhcp xmlns="{LEASES}"><statistics/></dhcp>',
    f'<dhcp xmlns="{LEASES}"><lease><address>10.0.0.7</address></lease></dhcp>',
    f'<dhcp xmlns="{LEASES}"><pool><name>guests</name></pool></dhcp>'
    f'<interfaces xmlns="{IETF}interfaces"><interface><name/></interface></interfaces>',
    f'<netconf-state xmlns="{MONITORING}"/>', f'<yang-library xmlns="{IETF}yang-library"/>')
LEASES_OF_A_POOL = f'<dhcp xmlns="{LEASES}"><lease><pool>phones</pool><mac/></lease></dhcp>'
REFUSED = (  # what comes back as an rpc-error
    "<lock/>", "", "<get/><get/>", '<b xmlns="urn:b"/>', '<get><filter type="xpath" select="/"/></get>',
    f'<get-schema xmlns="{MONITORING}"><identifier>../none</identifier></get-schema>',
    "<kill-session><session-id>1</session-id></kill-session>", "<get>&b;</get>", "<get>")


def get(content):
    return f'<get><filter type="subtree">{content}</filter></get>'


def get_data(content):
    return (f"<get-data {NMDA}><datastore>ds:operational</datastore>"
            f"<subtree-filter>{content}</subtree-filter></get-data>")


class Message:
    """What comes: its kind and the bytes of its beginning, once it is whole."""

    def __init__(self):
        self.document = documents.Xml()
        self.start = b""

    def take(self, data):
        self.document.feed(data)
        self.start += data[:max(0, 600 - len(self.start))]

    def kind(self):
        self.document.close()
        for word in "notification", "rpc-error", "ok", "data", "hello":
            if f"<{word}".encode() in self.start:
                return word
        raise Malformed(f"what is {self.start!r}?")


class NetconfSession:
    def __init__(self, world, rng):
        self.world, self.rng = world, rng
        self.process, self.command = None, [world.netconf, "--run-dir", world.folder]
        self.plans = ((self.get, 50), (self.refused, 10), (self.subscribe, 3), (self.get_much, 4),
                      (self.close_session, 4), (self.end_input, 2), (self.kill, 2), (self.several, 8))
        self.think()

    def waits_for(self):
        return self.asked if self.process else ()

    # --- the process ---

    def start(self):
        # pylint: disable-next=consider-using-with
        self.process = subprocess.Popen(self.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, bufsize=0)
        self.input, self.output = self.process.stdin.fileno(), self.process.stdout.fileno()
        os.set_blocking(self.input, False)
        os.set_blocking(self.output, False)
        self.reader, self.message, self.is_chunked = framing.MarkReader(), None, False
        self.unsent = b""
        self.asked = collections.deque()  # the kinds of message that each reply may be
        self.end_code = None  # that is to come
        self.is_subscribed, self.number, self.piece = False, 0, PIECE
        self.world.tally.count("sessions", "begun")
        self.world.loop.watch(self.output, READ, self.on_readable)
        self.asked.append({"hello"})
        version = self.rng.choice("01")
        self.write(f'<hello xmlns="{BASE}"><capabilities><capability>urn:ietf:params:netconf:base:1.'
                   f'{version}</capability></capabilities></hello>]]>]]>'.encode())
        self.becomes_chunked = version == "1"

    def write(self, data):
        self.unsent += data
        self.on_writable(0)

    def close_input(self):
        """Its number may be another descriptor's at once."""
        if self.process.stdin:
            self.world.loop.watch(self.input, 0, None)
            self.process.stdin.close()
            self.process.stdin = None

    def on_writable(self, _events):
        try:
            self.unsent = self.unsent[os.write(self.input, self.unsent):]
        except BlockingIOError:
            pass
        except BrokenPipeError:
            self.unsent = b""  # its end is read
        self.world.loop.watch(self.input, WRITE if self.unsent else 0, self.on_writable)

    def on_readable(self, _events):
        try:
            data = os.read(self.output, self.piece)
        except BlockingIOError:
            return
        if not data:
            self.end()
            return
        self.world.tally.count("bytes", "netconf", by=len(data))
        try:
            self.feed(data)
        except Malformed as error:
            self.fault(str(error))
            self.kill()

    def feed(self, data):
        for kind, piece in self.reader.feed(data):
            if kind != framing.END:
                self.message = self.message or Message()
                self.message.take(piece)
                continue
            message, self.message = self.message, None
            self.take(message)

    def fault(self, what):
        self.world.tally.fault(f"a NETCONF session: {what}")

    def end(self):
        """Its output has ended, and so has it, or it is about to."""
        self.world.loop.watch(self.output, 0, None)
        self.close_input()
        try:
            said = self.process.communicate(timeout=PATIENCE)[1].decode(errors="replace").strip()
        except subprocess.TimeoutExpired:
            self.process.kill()
            said = "it did not end"
        code, self.process = self.process.wait(), None
        self.judge_end(code, said)
        self.think()

    def judge_end(self, code, said):
        if code == 1 and UNAVAILABLE.search(said):
            self.world.tally.count("sessions", "given up")
        elif code != self.end_code or said or (code == 0 and self.asked):
            self.fault(f"it ends with {code}, not {self.end_code}: {said!r}; to come: {list(self.asked)}")
        else:
            self.world.tally.count("sessions", "ended" if code == 0 else "killed")

    # --- messages ---

    def take(self, message):
        kind = message.kind()
        self.world.tally.count("netconf", kind)
        if kind == "notification":
            if not self.is_subscribed:
                raise Malformed("a notification for nobody")
            return
        if not self.asked:
            raise Malformed("a reply that nobody asked for")
        allowed = self.asked.popleft()
        if kind not in allowed and not (kind == "rpc-error" and b"cannot read the kernel" in message.start):
            raise Malformed(f"{message.start!r}, not {allowed}")
        if kind == "hello" and self.becomes_chunked:
            self.is_chunked, self.reader = True, framing.ChunkReader()
        if not self.asked and self.end_code is None:
            self.think()

    def rpc(self, content, *allowed):
        self.number += 1
        text = f'<rpc xmlns="{BASE}" message-id="{self.number}">{content}</rpc>'.encode()
        self.asked.append(set(allowed))
        self.write(b"\n#%d\n%s\n##\n" % (len(text), text) if self.is_chunked else text + framing.MarkReader.MARK)

    def think(self):
        self.world.loop.after(self.rng.expovariate(1 / THINKING), self.turn)

    def turn(self):
        if self.world.is_over:
            if self.process:
                self.end_input()
        elif self.world.tide.holds_back(self.think):
            pass
        elif self.process is None:
            self.start()
        elif not self.asked:
            plans, weights = zip(*self.plans)
            self.rng.choices(plans, weights)[0]()

    # --- plans ---

    def get(self):
        self.rpc(self.rng.choice((get, get_data))(self.rng.choice(FILTERS)), "data")

    def several(self):
        for _ in range(self.rng.randrange(2, 5)):
            self.rng.choice((self.get, self.get, self.refused))()

    def refused(self):
        self.rpc(self.rng.choice(REFUSED), "rpc-error")

    def subscribe(self):
        self.rpc(f'<create-subscription xmlns="{NOTIFICATION}"/>', "rpc-error" if self.is_subscribed else "ok")
        self.is_subscribed = True

    def get_much(self):
        """A reply of some size, read slowly for a while; perhaps not to its end."""
        self.rpc(get(LEASES_OF_A_POOL), "data")
        self.piece = SLOW_PIECE
        process, steps = self.process, self.rng.randrange(100)
        self.world.loop.watch(self.output, 0, None)

        def step():
            nonlocal steps
            if process is not self.process:
                return True
            steps -= 1
            if steps > 0 and not self.world.tide.is_ebb:
                self.on_readable(0)
                return False
            self.piece = PIECE
            self.world.loop.watch(self.output, READ, self.on_readable)
            if self.rng.random() < 0.8:
                self.kill()
            return True
        self.world.loop.every(SLOW_PAUSE, step)

    def close_session(self):
        self.rpc("<close-session/>", "ok")
        self.end_code = 0

    def end_input(self):
        if self.rng.random() < 0.5:
            self.get()
        self.end_code = 0
        assert not self.unsent  # a pipe has room for so little
        self.close_input()

    def kill(self):
        self.end_code = -signal.SIGKILL
        self.process.kill()
