#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Begins definitions from schemas and uses them: init_test.py INIT LINT PREVIEW NETSTATD ROOT

A skeleton has no findings, and what it shows of data is what the schema allows: yanglint says so.
"""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

from bash_completion import completed

INIT, LINT, PREVIEW, NETSTATD, ROOT = (sys.argv.pop(1) for _ in range(5))
YANG = pathlib.Path("/usr/share/yuma")
INTERFACES = [YANG / "nmda-modules/ietf/ietf-interfaces@2018-02-20.yang",
              YANG / "nmda-modules/ietf/ietf-ip@2018-02-22.yang",
              YANG / "modules/ietf/iana-if-type@2014-05-08.yang"]
FOLDERS = ["--path", YANG / "modules/ietf", "--path", YANG / "nmda-modules/ietf"]
TIME = "2026-11-22T04:00:00Z"
INTERFACES_DATA = {"interfaces": {"interface": [
    {"name": "eth0", "description": "to <core> & back", "type": "ethernetCsmacd", "enabled": True,
     "admin-status": 1, "oper-status": 7, "if-index": 2, "speed": 1000000000, "higher-layer-if": ["vlan7"],
     "statistics": {"discontinuity-time": TIME, "in-octets": 17},
     "ipv4": {"forwarding": True, "address": [
         {"ip": "192.0.2.1", "prefix-length": 24, "origin": 1},
         {"ip": "192.0.2.9", "netmask": "255.255.255.0", "origin": 2}]},
     "ipv6": {"neighbor": [{"ip": "2001:db8::7", "link-layer-address": "02:00:00:00:00:07",
                            "origin": 2, "is-router": "", "state": 1}]}},
    {"name": "vlan7", "type": "l2vlan", "admin-status": 1, "oper-status": 1, "if-index": 7,
     "lower-layer-if": ["eth0"], "statistics": {"discontinuity-time": TIME}}]}}

SHELF = """module shelf {
  yang-version 1.1; namespace "urn:a?b&'c"; prefix s;
  identity cause; identity heat { base cause; }
  typedef state { type enumeration { enum off { value -1; } enum on { value 4; } } }
  container shelf {
    leaf state { type state; }
    leaf same { type leafref { path "../state"; } }
    leaf load { type decimal64 { fraction-digits 3; } }
    leaf cause { type identityref { base cause; } }
    leaf lamps { type bits { bit red; bit green; } }
    leaf blob { type binary; }
    leaf either { type union { type uint8; type string; } }
    leaf there { type empty; }
    leaf gone { status obsolete; type string; }
    anydata anything;
    leaf-list port { type uint16; }
    leaf-list seen { type state; }
    list card {
      key "slot side";
      leaf side { type string; } leaf slot { type int8; }
      action reset;
    }
    list log { config false; leaf text { type string; } }
    choice power { leaf mains { type int64; } case battery { leaf volts { type uint32; } } }
    container fault { presence "there is one"; }
    container nothing { container inside; }
  }
  leaf lone { type boolean; }
  rpc restart;
}"""
FAN = """module fan {
  namespace "urn:fan"; prefix f; import shelf { prefix s; }
  augment "/s:shelf/s:power" { case solar { leaf watts { type uint8; } } }
  augment "/s:shelf/s:card" { container fan { leaf speed { type int16; } } }
}"""
SHELF_DATA = {"shelf": {
    "state": 4, "same": -1, "load": 1.5, "cause": "heat", "lamps": "red green", "blob": "AAEC",
    "either": 7, "there": "", "port": [80, 443], "mains": 230,
    "card": [{"slot": 1, "side": "left", "fan": {"speed": -3}}], "log": [{"text": "a<b"}]}}


def run(*command, **more):
    return subprocess.run([*map(str, command)], capture_output=True, text=True, check=False, **more)


def leaf(name, **more):
    return {"dts_name": name, "dts_type": "leaf", "dts_source": name,
            **{"dts_" + member: value for member, value in more.items()}}


def leaf_list(name, data_type=None, **more):
    value = {"dts_name": "__zor_leaf_list_value__", "dts_type": "leaf", "dts_source": "value"}
    value |= {"dts_data_type": data_type} if data_type else {}
    return {**leaf(name, **more), "dts_type": "leaf-list", "dts_kids": [value]}


def around(name, *kids, **more):
    return {"dts_name": name, **{"dts_" + member: value for member, value in more.items()},
            "dts_kids": [*kids]}


class Init(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def write(self, name, text):
        path = self.folder / name
        path.write_text(text if isinstance(text, str) else json.dumps(text))
        return path

    def skeleton(self, *arguments):
        """The file of a skeleton without findings, and what it holds."""
        result = run(INIT, *arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertLessEqual(max(map(len, result.stdout.splitlines())), 100)
        file = self.write("skeleton.json", result.stdout)
        self.assertEqual(run(LINT, "--strict", file).stdout, "")
        return file, json.loads(result.stdout)

    def shown(self, definitions, data, command):
        result = run(PREVIEW, definitions, "--data", self.write("data", data), command,
                     "as-ietf-xml")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def assert_valid(self, kind, modules, answer):
        result = run("yanglint", "-t", kind, *("-p" if word == "--path" else word
                                               for word in FOLDERS),
                     *modules, self.write("answer.xml", answer))
        self.assertEqual((result.returncode, result.stderr), (0, ""), answer)

    def test_interfaces_as_the_ietf_has_them(self):
        for modules in (INTERFACES, INTERFACES[::-1]):
            file, _ = self.skeleton(*FOLDERS, *modules)
            answer = self.shown(file, INTERFACES_DATA, "show-interfaces")
            self.assertEqual(answer.count("<interface>"), 2)
            for word in ("lower-layer-down", "192.0.2.9", ">iana-if-type:ethernetCsmacd<", "<is-router",
                         "<higher-layer-if>vlan7</higher-layer-if>"):
                self.assertIn(word, answer)
            self.assert_valid("data", INTERFACES, answer)

    def test_everything_that_a_module_can_say(self):
        modules = self.write("shelf.yang", SHELF), self.write("fan.yang", FAN)
        file, entries = self.skeleton(*modules, "--app", "shelfd", "--command", "get")
        states = [["-1", "off"], ["4", "on"]]
        own = {"namespace": "xmlns='urn:a?b&amp;&apos;c'", "module": "shelf", "config": "true"}
        fan = {"namespace": "xmlns='urn:fan'", "module": "fan"}
        card = around(
            "card", leaf("slot", data_type="int8"), leaf("side"),
            around("fan", leaf("speed", data_type="int16"), source="fan", **fan),
            type="list", source="card", key=["slot", "side"])
        shelf = around(
            "shelf", leaf("state", map=states), leaf("same", map=states),
            leaf("load", data_type="decimal64", data_decimal64_fraction=3), leaf("cause"),
            leaf("lamps", data_type="bits"), leaf("blob", data_type="binary"),
            leaf("either", data_type="union"), leaf("there", data_type="empty"),
            leaf_list("port", "uint16"), leaf_list("seen", map=states), card,
            around("log", leaf("text"), type="list", source="log", config="false"),
            around("power", around("mains", leaf("mains", data_type="int64"), type="case"),
                   around("battery", leaf("volts", data_type="uint32"), type="case"),
                   around("solar", leaf("watts", data_type="uint8", **fan), type="case"),
                   type="choice"),
            {"dts_name": "fault", "dts_source": "fault", "dts_presence": "true"},
            source="/shelf", **own)
        lone = {**leaf("lone", data_type="boolean", **own), "dts_source": "/lone"}
        entry = {"dc_name": "get", "dc_app_name": "shelfd"}
        self.assertEqual(entries, [
            {**entry, "dc_help": "Show shelf", "dc_tag": shelf},
            {**entry, "dc_help": "Show data", "dc_tag": around("data", lone)}])
        self.assert_valid("get", modules, self.shown(file, SHELF_DATA, "get-0"))

    def test_what_a_daemon_has(self):
        dump = self.write("dump", run(NETSTATD, "--once", "dump-schema").stdout)
        file, entries = self.skeleton(dump)
        self.assertEqual(run(LINT, "--strict", "--model", dump, file).stdout, "")
        names = [entry["dc_name"] for entry in entries]
        self.assertIn("show-interfaces", names)
        kids = {kid["dts_name"]: kid for kid in entries[names.index("show-interfaces")]["dc_tag"][
            "dts_kids"][1]["dts_kids"]}
        self.assertEqual(kids["name"], leaf("name"))
        self.assertEqual(kids["ipv4"]["dts_presence"], "true")

    def test_data(self):
        data = {"a": {"n": 1, "s": "x", "2 é": True, "none": {}, "l": [{"k": 1}, {"m": "y"}]},
                "top": 7, "tags": ["p", "q"]}
        file, entries = self.skeleton(self.write("data.json", data))
        top = {**leaf("top", data_type="int64"), "dts_source": "/top"}
        tags = {**leaf_list("tags"), "dts_source": "/tags"}
        rows = around("l", leaf("k", data_type="int64"), leaf("m"), type="list", source="l")
        self.assertEqual([entry["dc_tag"] for entry in entries], [
            around("a", leaf("n", data_type="int64"), leaf("s"),
                   {**leaf("_2_é"), "dts_source": "2 é"}, rows, source="/a"),
            around("data", top, tags)])
        answer = self.shown(file, data, "show-a")
        for text in ("<n>1</n>", "<_2_é>", "<m>y</m>"):
            self.assertIn(text, answer)

    def test_what_is_no_schema(self):
        broken = self.write("broken.yang", "module broken {\n  nothing;\n}")
        lonely = self.write("fan.yang", FAN)
        empty = self.write("empty", "{}")
        deep = self.write("deep", "/a" * 300 + " leaf\n")
        cases = [
            ([self.folder / "none"], 1, "none: cannot be read"),
            ([self.folder / "none.yang"], 1, "none.yang: cannot be read"),
            ([self.write("text", "/a leaf\n/b\n")], 1, "text: line 2 is no path with its kind"),
            ([empty], 1, "empty: there is nothing in it"),
            ([deep], 1, "paths are too deep"),
            ([broken], 1, "broken.yang: "),
            ([lonely], 1, "fan.yang: "),
            ([lonely, "--path", self.folder / "none"], 1, "none: "),
            ([INTERFACES[2], *FOLDERS], 1, "there is no data at the top of these modules"),
            ([empty, deep], 2, "several files must be YANG modules"),
            ([], 2, "FILE"),
        ]
        for arguments, code, reason in cases:
            result = run(INIT, *arguments)
            self.assertEqual((result.returncode, result.stdout), (code, ""), arguments)
            self.assertIn(reason, result.stderr)

    def test_completion(self):
        def offered(*words):
            return completed(ROOT + "/tools/init/drend-init.bash", "drend-init", *words, cwd=self.folder)
        self.write("a.yang", "")
        (self.folder / "folder").mkdir()
        self.assertEqual(offered("--p"), ["--path"])
        self.assertEqual(offered("a"), ["a.yang"])
        self.assertEqual(offered("--path", ""), ["folder"])
        self.assertEqual(offered("--path", "=", "f"), ["folder"])
        self.assertEqual(offered("--app", ""), [])


if __name__ == "__main__":
    unittest.main()
