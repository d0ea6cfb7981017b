#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""One <get>, many daemons: netconf_daemons_test.py ORVEX_NETCONF NETSTATD LEASESD MEASURES_MEMORY"""

import html
import json
import os
import pathlib
import re
import subprocess
import sys
import threading
import unittest
import xml.etree.ElementTree as ET

from fake_daemon import END_OF_CHUNKS, TYPE, chunks_of, framed, note, says
from netconf_session import END, LEASESD_PREFIX, ORVEX_NETCONF, PATIENCE, Sessions, get
from netstatd_yang import LEASES, MODULES, SERVER, errors_of

CHUNK_MAX = 16384
# What leasesd has of its pools, shown as another daemon shows interfaces, but without its prefixes
INTERFACES_OF_POOLS = {
    "dc_name": "corvane-netconf-get", "dc_app_name": "leasesd", "dc_tag": {
        "dts_name": "interfaces", "dts_namespace": "xmlns='urn:ietf:params:xml:ns:yang:ietf-interfaces'",
        "dts_source": "/dhcp", "dts_kids": [{
            "dts_name": "interface", "dts_type": "list", "dts_source": "pool", "dts_key": ["name"],
            "dts_kids": [{"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]}]}}


class ManyDaemons(Sessions):
    def test_daemons_are_asked_one_after_the_other(self):
        a = self.daemon("a", says(b"<a>", b"</a>"), ["urn:a?module=a"], ["x list, xmlns urn:a"])
        b = self.daemon("b", says(status="end: complete\ncode: nothing"), ["urn:b?module=b", "urn:bb"],
                        ["x container, xmlns urn:b", "p:w leaf, xmlns urn:bb"])
        c = self.daemon("c", says(b"<c>1</c>"), [], ["x list, key, xmlns urn:p", "y list, xmlns urn:p"])
        session = self.session()
        self.assertEqual(self.data(session, "<filter><x/></filter>"), "<a></a><c>1</c>")
        for content, asked in (("<x/>", "abc"), ("<x xmlns='urn:b'/>", "b"), ("<w xmlns='urn:bb'/>", "b"),
                               ("<x xmlns='urn:bb'/><x xmlns='urn:a'/><y/>", "ac"),
                               ("<x xmlns='urn:z'/><z/>", ""), ("", "")):
            for daemon in a, b, c:
                daemon.requests.clear()
            self.data(session, f"<filter>{content}</filter>")
            self.assertEqual([len(d.requests) for d in (a, b, c)],
                             [name in asked for name in "abc"], content)
        self.data(session, "<filter xmlns:p='urn:p'>\n<p:x k='1'> it's \\ <![CDATA[<b>]]>\n"
                           "</p:x><!-- --><p:y><p:z/><q xmlns=''/></p:y></filter>")
        self.assertEqual(c.requests[-1], "corvane-netconf-get as-ietf-xml ascii compact filter='"
                         '<x xmlns="urn:p" attribute="">it&#x27;s &#x5C; &#x3C;b&#x3E;</x>'
                         '<y xmlns="urn:p"><z/><q xmlns=""/></y>\'\n')

    def test_answers_are_passed_on_however_they_are_cut(self):
        # Protocol 1 would have taken that for an error.
        text = b"error: <a>" + b"&#xE9;" * 6000 + b"</a>\nerror: 210\n"
        for size in 1, 1000, 65536:
            self.daemon(f"d{size}", says(*(text[i:i + size] for i in range(0, len(text), size))),
                        [f"urn:{size}"])
        session = self.session()
        self.assertTrue(self.data(session) == text.decode() * 3)
        self.assertLessEqual(max(session.chunks), CHUNK_MAX)

    def showing(self, name, *elements):
        """A daemon whose answers have those of the elements, "TOP": "XML", that the filter asks for; each byte
        comes by itself."""
        def script(send, request):
            _, found, filters = request.decode().strip().partition("filter=")
            asked = {(e.tag.partition("}")[2] or e.tag, e.tag.partition("}")[0][1:] if "}" in e.tag else "")
                     for e in ET.fromstring(f"<f>{filters[1:-1]}</f>")}
            shown = "".join(text for top, text in elements if not found or asked & {
                (top.split()[0], ""), (top.split()[0], top.partition("xmlns ")[2])})
            send(framed(*(byte.encode() for byte in shown)))
            return True
        return self.daemon(name, script, [], [top for top, _ in elements])

    def test_containers_of_several_daemons_are_joined(self):
        def p(xmlns, content, more=""):
            return f"p container, xmlns urn:{xmlns}", f"<p xmlns='urn:{xmlns}' at='a>b'{more}>{content}</p>"
        first = self.showing("d1", p("s", "<l><m>1</m></l>"), ("only list, xmlns urn:s", "<only/><only/>"),
                             ("q container", "<q/>"))
        # Its prefixes are declared by the kids, unless they do that themselves.
        self.showing("d2", ("q container", "<q ><m/></q>"),
                     p("s", "<l/><l b='x:c'>2</l><l xmlns:x='urn:y' >x:d</l>", ' xmlns:x="urn:x"'))
        self.showing("d3", p("t", "<l>3</l>"), ("r list", "<r><l/></r><r><l/></r>"))
        self.showing("d4", ("r list", "<r><l/></r>"), ("q container", ""), p("s", "<l>4</l>"))
        session = self.session()
        x = ' xmlns:x="urn:x"'
        p_joined = p("s", f"<l><m>1</m></l><l{x}/><l{x} b='x:c'>2</l><l xmlns:x='urn:y' >x:d</l><l>4</l>")[1]
        q_joined, rows = "<q><m/></q>", "<r><l/></r>" * 3
        for content, expected in (
                ("<q/>", q_joined), ("<p xmlns='urn:s'><l/></p>", p_joined),
                ("<p/>", p_joined + p("t", "<l>3</l>")[1]), ("<r/>", rows), ("<only/><only/>", "<only/>" * 2),
                ("<q/><p><l/></p><r/><p><k/></p>", p_joined + q_joined + p("t", "<l>3</l>")[1] + rows)):
            self.assertEqual(self.data(session, f"<filter>{content}</filter>"), expected, content)
        self.assertIn("filter='<p><l/></p><p><k/></p>'", first.requests[-2])
        whole, found, own = self.data(session, "").partition("<netconf-state ")
        self.assertEqual(whole, "<only/>" * 2 + p_joined + q_joined + p("t", "<l>3</l>")[1] + rows)
        self.assertIn("</yang-library>", found + own)
        self.assertEqual([request.partition("filter=")[2] for request in first.requests[-3:]],
                         ["'<only xmlns=\"urn:s\"/>'\n", "'<p xmlns=\"urn:s\"/>'\n", "'<q/>'\n"])

    def test_containers_of_the_example_daemons_are_joined(self):
        prefix = pathlib.Path(self.run_dir, "usr/lib/render")
        prefix.mkdir(parents=True)
        for file in (LEASESD_PREFIX / "usr/lib/render").iterdir():
            (prefix / file.name).symlink_to(file)
        (prefix / "leasesd-interfaces.json").write_text(json.dumps([INTERFACES_OF_POOLS]), encoding="utf-8")
        self.leasesd("--leases", "3", prefix=self.run_dir)
        self.netstatd()
        session = self.session()
        whole = self.data(session, "")
        self.assertEqual(errors_of("get", whole, MODULES + SERVER + LEASES), "", whole)
        for content in whole, self.data(session, "<filter><interfaces/></filter>"):
            self.assertEqual(content.count("<interfaces "), 1)
            names = re.findall("<interface[ >].*?<name>(.*?)</name>", content)
            self.assertEqual(names[:4], ["office", "guests", "phones", "cameras"])
            self.assertIn("lo", names[4:])

    def test_what_cannot_be_joined_is_refused(self):
        self.showing("a", ("one leaf", "<one>1</one>"), ("two container", "<two/>"), ("three list", "<three/>"))
        self.showing("b", ("one leaf", "<one>1</one>"), ("two list", "<two/>"))
        self.showing("c", ("three leaf-list", "<three>1</three>"), ("four leaf", "<four>4</four>"))
        session = self.session()
        for content, reason in (
                ("<one/>", "b: shows 'one' as a leaf, a as a leaf"),
                ("<two/>", "b: shows 'two' as a list, a as a container"),
                ("<three/>", "c: shows 'three' as a leaf-list, a as a list")):
            text = session.ask(get(f"<filter>{content}</filter>"))
            self.assertIn(f">{reason}<", html.unescape(text))
            self.assertIn("<error-tag>operation-failed<", text)
        self.assertEqual(self.data(session, "<filter><four/></filter>"), "<four>4</four>")

    def test_what_is_joined_has_to_be_whole(self):
        self.daemon("a", says(b"<a x='1'/>"), [], ["a container"])
        for text, reason in ((b"<a>", "its XML is not whole"), (b"<a><!--</a>--></a>", "shows what is no element"),
                             (b"<a", "its XML is not whole"),
                             (b"a", "shows text outside an element"), (b"</a>", "closes what is not open"),
                             (b"<a " + b"a" * 5000, "a tag is too long"),
                             (b"<a\"b c=\"d\">\">", "shows 'a\"b' where it was asked for 'a'"),
                             (b"<a/><b/>", "shows 'b' where it was asked for 'a'"),
                             (b"<a x='2'/>", "begins 'a' in another way than another daemon"),
                             (b"<a xmlns='2'/>", "begins 'a' in another way than another daemon")):
            self.daemon("b", says(text), [], ["a container"])
            session = self.session()
            session.send(get())
            code, error, out = session.finish()
            self.assertEqual((code, error), (1, f"orvex-netconf: b: {reason}\n"))
            self.assertNotIn(b"</rpc-reply>", out)

    def test_a_failure_before_the_reply_is_an_error(self):
        error = ("application", "operation-failed", {}, {"message-id": "1"})
        self.daemon("b", says(b"<b/>"), ["urn:b"])
        for script, more, reason in (
                (says(status="end: refused\ncode: c\ntext: not today"), {}, "a: not today"),
                (says(status="end: given-up\ntext: lost it"), {}, "a: lost it"),
                (says(status="code: nothing"), {}, "a: malformed answer: it does not say how it ended"),
                (lambda send, _: send(b"\n#8\n"), {}, "a: closed the connection"),
                (lambda send, _: send(b"hello"), {}, "a: malformed answer: byte "),
                (lambda send, _: send(chunks_of(b"<a/>")), {}, "a: answers with '' instead of "),
                (says(b"<a/>"), {"tops": None},
                 "a: answers with 'application/yang-data+xml' instead of 'text/plain'"),
                (says(*[b"kid   a container\n" * 100] * 50, media_type=b"text/plain"), {"tops": None},
                 "a: shows too many elements"),
                (lambda send, _: send(framed() + framed()), {}, "a: malformed answer: more than"),
                (says(), {"greeting": chunks_of(b"error: too many\n") + END_OF_CHUNKS}, "a: too many"),
                (says(), {"greeting": END_OF_CHUNKS}, "a: malformed answer: has no protocol 2"),
                (says(), {"greeting": note("s", b"x" * 10000)}, "a: says too much")):
            daemon = self.daemon("a", script, ["urn:a"], **more)
            session = self.session()
            text = session.ask(get())
            self.assertIn(f">{reason}", html.unescape(text))
            self.assertEqual(session.fault(get()), error)
            # It goes on, also with a daemon that is not there at all.
            daemon.listener.close()
            self.assertEqual(session.fault(get()), error)
            pathlib.Path(self.run_dir, "a.socket").unlink()
            self.assertEqual(session.fault(get()), error)
            pathlib.Path(self.run_dir, "a.daemon").unlink()
            self.assertEqual(self.data(session), "<b/>")

    def test_who_may_not_open_a_socket_is_told_so(self):
        self.daemon("a", says(b"<a/>"), ["urn:a"])
        self.daemon("b", says(b"<b/>"), ["urn:b"], ["b container, xmlns urn:b"])
        socket = pathlib.Path(self.run_dir, "a.socket")
        os.chmod(self.run_dir, 0o1777)
        os.chmod(pathlib.Path(self.run_dir, "b.socket"), 0o666)
        # Nothing is closed to root.
        starter = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if os.geteuid() == 0 else []
        if subprocess.run([*starter, "test", "-x", ORVEX_NETCONF], check=False).returncode != 0:
            self.skipTest("another user cannot start the program here")
        session = self.session(starter=starter)
        os.chmod(socket, 0)
        self.assertEqual(session.fault(get())[:2], ("application", "access-denied"))
        self.assertIn(">a: ", session.ask(get()))
        self.assertEqual(self.data(session, "<filter><b xmlns='urn:b'/></filter>"), "<b/>")
        os.chmod(socket, 0o666)
        self.assertEqual(self.data(session), "<a/>")

    def test_a_failure_within_the_reply_ends_the_session(self):
        held = threading.Event()
        self.addCleanup(held.set)
        begun = b"<a>1234567890</a>"
        start = note("t", TYPE) + chunks_of(begun)

        def hangs(send, _):
            send(start)
            held.wait(PATIENCE)

        for script, reason, options in (
                (says(begun, status="end: given-up\ntext: lost it"), "a: lost it", ()),
                (says(begun, status="end: interrupted"), "a: ", ()),
                (says(begun, status="end:"), "a: malformed answer: it does not say how it ended", ()),
                (lambda send, _: send(start + END_OF_CHUNKS),
                 "a: malformed answer: it does not say how it ended", ()),
                (lambda send, _: send(framed(begun)[:-4]), "a: closed the connection", ()),
                (hangs, "a: says nothing", ("--patience", "1"))):
            for versions in "0", "1":
                self.daemon("a", script)
                session = self.session(versions, *options)
                session.send(get())
                code, error, out = session.finish()
                self.assertEqual((code, error), (1, f"orvex-netconf: {reason}\n"))
                self.assertIn(b"<a>123", out)
                for mark in END, b"\n##\n", b"</rpc-reply>", b"rpc-error":
                    self.assertNotIn(mark, out)

    def test_a_daemon_that_says_nothing_is_an_error(self):
        held = threading.Event()
        self.addCleanup(held.set)
        self.daemon("a", lambda *_: held.wait(PATIENCE))
        session = self.session("1", "--patience", "1")
        self.assertIn("a: says nothing", session.ask(get()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
