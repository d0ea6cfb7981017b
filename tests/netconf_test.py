#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""A NETCONF session, and what the server has itself: netconf_test.py ORVEX_NETCONF NETSTATD LEASESD MEASURES_MEMORY"""

import os
import pathlib
import pwd
import shutil
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ET

from fake_daemon import flood, says
from netconf_session import (ANYTHING, BASE, CAPABILITY, END, MEASURES_MEMORY, NETSTATD, ORVEX_NETCONF,
                             PATIENCE, SOON, Sessions, get, get_schema, hello, kill_session, rpc)
from netstatd_yang import INTERFACES, MONITORING, NMDA, SERVER, errors_of, errors_of_reply

CHUNK_MAX = 16384
MESSAGE_MAX = 65536
A = f"{{{BASE}}}a"  # what daemons show here declares no namespace
LIBRARY = "{urn:ietf:params:xml:ns:yang:ietf-yang-library}"
SCHEMAS = {
    "types.yang": "// é < & ]]> \"\nmodule types {\n\tnamespace 'urn:t';\n\tprefix t;\n  include sub;\n  revision 2026-01-01;\n}\n",
    "part.yang": "module part {\n  namespace urn:t;\n}",
    "part@2026-01-02.yang": "module part {\n  namespace \"urn:t\";\n  revision \"2026-01-02\" {}\n}",
    "sub@2026-01-03.yang": "submodule sub {\n  belongs-to types {\n}\n}",
    "alone.yang": "submodule alone {\n  belongs-to nothing {\n}\n}",
    "notes.txt": "module notes {\n  namespace 'urn:n';\n}"}


def get_data(content, datastore="d:operational", xmlns=""):
    return rpc(f"<get-data xmlns='{NMDA}' xmlns:d='urn:ietf:params:xml:ns:yang:ietf-datastores'>"
               f"<datastore{xmlns}>{datastore}</datastore>{content}</get-data>")


# A module, and what belongs to it: "k-c" is included by none of them.
PARTS = {
    "k@2026-02-01.yang": "module k {\n  namespace urn:k;\n  prefix k;\n  include \"k-a\" {\n  }\n"
                         "  revision 2026-02-01;\n  description 'See\n  include k-c'; \n}",
    "k-a@2026-02-02.yang": "submodule k-a {\n  belongs-to k { prefix k; }\n  include k-b;\n  include none;\n"
                           "  revision 2026-02-02;\n}",
    "k-a@2026-01-01.yang": "submodule k-a {\n  belongs-to k { prefix k; }\n  revision 2026-01-01;\n}",
    "k-b.yang": "submodule k-b {\n  belongs-to k { prefix k; }\n}",
    "k-c.yang": "submodule k-c {\n  belongs-to k { prefix k; }\n}"}
# Starts the program that it is told as on a kernel without pidfd_open, the system call 434: a filter of system
# calls, each of which is compared with that, says ENOSYS or lets it go on.
WITHOUT_PIDFDS = """
import ctypes, os, struct, sys
steps = ctypes.create_string_buffer(b"".join(struct.pack("HBBI", *step) for step in (
    (0x20, 0, 0, 0), (0x15, 0, 1, 434), (0x06, 0, 0, 0x50026), (0x06, 0, 0, 0x7fff0000))))
class Filter(ctypes.Structure):
    _fields_ = [("length", ctypes.c_ushort), ("steps", ctypes.c_void_p)]
prctl = ctypes.CDLL(None).prctl
assert prctl(38, 1, 0, 0, 0) == 0
assert prctl(22, 2, ctypes.byref(Filter(4, ctypes.addressof(steps)))) == 0
os.execv(sys.argv[1], sys.argv[1:])
"""


