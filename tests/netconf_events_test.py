#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Notifications in a NETCONF session: netconf_events_test.py ORVEX_NETCONF NETSTATD LEASESD 0"""

import contextlib
import os
import pathlib
import queue
import signal
import sys
import threading
import unittest
import unittest.mock
import xml.etree.ElementTree as ET

from fake_daemon import END_OF_CHUNKS, TYPE, chunks_of, framed, note
from netconf_session import BASE, Sessions, get, get_schema, rpc
from netstatd_yang import OWN, errors_of

STREAMS = "urn:ietf:params:xml:ns:netmod:notification"
NOTIFICATION = "urn:ietf:params:xml:ns:netconf:notification:1.0"
OK = f'<rpc-reply xmlns="{BASE}" message-id="1"><ok/></rpc-reply>'


def subscription(content=""):
    return rpc(f"<create-subscription xmlns='{NOTIFICATION}'>{content}</create-subscription>")


def event(name):
    return (f'<notification xmlns="{NOTIFICATION}"><eventTime>2026-11-22T08:00:00Z</eventTime>'
            f'<{name} xmlns="urn:e"/></notification>')


class Events(Sessions):
    def announcer(self, name, modules=()):
        """A daemon; what is put into its queue is a part of its endless answer, None ends that."""
        said = queue.Queue()

        def script(send, request):
            if not request.startswith(b"events"):
                send(framed(b"<got/>"))
                return True
            send(note("t", TYPE + b"; stream=events"))
            while (text := said.get()) is not None:
                send(chunks_of(text.encode()))
            return False
        daemon = self.daemon(name, script, modules)
        self.addCleanup(said.put, None)
        return daemon, said

    def told(self, session):
        """The name of the next notification, and the text of what it holds."""
        told, = list(ET.fromstring(session.message()))[1:]
        return told.tag.partition("}")[2], "".join(told.itertext())

    def test_events_of_all_daemons_stand_between_replies(self):
        _, first = self.announcer("a")
        _, second = self.announcer("b")
        nothing = note("s", b"end: refused\ncode: unknown-entry\ntext: no\n") + END_OF_CHUNKS
        silent = self.daemon("c", lambda send, request: not send(
            nothing if request.startswith(b"events") else framed(b"<got/>")))
        session = self.session("0")
        for word in "notification", "interleave":
            self.assertIn(f"urn:ietf:params:netconf:capability:{word}:1.0", session.announced)
        self.assertEqual(session.ask(subscription("<stream>NETCONF</stream>")), OK)
        text = event("one")
        first.put(text[:50])
        first.put(text[50:] + "\n" + event("two") + "\n" + event("three")[:9])
        for name in "one", "two":
            self.assertEqual(session.message().decode(), event(name))
        self.assertIn("<got/>", session.ask(get()))
        second.put(event("four") + "\n")
        self.assertEqual(session.message().decode(), event("four"))
        first.put(event("three")[9:] + "\n")
        self.assertEqual(session.message().decode(), event("three"))
        self.assertEqual(session.fault(subscription())[:2], ("protocol", "in-use"))
        self.assertIn("events as-ietf-xml ascii compact\n", silent.requests)

    def test_the_stream_and_its_modules_are_known(self):
        session = self.session()
        shown = self.data(session, f"<filter><netconf xmlns='{STREAMS}'/></filter>")
        self.assertEqual(shown, f'<netconf xmlns="{STREAMS}"><streams><stream><name>NETCONF</name><description>All '
                                "events of all daemons</description><replaySupport>false</replaySupport></stream>"
                                "</streams></netconf>")
        self.assertEqual(errors_of("data", shown, OWN), "")
        for file in OWN:
            name, _, revision = file.stem.partition("@")
            text = session.ask(get_schema(name, f"<version>{revision}</version>"))
            self.assertEqual(ET.fromstring(text)[0].text, file.read_text(encoding="utf-8"))
            self.assertTrue([uri for uri in session.announced if f"?module={name}&revision={revision}" in uri])

    def test_nothing_stands_within_a_reply(self):
        begun, more = queue.Queue(), queue.Queue()

        def slowly(send, request):
            if request.startswith(b"events"):
                send(note("t", TYPE))
            else:
                send(note("t", TYPE) + chunks_of(b"<long>"))
                begun.put(None)
                more.get()
                send(chunks_of(b"</long>") + note("s", b"end: complete\n") + END_OF_CHUNKS)
            return True
        self.daemon("a", slowly)
        _, said = self.announcer("b")
        session = self.session()
        self.assertEqual(session.ask(subscription()), OK)
        session.send(get())
        begun.get()
        said.put(event("one") + "\n" + event("two") + "\n")
        while b"<long>" not in session.bytes:
            session.more()
        more.put(None)
        self.assertIn(b"<long></long><got/></data></rpc-reply>", session.message())
        self.assertEqual([self.told(session)[0] for _ in range(2)], ["one", "two"])

    def test_what_cannot_be_subscribed_to_is_refused(self):
        daemon, _ = self.announcer("a", ["urn:e?module=e"])
        session = self.session()
        for content, error in (
                ("<stream>other</stream>", ("application", "bad-element", {"bad-element": "stream"})),
                ("<startTime>2026-01-01T00:00:00Z</startTime>",
                 ("application", "operation-not-supported", {"bad-element": "startTime"})),
                ("<stopTime>2026-01-01T00:00:00Z</stopTime>",
                 ("protocol", "missing-element", {"bad-element": "startTime"})),
                ("<filter type='xpath' select='/'/>",
                 ("protocol", "bad-attribute", {"bad-attribute": "type", "bad-element": "filter"})),
                ("<streams/>", ("protocol", "unknown-element", {"bad-element": "streams"}))):
            with self.subTest(content=content):
                self.assertEqual(session.fault(subscription(content))[:3], error)
        self.assertEqual(daemon.requests, [])
        # A daemon that ought to be there is not left out in silence, but where it is not concerned.
        gone = pathlib.Path(self.run_dir, "gone.daemon")
        gone.write_text(f"name gone\nsocket {self.run_dir}/none\nmodule urn:g?module=g\n")
        self.assertEqual(session.fault(subscription())[:2], ("application", "operation-failed"))
        self.assertEqual(session.ask(subscription("<filter><e xmlns='urn:e'/></filter>")), OK)
        self.assertEqual(daemon.requests[-1],
                         "events as-ietf-xml ascii compact filter='<e xmlns=\"urn:e\"/>'\n")

    def test_two_daemons_refuse_at_once(self):
        asked, answers, answered = queue.Queue(), threading.Event(), queue.Queue()

        def script(send, _):
            asked.put(None)
            answers.wait()
            send(note("s", b"end: refused\ncode: other\ntext: no\n") + END_OF_CHUNKS)
            answered.put(None)
            return True
        for name in "ab":
            self.daemon(name, script)
        # What is freed is not what it was.
        with unittest.mock.patch.dict(os.environ, {"MALLOC_PERTURB_": "165"}):
            session = self.session()
        session.send(subscription())
        for _ in "ab":
            asked.get()
        session.process.send_signal(signal.SIGSTOP)
        os.waitpid(session.process.pid, os.WUNTRACED)
        answers.set()
        for _ in "ab":
            answered.get()
        session.process.send_signal(signal.SIGCONT)
        self.assertRegex(session.message().decode(), ">[ab]: no<")  # a greeting may be read with it
        self.assertEqual(session.ask(rpc("<close-session/>")), OK)

    def test_a_daemon_that_says_nothing_is_an_error(self):
        self.daemon("a", lambda send, request: True)
        session = self.session("01", "--patience", "1")
        self.assertEqual(session.fault(subscription())[:2], ("application", "operation-failed"))

    def test_events_are_no_sign_of_life(self):
        going = threading.Event()
        self.addCleanup(going.set)

        def endless(send, request):
            send(note("t", TYPE))
            while request.startswith(b"events") and not going.wait(0.1):
                send(chunks_of((event("e") + "\n").encode()))
            return True
        self.daemon("a", endless)
        session = self.session("01", "--patience", "1")
        self.assertEqual(session.ask(subscription()), OK)
        session.send(get())
        while b"rpc-reply" not in (said := session.message()):
            self.assertEqual(said.decode(), event("e"))
        self.assertIn(b"says nothing", said)

    def test_daemons_that_go_and_come_are_told(self):
        daemon, said = self.announcer("a")
        self.announcer("b")
        session = self.session()
        self.assertEqual(session.ask(subscription()), OK)
        said.put(event("one") + 9 * "\n" + event("two") + "\n" + event("half")[:20])
        for name in "one", "two":
            self.assertEqual(self.told(session)[0], name)
        said.put(None)
        self.assertEqual(self.told(session), ("event-source-lost", "a"))
        daemon.listener.close()
        _, said = self.announcer("a")
        self.assertEqual(self.told(session), ("event-source-found", "a"))
        said.put(event("two") + "\n")
        self.assertEqual(self.told(session)[0], "two")
        self.assertIn("<got/>", session.ask(get()))

    def test_who_comes_and_goes_is_not_looked_for_while_the_client_takes_nothing(self):
        asked = queue.Queue()

        def script(send, _):
            send(note("t", TYPE))
            asked.put(None)
            return False  # gone again
        def comes_again():
            """Whether it is looked for; before its loss was seen it need not be."""
            for _ in range(100):
                daemon.entry.write_text(entry, encoding="utf-8")
                with contextlib.suppress(queue.Empty):
                    asked.get(timeout=0.03)
                    return True
            return False
        session = self.session()
        self.assertEqual(session.ask(subscription()), OK)
        daemon = self.daemon("a", script)
        asked.get()
        entry = daemon.entry.read_text(encoding="utf-8")
        rounds = 1
        while rounds < 3000 and comes_again():
            rounds += 1
        self.assertLess(rounds, 2000)
        for _ in range(rounds):
            self.assertEqual(self.told(session), ("event-source-found", "a"))
            self.assertEqual(self.told(session), ("event-source-lost", "a"))
        self.assertTrue(comes_again())

    def test_a_client_that_takes_nothing_leaves_events_with_their_daemons(self):
        sent = []
        line = (event("e") + "\n").encode() * 100

        def flood(send, _):
            send(note("t", TYPE))
            while True:
                send(chunks_of(line))
                sent.append(len(line))
        self.daemon("a", flood)
        session = self.session()
        self.assertEqual(session.ask(subscription()), OK)
        before = self.held_back(sent)
        while len(sent) == before:
            self.assertEqual(session.message().decode(), event("e"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
