#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Checks netstatd against what the kernel says: netstatd_test.py NETSTATD PARSE_OUTPUT SCENE

SCENE is `live`, this machine's network as it is, `empty`, a network namespace with nothing but a
loopback interface that is down, or `crowded`, a namespace with names, addresses and routes that are
awkward to show. Each answer goes through PARSE_OUTPUT, which has the parsers that peers use. Exits
with 77 where namespaces may not be made.
"""

import json
import os
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ET

from netstatd_yang import errors_of_data, validated

ROOT = pathlib.Path(__file__).resolve().parent.parent
SKIPPED = 77
NOTHING = "210\n"  # what a request gets that prints nothing
CROWD = """
ip link set lo up
ip link add 'a<b&c' type veth peer name d1
ip link set 'a<b&c' up
ip link set d1 up mtu 9000 alias 'one & two < "three"'
ip addr add 10.0.0.1/8 dev d1
ip addr add 10.0.0.1/16 dev d1
ip addr add 10.9.9.1 peer 10.9.9.2 dev d1
ip -6 addr add 2001:db8::1/64 dev d1 nodad
ip route add 1.0.0.0/8 nexthop via 10.0.0.7 weight 3 nexthop via 10.0.0.8
ip route add 1.0.0.0/8 dev d1 metric 20
ip route add 5.0.0.0/8 via inet6 fe80::1 dev d1
ip route add blackhole 9.9.9.9
ip route add throw 8.8.8.8 table 77
ip -6 route add 2001:db8:1::/64 nexthop via 2001:db8::7 nexthop via 2001:db8::8
ip -6 route add unreachable 2001:db8:9::/64
ip neigh add 10.0.0.9 lladdr 02:02:02:02:02:02 dev d1
ip -6 neigh add 2001:db8::9 lladdr 02:02:02:02:02:03 dev d1 router
"""
COMMANDS = ["show-interfaces", "show-routes", "show-neighbors", "corvane-netconf-get"]
FLEETING = ("snapshot-time", "statistics")  # what may differ from one look to the next
# Sources that lead to leaves without a row, and around the containers that take the snapshot.
ASTRAY = [
    "interfaces/interface/name", "interfaces/interface/controller", "interfaces/interface/ipv4",
    "interfaces/interface/statistics/rx-bytes", "interfaces/interface/counter32/rx-errors",
    "interfaces/interface/address/ip", "interfaces/interface/ipv6/neighbor/ip",
    "neighbors/neighbor/interface", "routing/rib/name", "routing/rib/route/destination",
    "routing/rib/route/forward/interface", "routing/rib/route/next-hop/weight"]


def run(*options, **others):
    return subprocess.run([NETSTATD, *options], stderr=subprocess.PIPE, text=True, timeout=60,
                          check=False, **{"stdout": subprocess.PIPE, **others})


def errors_in(text, kind):
    return subprocess.run([PARSE_OUTPUT, kind], input=text, stderr=subprocess.PIPE, text=True,
                          check=False).stderr


def faults_in(command, text):
    if "as-json-lines" in command:
        return "".join(errors_in(line, "json") for line in text.splitlines())
    if "as-ietf-xml" in command:  # whose top elements have none around them
        return errors_in(f"<all>{text}</all>", "xml")
    is_json = command.endswith((" as-json", " as-ietf-json"))
    return errors_in(text, "json" if is_json else "xml")


def answer(command, *options):
    result = run("--once", command, *options)
    assert (result.returncode, result.stderr) == (0, ""), result
    errors = result.stdout != NOTHING and faults_in(command, result.stdout)
    assert not errors, errors + result.stdout
    return result.stdout


def tree(text):
    """The answer's elements by their bare names."""
    root = ET.fromstring("<nothing/>" if text == NOTHING else text)
    for element in root.iter():
        element.tag = element.tag.partition("}")[2] or element.tag
    return root


def lasting(root):
    """The answer as text without what is fleeting."""
    for parent in list(root.iter()):
        for child in list(parent):
            if child.tag in FLEETING:
                parent.remove(child)
    return ET.tostring(root, encoding="unicode").strip()


def converted(request, kind_of_file, form):
    """What yanglint makes of an answer in another form; of none there is none."""
    text = answer(request)
    return text if text == NOTHING else validated(text, kind_of_file, "get", form)[1]


def lasting_json(text):
    """A JSON document without members that are fleeting."""
    return json.loads(text, object_pairs_hook=lambda members: {
        name: value for name, value in members if name not in FLEETING})


def lasting_xml(text):
    return lasting(tree(text if text == NOTHING else f"<all>{text}</all>"))


def fields(elements, *names):
    return sorted((tuple(map(element.findtext, names)) for element in elements), key=str)