class SessionTest(Sessions):
    # --- the example daemon ---

    def test_get_of_the_example_daemon(self):
        daemon = self.netstatd()
        entry = pathlib.Path(self.run_dir, "netstatd.daemon")
        self.assertTrue(entry.exists())
        for versions in "0", "1", "01":
            session = self.session(versions)
            self.assertEqual(session.announced[:2], [CAPABILITY + "0", CAPABILITY + "1"])
            self.assertIn(INTERFACES + "?module=ietf-interfaces&revision=2018-02-20&features=if-mib",
                          session.announced)
            self.assertEqual(int(session.number), session.process.pid)
            whole = self.data(session, "")
            self.assertEqual(errors_of_reply(whole), "", whole)
            one = self.data(session, f"""<filter type='subtree'>
                <interfaces xmlns='{INTERFACES}'><interface><name> lo </name><enabled/></interface>
                </interfaces></filter>""")
            names = [e.tag.partition("}")[2] for e in ET.fromstring(one).iter()]
            self.assertEqual(names, ["interfaces", "interface", "name", "enabled"])
            self.assertEqual(session.ask(rpc("<close-session/>", "7")),
                             f'<rpc-reply xmlns="{BASE}" message-id="7"><ok/></rpc-reply>')
            self.assertEqual(session.finish(), (0, "", b""))
        daemon.terminate()
        daemon.wait(PATIENCE)
        self.assertFalse(entry.exists())

    def refused(self, run_dir):
        """What a netstatd says that cannot register, and does not serve."""
        path = pathlib.Path(self.run_dir, "s")
        ended = subprocess.run([NETSTATD, "--socket", path, "--run-dir", run_dir],
                               capture_output=True, text=True, timeout=PATIENCE, check=False)
        self.assertEqual((ended.returncode, ended.stdout, path.exists()), (1, "", False))
        return ended.stderr

    def test_a_daemon_that_cannot_register_does_not_serve(self):
        run_dir = self.run_dir + "/none"
        self.assertEqual(self.refused(run_dir), f"netstatd: cannot write {run_dir}/netstatd.daemon: "
                                                "No such file or directory\n")

    def test_of_daemons_of_one_name_the_first_is_registered(self):
        first = self.netstatd()
        entry = pathlib.Path(self.run_dir, "netstatd.daemon")
        registered = entry.read_text(encoding="utf-8")
        self.assertEqual(self.refused(self.run_dir),
                         f"netstatd: cannot write {entry}: another process has that name\n")
        self.assertEqual(entry.read_text(encoding="utf-8"), registered)
        # What one leaves that was killed is replaced.
        first.kill()
        first.wait(PATIENCE)
        self.assertTrue(entry.exists())
        self.netstatd("s")
        self.assertIn(f"socket {self.run_dir}/s\n", entry.read_text(encoding="utf-8"))

    # --- requests ---

    def test_faults(self):
        session = self.session()
        one = {"message-id": "1"}
        self.assertEqual(session.fault(f"<rpc xmlns='{BASE}'><get/></rpc>"),
                         ("rpc", "missing-attribute",
                          {"bad-attribute": "message-id", "bad-element": "rpc"}, {}))
        unknown = {"bad-element": "b", "bad-namespace": "urn:b"}
        for text, expected in (
                (rpc(""), ("rpc", "missing-element", {"bad-element": "operation"})),
                (rpc("<get/><b/>"), ("rpc", "unknown-element", {"bad-element": "b"})),
                (rpc("<lock/>"), ("protocol", "operation-not-supported", {})),
                (rpc("<b xmlns='urn:b'/>"), ("protocol", "unknown-namespace", unknown)),
                (get("<b/>"), ("protocol", "unknown-element", {"bad-element": "b"})),
                (get("<b xmlns='urn:b'/>"), ("protocol", "unknown-namespace", unknown)),
                (get("<filter/><filter/>"), ("protocol", "bad-element", {"bad-element": "filter"})),
                (get("<filter type='xpath' select='/'/>"),
                 ("protocol", "bad-attribute",
                  {"bad-attribute": "type", "bad-element": "filter"})),
                (rpc("<get>"), ("rpc", "malformed-message", {})),
                (rpc("<get/>") + "<b/>", ("rpc", "malformed-message", {})),
                (rpc("<p:get/>"), ("rpc", "malformed-message", {})),
                (rpc("<get>&b;</get>"), ("rpc", "malformed-message", {})),
                (get("<filter>" + "<b>" * 300 + "</b>" * 300 + "</filter>"),
                 ("rpc", "malformed-message", {})),
                (get(f"<filter><b>{'b' * MESSAGE_MAX}</b></filter>"), ("rpc", "too-big", {})),
                # Short enough to be read, and longer than a request once it is escaped
                (get(f"<filter><b>{'é' * 20000}</b></filter>"), ("application", "too-big", {}))):
            self.assertEqual(session.fault(text), (*expected, one), text[:200])
        utf16 = "".join(c + "\0" for c in "<?xml version='1.0'?>" + rpc(""))
        for text in " ", "<!DOCTYPE rpc [<!ENTITY b 'b'>]>" + get("&b;"), "<get", "\1", utf16:
            self.assertEqual(session.fault(text), ("rpc", "malformed-message", {}, {}), text)
        self.assertEqual(session.fault("<b/>")[:3],
                         ("rpc", "unknown-namespace", {"bad-element": "b", "bad-namespace": None}))
        self.assertEqual(session.fault(f"<b xmlns='{BASE}'/>")[:3],
                         ("rpc", "unknown-element", {"bad-element": "b"}))
        # None of them has done harm; base:1.0 does not know the tag.
        self.assertEqual(self.data(session), "")
        self.assertEqual(self.session("0").fault("")[1], "operation-failed")

    def test_attributes_come_back(self):
        session = self.session()
        attributes = " a='&amp;' xmlns:e='urn:e' e:user='fred' xml:lang='de'"
        reply = ET.fromstring(session.ask(get(ANYTHING, "&lt;é&quot;&#10;", attributes)))
        self.assertEqual(reply.attrib, {
            "message-id": '<é"\n', "a": "&", "{urn:e}user": "fred",
            "{http://www.w3.org/XML/1998/namespace}lang": "de"})
        # Names have no references, and what is no XML has no other attribute.
        session.send(get(more=" é=''"))
        self.assertEqual(ET.fromstring(session.message()).attrib, {"message-id": "1", "é": ""})
        self.assertEqual(session.fault(get(more=" a='' x:b=''"))[1:],
                         ("malformed-message", {}, {"message-id": "1"}))

    def test_an_operation_without_a_namespace_is_netconfs(self):
        self.daemon("a", says(b"<a/>"))
        session = self.session()
        for content, expected in (("<get><filter><a/></filter></get>", "<data><a/></data>"),
                                  ("<n:get><filter><a/></filter></n:get>", "<data><a/></data>"),
                                  ("<get-data/>", "<error-tag>operation-not-supported<"),
                                  ("<get><b/></get>", "<error-tag>unknown-element<")):
            self.assertIn(expected, session.ask(f"<n:rpc xmlns:n='{BASE}' message-id='1'>{content}</n:rpc>"))
        text = f"<g:get-data xmlns:g='{NMDA}'><datastore/></g:get-data>"
        self.assertEqual(session.fault(rpc(text).replace("rpc", "n:rpc").replace("xmlns=", "xmlns:n="))[1:3],
                         ("unknown-namespace", {"bad-element": "datastore", "bad-namespace": None}))

    def test_requests_are_answered_in_their_order(self):
        self.daemon("a", says(b"<a/>" * 20000), ["urn:a"])
        session = self.session()
        for number in range(20):
            session.send(get(message_id=number) if number % 2 else rpc("<lock/>", number))
        for number in range(20):
            reply = ET.fromstring(session.message())
            self.assertEqual(reply.get("message-id"), str(number))
            self.assertEqual(len(list(reply.iter(A))), number % 2 * 20000)
        # What was asked before the client's end is answered, too.
        session.send(get())
        session.process.stdin.close()
        self.assertEqual(session.message().count(b"<a/>"), 20000)
        self.assertEqual(session.process.wait(PATIENCE), 0)

    def test_what_ends_a_session(self):
        for first, expected in (
                (hello("7", capability="urn:b:"), "the client has neither base:1.0 nor base:1.1"),
                (hello("0", "<session-id>1</session-id>"), "the client's hello has a session-id"),
                (hello("0") + hello("0"), "the client says hello again"),
                (get().encode() + END, "the client's first message is no hello"),
                (END, "the client's first message is no hello"),
                (hello("1") + get().encode() + END, "the client's framing is wrong: ")):
            session = self.session("")
            session.write(first)
            code, error, _ = session.finish()
            self.assertEqual(code, 1)
            self.assertIn("orvex-netconf: " + expected, error)
        session = self.session("", "--patience", "1")
        session.process.wait(PATIENCE)
        self.assertEqual(session.finish()[:2], (1, "orvex-netconf: no hello came in time\n"))
        session = self.session()
        session.process.stdin.close()
        self.assertEqual(session.process.wait(PATIENCE), 0)

    # --- the server's own data ---

    def test_modules_are_announced_with_their_features(self):
        self.daemon("a", says(), ["urn:m?module=m&revision=2026-01-02&features=f,g", "urn:n", "urn:k?module=k"])
        folder = self.yang_dir()
        for name, text in PARTS.items():
            pathlib.Path(folder, name).write_text(text, encoding="utf-8")
        session = self.session("1", "--yang-dir", folder)
        library = [c for c in session.announced if ":yang-library:1.1?" in c]
        content_id = library[0].partition("?revision=2019-01-04&content-id=")[2]
        self.assertEqual((len(library), len(content_id)), (1, 16))
        # The daemons' and the server's own, all in the same words
        shown = self.own(session, "<yang-library/>")
        self.assertEqual(shown.findtext(f"{LIBRARY}content-id"), content_id)
        modules = []
        for module in shown.iter(f"{LIBRARY}module"):
            values = {name: module.findtext(LIBRARY + name) for name in ("name", "revision", "namespace")}
            features = [e.text for e in module.iter(f"{LIBRARY}feature")]
            uri = f"{values['namespace']}?module={values['name']}"
            uri += f"&revision={values['revision']}" if values["revision"] else ""
            modules.append(uri + (f"&features={','.join(features)}" if features else ""))
        self.assertEqual([*session.announced[:5], *sorted([*modules, "urn:n"])], session.announced)
        self.assertEqual([e.findtext(f"{LIBRARY}name") for e in shown.iter(f"{LIBRARY}import-only-module")],
                         ["part", "part", "types"])
        self.assertEqual([e.text for e in self.own(session, f"<netconf-state xmlns='{MONITORING}'>"
                                                            "<capabilities/></netconf-state>")[0]],
                         session.announced)
        submodules = {}
        for module in [*shown.iter(f"{LIBRARY}module"), *shown.iter(f"{LIBRARY}import-only-module")]:
            for part in module.findall(f"{LIBRARY}submodule"):
                submodules.setdefault(module.findtext(f"{LIBRARY}name"), {})[
                    part.findtext(f"{LIBRARY}name")] = part.findtext(f"{LIBRARY}revision")
        library_alone = "<filter><yang-library/></filter>"
        self.assertEqual(errors_of("get", self.data(session, library_alone), SERVER), "")
        self.assertEqual(submodules, {"k": {"k-a": "2026-02-02", "k-b": None}, "types": {"sub": "2026-01-03"}})
        # Other modules, another id
        self.daemon("b", says(), ["urn:m?module=m&revision=2026-01-02&features=h"])
        other = self.session()
        self.assertNotIn(library[0], other.announced)
        shown = self.own(other, "<yang-library><module-set><module><name>m</name></module></module-set>"
                                "</yang-library>")
        self.assertEqual([e.text for e in shown.iter(f"{LIBRARY}feature")], ["f", "g", "h"])

    def test_sessions_are_known(self):
        one, two = self.session(), self.session()
        ids = [one.number, two.number]
        pathlib.Path(self.run_dir, "sessions", "1").write_text("user x\n", encoding="utf-8")
        one.fault("<get")
        one.fault(rpc("<lock/>"))

        def sessions():
            shown = self.own(two, f"<netconf-state xmlns='{MONITORING}'><sessions/></netconf-state>")
            return {s[0].text: {e.tag.partition("}")[2]: e.text for e in s} for s in shown[0]}
        shown = sessions()
        self.assertEqual(sorted(shown), sorted(ids))  # a file that nobody holds is no session
        self.assertEqual(
            {name: shown[ids[0]][name] for name in ("in-rpcs", "in-bad-rpcs", "out-rpc-errors")},
            {"in-rpcs": "1", "in-bad-rpcs": "1", "out-rpc-errors": "2"})
        self.assertEqual(shown[ids[0]]["username"], pwd.getpwuid(os.getuid()).pw_name)
        self.assertRegex(shown[ids[0]]["login-time"], r"^\d{4}(-\d\d){2}T\d\d(:\d\d){2}Z$")
        invalid = ("protocol", "invalid-value", {"bad-element": "session-id"}, {"message-id": "1"})
        for number in "1", ids[1], "0", "-1", "x", "99999999999":
            self.assertEqual(two.fault(kill_session(number)), invalid, number)
        self.assertEqual(two.fault(rpc("<kill-session/>"))[1], "missing-element")
        kill = kill_session(one.number)
        self.assertIn("<ok/>", two.ask(kill))
        self.assertEqual(one.finish(), (1, "orvex-netconf: killed\n", b""))
        self.assertEqual(list(sessions()), [ids[1]])
        self.assertEqual(two.fault(kill), invalid)
        self.assertEqual(sorted(os.listdir(pathlib.Path(self.run_dir, "sessions"))), ["1", ids[1]])

    def test_no_session_is_killed_where_the_kernel_cannot_tell_processes_apart(self):
        one, two = self.session(), self.session(starter=[sys.executable, "-c", WITHOUT_PIDFDS])
        self.assertEqual(two.fault(kill_session(one.number))[:2], ("application", "operation-not-supported"))
        self.assertEqual(self.data(one), "")

    def test_a_session_is_killed_within_a_reply(self):
        daemon = self.daemon("a", flood([]))
        one, two = self.session(), self.session()
        one.send(get())
        one.take(100)
        self.assertIn("<ok/>", two.ask(kill_session(one.number)))
        self.assertEqual(one.process.wait(SOON), 1)
        self.assertTrue(daemon.is_left.wait(SOON))

    def yang_dir(self):
        folder = pathlib.Path(self.run_dir, "yang")
        folder.mkdir()
        for name, text in SCHEMAS.items():
            pathlib.Path(folder, name).write_text(text, encoding="utf-8")
        pathlib.Path(self.run_dir, "out.yang").write_text("module out { namespace 'urn:o'; }", encoding="utf-8")
        return folder

    def test_schemas(self):
        session = self.session("1", "--yang-dir", self.yang_dir())
        shown = self.own(session, f"<netconf-state xmlns='{MONITORING}'><schemas/></netconf-state>")
        self.assertEqual([[e.text for e in schema] for schema in shown[0]], [
            ["part", None, "yang", "urn:t", "NETCONF"], ["part", "2026-01-02", "yang", "urn:t", "NETCONF"],
            ["sub", "2026-01-03", "yang", "urn:t", "NETCONF"],
            ["types", "2026-01-01", "yang", "urn:t", "NETCONF"]])
        for identifier, more, file in (
                ("types", "", "types.yang"), ("types", "<version>2026-01-01</version>", "types.yang"),
                ("part", "<version>2026-01-02</version>", "part@2026-01-02.yang"),
                ("sub", "<format>yang</format>", "sub@2026-01-03.yang"),
                ("sub", f"<format xmlns:m='{MONITORING}'>m:yang</format>", "sub@2026-01-03.yang")):
            reply = ET.fromstring(session.ask(get_schema(identifier, more)))
            self.assertEqual((reply[0].tag, reply[0].text), (f"{{{MONITORING}}}data", SCHEMAS[file]))
        for identifier, more in (
                ("../out", ""), ("out", ""), ("/etc/passwd", ""), ("", ""), (".", ""), ("types.yang", ""),
                ("types", "<version>/../types</version>"), ("types", "<version>2026-01-02</version>"),
                ("types", "<format>yin</format>"), ("types", "<format xmlns='urn:b'>yang</format>")):
            self.assertIn(session.fault(get_schema(identifier, more))[:2], (
                ("application", "invalid-value"), ("protocol", "unknown-namespace")), identifier + more)
        self.assertIn("<error-app-tag>data-not-unique</error-app-tag>", session.ask(get_schema("part")))
        self.assertEqual(session.fault(rpc(f"<get-schema xmlns='{MONITORING}'/>"))[1], "missing-element")

    def test_get_data(self):
        daemon = self.daemon("a", says(b"<a/>"), ["urn:a"])
        session = self.session()
        self.assertEqual(session.ask(get_data("<subtree-filter><a/></subtree-filter>")),
                         f'<rpc-reply xmlns="{BASE}" message-id="1"><data xmlns="{NMDA}"><a/></data></rpc-reply>')
        # Levels are counted from what is selected.
        for content, depth in (
                ("<a/>", 1), ("<a><b/></a>", 2), ("<a><k>1</k></a>", 1), ("<a><k>1</k><b/><c/></a>", 2),
                ("<a><b><k>1</k></b></a><a><c/></a>", 2), ("", 1)):
            for levels in 1, 7:
                session.ask(get_data(f"<subtree-filter>{content}</subtree-filter><max-depth>{levels}</max-depth>"
                                     if content else f"<max-depth>{levels}</max-depth>"))
                self.assertIn(f" depth={depth - 1 + levels}", daemon.requests[-1], content)
        session.ask(get_data("<max-depth>unbounded</max-depth>"))
        self.assertNotIn("depth", daemon.requests[-1])
        asked = len(daemon.requests)
        for text, tag, element in (
                (get_data("", "d:running"), "invalid-value", "datastore"),
                (get_data("", "operational"), "invalid-value", "datastore"),
                (rpc(f"<get-data xmlns='{NMDA}'/>"), "missing-element", "datastore"),
                (get_data("<xpath-filter>/a</xpath-filter>"), "unknown-element", "xpath-filter"),
                (get_data("<origin-filter>o</origin-filter>"), "unknown-element", "origin-filter"),
                (get_data("<with-origin/>"), "unknown-element", "with-origin"),
                (get_data("<with-defaults>trim</with-defaults>"), "invalid-value", "with-defaults"),
                (get_data("<config-filter>yes</config-filter>"), "invalid-value", "config-filter"),
                (get_data("<config-filter/>"), "invalid-value", "config-filter"),
                (get_data("<max-depth>0</max-depth>"), "invalid-value", "max-depth"),
                (get_data("<max-depth>65536</max-depth>"), "invalid-value", "max-depth"),
                (get_data("<max-depth>1 </max-depth><max-depth>1</max-depth>"), "bad-element", "max-depth"),
                (get_data("<subtree-filter><a><b/><c><d/></c></a></subtree-filter><max-depth>1</max-depth>"),
                 "operation-not-supported", "max-depth")):
            self.assertEqual(session.fault(text), ("protocol", tag, {"bad-element": element}, {"message-id": "1"}),
                             text)
        self.assertEqual(session.fault(rpc(f"<edit-data xmlns='{NMDA}'/>"))[:2],
                         ("protocol", "operation-not-supported"))
        self.assertEqual(len(daemon.requests), asked)

    def test_get_data_of_configuration(self):
        daemon = self.daemon("a", says(b"<a/>"), ["urn:a"])
        session = self.session()
        empty = f'<rpc-reply xmlns="{BASE}" message-id="1"><data xmlns="{NMDA}"></data></rpc-reply>'
        for value, asked in ("true", "content=config"), ("false", "content=nonconfig"):
            session.ask(get_data(f"<max-depth>2</max-depth><config-filter>{value}</config-filter>"
                                 "<subtree-filter><a/></subtree-filter>"))
            self.assertEqual(daemon.requests[-1],
                             f"corvane-netconf-get as-ietf-xml ascii compact depth=2 {asked} filter='<a/>'\n")
            own = session.ask(get_data(f"""<config-filter>{value}</config-filter><subtree-filter>
                <netconf-state xmlns='{MONITORING}'><statistics/></netconf-state>
                <yang-library xmlns='{LIBRARY[1:-1]}'><content-id/></yang-library></subtree-filter>"""))
            self.assertEqual(own == empty, value == "true", own)
            self.assertEqual(("</statistics>" in own, "</content-id>" in own), (value == "false",) * 2)
        # Who does not know the word would show everything.
        asked = len(daemon.requests)
        for words in (), ("depth",):
            daemon.words = words
            self.assertEqual(
                session.fault(get_data("<config-filter>true</config-filter><subtree-filter><a/></subtree-filter>")),
                ("application", "operation-not-supported", {}, {"message-id": "1"}))
            session.ask(get_data("<subtree-filter><a/></subtree-filter>"))
            asked += 1
            self.assertEqual(len(daemon.requests), asked)

    # --- long replies ---

    def peak(self, session):
        status = pathlib.Path(f"/proc/{session.process.pid}/status").read_text(encoding="utf-8")
        return int(status.partition("VmHWM:")[2].split()[0])  # KiB

    def test_a_long_reply_takes_no_memory(self):
        for name, begin, end in ("a list", b"", b""), ("c container", b"<c>", b"</c>"):
            for daemon in "de":
                sent = []
                self.daemon(name[0] + daemon, flood(sent, lambda sent=sent: len(sent) >= 750, begin, end), [],
                            [name])
        for content, elements in ("<a/>", 0), ("<c/>", 1):
            session = self.session()
            session.send(get(f"<filter>{content}</filter>"))
            rows, containers = 0, 0  # of 1,200,000
            while True:
                self.assertEqual(session.take(2), b"\n#")
                length = session.until(b"\n")
                if length == b"#":
                    break
                self.assertLessEqual(int(length), CHUNK_MAX)
                text = session.take(int(length))
                rows += text.count(b"</a>")
                containers += text.count(b"<c>")
            # One of them stands in two chunks now and then.
            self.assertGreater(rows, 1190000)
            self.assertEqual(containers, elements)
            if MEASURES_MEMORY:
                self.assertLess(self.peak(session), 16 * 1024)

    def test_nothing_is_left_out_that_cannot_be_read(self):
        """Of what the program comes with, and of the registrations."""
        own = pathlib.Path(ORVEX_NETCONF).resolve().parent.parent / "share/orvex-netconf/usr/lib/render"
        files = [file.name for file in own.glob("*.json")]
        self.assertEqual(len(files), 3)
        for missing in files:
            place = pathlib.Path(self.run_dir, missing, "bin")
            render = shutil.copytree(own, place.parent / "share/orvex-netconf/usr/lib/render")
            (render / missing).unlink()
            place.mkdir()
            session = self.session(program=shutil.copy(ORVEX_NETCONF, place))
            self.assertEqual(session.fault(get())[:2], ("application", "operation-failed"), missing)
        session = self.session()
        for number in range(10000):
            pathlib.Path(self.run_dir, str(number)).symlink_to("none")
        self.assertEqual(session.fault(get())[:2], ("application", "operation-failed"))

    def test_a_slow_client_holds_the_daemon_back(self):
        sent = []
        daemon = self.daemon("a", flood(sent))
        session = self.session()
        session.send(get())
        session.take(100)
        before = self.held_back(sent)
        while len(sent) == before:
            session.take(CHUNK_MAX)
        # A client that goes takes the session with it, and that the daemon's answer: before anybody's
        # patience has an end.
        session.process.stdout.close()
        self.assertEqual(session.process.wait(SOON), 0)
        self.assertTrue(daemon.is_left.wait(SOON))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