def kernel(*arguments):
    shown = subprocess.run(["ip", "-j", *arguments], stdout=subprocess.PIPE, text=True, check=True)
    return json.loads(shown.stdout or "[]")


class Answers(unittest.TestCase):
    maxDiff = None

    def assert_agree(self, ours, theirs):
        """A living network may change between two looks at it: looks again, a few times."""
        for _ in range(6):
            shown, expected = ours(), theirs()
            if shown == expected:
                return
            time.sleep(0.5)
        self.assertEqual(shown, expected)

    def test_interfaces(self):
        def ours():
            return [(*fields([i], "name", "index", "mtu", "description", "hardware-address"),
                     i.findtext("admin-status"), i.findtext("oper-status").replace("-", ""),
                     fields(i.findall("address"), "ip", "prefix-length"))
                    for i in tree(answer("show-interfaces")).findall("interface")]

        def theirs():
            aliases = {i["ifname"]: i.get("ifalias") for i in kernel("link")}
            return [((i["ifname"], str(i["ifindex"]), str(i["mtu"]), aliases[i["ifname"]],
                      None if i["link_type"] == "loopback" else i["address"]),
                     "up" if "UP" in i["flags"] else "down", i["operstate"].lower(),
                     sorted((a["local"], str(a["prefixlen"])) for a in i["addr_info"]))
                    for i in sorted(kernel("addr"), key=lambda i: i["ifindex"])]
        self.assert_agree(ours, theirs)

    def test_counters(self):
        # Counters only grow: what netstatd shows lies between two looks of another reader.
        def counted():
            return {i["ifname"]: i["stats64"] for i in kernel("-s", "link")}
        before, shown, after = counted(), tree(answer("show-interfaces")), counted()
        for interface in shown.findall("interface"):
            name = interface.findtext("name")
            for element, way in (("input-bytes", "rx"), ("output-bytes", "tx")):
                values = interface.findall("statistics/" + element)
                self.assertEqual(len(values), 1)
                self.assertGreaterEqual(int(values[0].text), before[name][way]["bytes"])
                self.assertLessEqual(int(values[0].text), after[name][way]["bytes"])

    def test_neighbors(self):
        self.assert_agree(
            lambda: fields(tree(answer("show-neighbors")).findall("neighbor"),
                           "address", "interface", "hardware-address"),
            lambda: sorted(((n["dst"], n["dev"], n.get("lladdr")) for n in kernel("neigh")),
                           key=str))

    def test_routes(self):
        def ours():
            return sorted(((table.findtext("name"), route.findtext("destination"),
                            route.findtext("type"), int(route.findtext("metric", "0")),
                            fields(route.findall("next-hop") or [route], "gateway", "weight"))
                           for table in tree(answer("show-routes")).findall("table")
                           for route in table.findall("route")), key=str)

        def theirs():
            found = []
            for family, everything, bits in ("4", "0.0.0.0/0", "/32"), ("6", "::/0", "/128"):
                for route in kernel("-" + family, "route", "show", "table", "all"):
                    target = route["dst"].replace("default", everything)
                    hops = [(hop.get("gateway") or hop.get("via", {}).get("host"),
                             str(hop["weight"]) if "weight" in hop else None)
                            for hop in route.get("nexthops", [route])]
                    found.append((f"ipv{family}-{route.get('table', 'main')}",
                                  target if "/" in target else target + bits,
                                  route.get("type", "unicast"), route.get("metric", 0),
                                  sorted(hops, key=str)))
            return sorted(found, key=str)
        self.assert_agree(ours, theirs)

    def test_a_key_selects_its_part_of_the_whole(self):
        for command, top, row, key in (
                ("show-interfaces", "interface-information", "interface", "name"),
                ("show-neighbors", "neighbor-information", "neighbor", "interface"),
                ("show-routes", "route-information", "table", "name")):
            def part(request, row=row, key=key, value=None):
                return [lasting(element) for element in tree(answer(request)).findall(row)
                        if value is None or element.findtext(key) == value]
            whole = tree(answer(command))
            for argument in f"filter='/{top}/{row}[{key}=\"%s\"]'", f"{key}='%s'":
                request = f"{command} {argument}"
                for value in {element.findtext(key) for element in whole.findall(row)}:
                    self.assert_agree(lambda r=request, p=part, v=value: p(r % v),
                                      lambda c=command, p=part, v=value: p(c, value=v))
                self.assertEqual(answer(request % "nothing of that name"), NOTHING)

    def test_arguments_select_at_every_level(self):
        def routes(argument=""):
            return sorted((table.findtext("name"), route.findtext("destination"), lasting(route))
                          for table in tree(answer("show-routes" + argument)).findall("table")
                          for route in table.findall("route"))

        for table, destination in {route[:2] for route in routes()}:
            self.assert_agree(
                lambda t=table, d=destination: routes(f" destination={d}, name='{t}'"),
                lambda t=table, d=destination: [r for r in routes() if r[:2] == (t, d)])
        self.assert_agree(lambda: routes(" type=local"), lambda: [
            r for r in routes() if ET.fromstring(r[2]).findtext("type") == "local"])

    def test_the_brief_style_leaves_details_out(self):
        for command, details, rest in (
                ("show-interfaces", {"index", "mtu", "statistics", "scope"}, {"name", "ip"}),
                ("show-routes", {"origin", "scope"}, {"name", "destination", "type"})):
            whole, brief = ({e.tag for e in tree(answer(command + style)).iter()}
                            for style in ("", " brief"))
            self.assertEqual(brief & (details | rest), whole & rest)

    def test_suspending_after_every_row_changes_nothing(self):
        for command in COMMANDS:
            self.assert_agree(lambda c=command: lasting(tree(answer(c, "--rows-per-slice", "1"))),
                              lambda c=command: lasting(tree(answer(c))))

    def test_netconf_get_follows_its_models(self):
        text = answer("corvane-netconf-get")
        bare = text.removeprefix("<data>\n").removesuffix("</data>\n")
        self.assertEqual(len(text) - len(bare), len("<data>\n</data>\n"))
        self.assertEqual(errors_of_data(bare), "", bare)

    def test_forms_of_yang_are_each_others_content(self):
        for command in "corvane-netconf-get", *(
                f"corvane-netconf-get filter='/{part}'" for part in ("interfaces", "routing")):
            for form, kind in ("as-ietf-xml", "xml"), ("as-ietf-json", "json"):
                text = answer(f"{command} {form}")
                if text != NOTHING:
                    self.assertEqual(validated(text, kind), (0, "", ""), text)
            # What a validator makes of one is what the other says, and what it makes of that.
            self.assert_agree(
                lambda c=command: lasting_json(converted(f"{c} as-ietf-xml", "xml", "json")),
                lambda c=command: lasting_json(answer(f"{c} as-ietf-json")))
            self.assert_agree(
                lambda c=command: lasting_xml(converted(f"{c} as-ietf-json", "json", "xml")),
                lambda c=command: lasting_xml(
                    converted(f"{c} as-ietf-xml ascii compact", "xml", "xml")))

    def test_jq_reads_types(self):
        names = subprocess.run(
            ["jq", "-c", "select(.mtu > 3000) | .name"], input=answer("show-interfaces as-json-lines"),
            text=True, stdout=subprocess.PIPE, check=True).stdout.splitlines()
        self.assert_agree(lambda: names, lambda: [
            json.dumps(i["ifname"]) for i in sorted(kernel("link"), key=lambda i: i["ifindex"])
            if i["mtu"] > 3000])
        for line in answer("show-routes as-json-lines=route").replace(NOTHING, "").splitlines():
            self.assertRegex(json.loads(line)["table/name"], "^ipv[46]-")

    def test_netconf_get_has_a_family_where_there_are_addresses(self):
        def ours():
            return [(i.findtext("name"), *([a.text for a in family.findall("address/ip")]
                                           for family in i if family.tag in ("ipv4", "ipv6")))
                    for i in tree(answer("corvane-netconf-get")).findall("interfaces/interface")]

        def theirs():
            rows = []
            for link in sorted(kernel("addr"), key=lambda link: link["ifindex"]):
                families = [[a["local"] for a in link["addr_info"] if a["family"] == family]
                            for family in ("inet", "inet6")]
                # An address that has two prefixes is shown once.
                rows.append((link["ifname"], *(list(dict.fromkeys(f)) for f in families if f)))
            return rows
        self.assert_agree(ours, theirs)

    def test_netconf_get_has_every_route(self):
        self.assert_agree(
            lambda: fields(tree(answer("corvane-netconf-get")).iterfind(
                "routing/ribs/rib/routes/route"), "destination-prefix", "route-preference"),
            lambda: sorted((target, metric or "0") for target, metric in fields(
                tree(answer("show-routes")).iterfind("table/route"), "destination", "metric")))

    def test_the_daemon_itself(self):
        shown = tree(answer("show-daemon"))
        self.assertEqual(fields([shown], "host-name", "requests", "snapshots", "read-errors"),
                         [(socket.gethostname(), "1", "1", "0")])
        self.assertRegex(shown.findtext("load/one-minute", "0.00"), r"^\d+\.\d\d$")
        addresses = {a["local"] for i in kernel("-4", "addr") for a in i["addr_info"]
                     if a["scope"] == "global"}
        self.assertIn(shown.findtext("primary-address"), addresses or {"0.0.0.0"})

    def test_dumps_and_reload(self):
        schema = dict(line.split()
                      for line in run("--once", "dump-schema").stdout.splitlines() if line)

        def dumped(*options):
            lines = run("--once", "dump", *options).stdout.splitlines()
            return [re.fullmatch(r"(\S+) +:  \[(.*)\]", line).groups() for line in lines if line]
        self.assertEqual({schema.get(path) for path, _ in dumped()}, {"leaf"})
        self.assert_agree(lambda: sorted(value for path, value in dumped("--rows-per-slice", "1")
                                         if path == "/interfaces/interface/name"),
                          lambda: sorted(i["ifname"] for i in kernel("link")))
        around = run("--once", "show-neighbors", "--once", "reload", "--once", "show-neighbors")
        self.assertRegex(around.stdout, r"\A(?s:(.*))finish reloading\n\1\Z")

    def test_refusals(self):
        unknown = run("--once", "show-nothing")
        self.assertEqual((unknown.returncode, unknown.stdout), (1, ""))
        title, *listed = unknown.stderr.splitlines()
        self.assertEqual(title, "netstatd: no command 'show-nothing'; there are:")
        self.assertLessEqual({"show-interfaces", "corvane-netconf-get", "dump-schema", "reload"},
                             {line.split()[0] for line in listed})
        misspelt = run("--once", "show-interfaces as-tabel")
        self.assertRegex(misspelt.stdout,
                         "^error: arguments: no 'as-tabel'; .*did you mean 'as-table'\\?$")
        with open("/dev/full", "w", encoding="utf-8") as full:
            self.assertEqual(run("--once", "show-interfaces", stdout=full).returncode, 1)

    def test_definitions_that_go_astray_harm_nobody(self):
        kids = [{"dts_name": f"leaf-{n}", "dts_type": "leaf", "dts_source": "/" + path}
                for n, path in enumerate(ASTRAY)]
        kids += [{"dts_name": f"list-{n}", "dts_type": "list", "dts_source": "/" + str(path.parent),
                  "dts_kids": [{"dts_name": "x", "dts_type": "leaf", "dts_source": path.name}]}
                 for n, path in enumerate(map(pathlib.PurePath, ASTRAY))]
        with tempfile.TemporaryDirectory() as prefix:
            folder = pathlib.Path(prefix, "usr/lib/render")
            folder.mkdir(parents=True)
            tag = {"dts_name": "astray", "dts_source": "/", "dts_kids": kids}
            (folder / "astray.json").write_text(json.dumps([{"dc_name": "astray", "dc_tag": tag}]))
            result = run("--once", "astray", "--prefix", prefix)
        self.assertEqual((result.returncode, result.stdout), (0, NOTHING))
        self.assertEqual({line.split(":")[1] for line in result.stderr.splitlines()},
                         {" no snapshot"})

    @unittest.skipUnless(sys.argv[3:] == ["live"], "once is enough")
    def test_the_parsers_find_errors(self):
        for kind, bad in (("xml", "<a>"), ("xml", "<a b:c='d'/>"), ("xml", NOTHING), ("json", "{"),
                          ("json", '{"a" : "b", "a" : "c"}'), ("json", NOTHING)):
            self.assertNotEqual(errors_in(bad, kind), "", bad)

    @unittest.skipUnless(sys.argv[3:] == ["live"], "once is enough")
    def test_the_accessor_guide_quotes_the_daemon(self):
        sources = " ".join(" ".join(file.read_text().split())
                           for file in sorted((ROOT / "examples/netstatd").glob("*.[ch]*")))
        guide = (ROOT / "docs/accessors.md").read_text()
        quotes = re.findall(r"^```cpp\n(.*?)^```$", guide, re.S | re.M)
        self.assertGreater(len(quotes), 10)
        for quote in quotes:
            self.assertTrue(" ".join(quote.split()) in sources, quote)


def enter_namespace(scene):
    """Runs this test again, inside a network namespace of its own."""
    if subprocess.run(["unshare", "-rn", "true"], check=False).returncode != 0:
        sys.exit(SKIPPED)
    setup = CROWD if scene == "crowded" else ""
    again = [sys.executable, "-B", __file__, NETSTATD, PARSE_OUTPUT, scene, "inside"]
    os.execvp("unshare", ["unshare", "-rn", "sh", "-e", "-c", setup + 'exec "$@"', "sh", *again])


if __name__ == "__main__":
    NETSTATD, PARSE_OUTPUT = sys.argv[1:3]
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    if sys.argv[3:] in (["empty"], ["crowded"]):
        enter_namespace(sys.argv[3])
    unittest.main(argv=sys.argv[:1])
