# SPDX-License-Identifier: BSD-2-Clause
"""The YANG modules that the example daemons' "corvane-netconf-get" follows and those of a NETCONF
server's own data, and the check against them."""

import pathlib
import re
import subprocess
import tempfile

BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"
MONITORING = "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring"
NMDA = "urn:ietf:params:xml:ns:yang:ietf-netconf-nmda"
INTERFACES = "urn:ietf:params:xml:ns:yang:ietf-interfaces"
YANG = pathlib.Path("/usr/share/yuma")
MODULES = [YANG / name for name in (
    "nmda-modules/ietf/ietf-interfaces@2018-02-20.yang",
    "nmda-modules/ietf/ietf-ip@2018-02-22.yang",
    "nmda-modules/ietf/ietf-routing@2018-03-13.yang",
    "nmda-modules/ietf/ietf-ipv4-unicast-routing@2018-03-13.yang",
    "nmda-modules/ietf/ietf-ipv6-unicast-routing@2018-03-13.yang",
    "modules/ietf/iana-if-type@2014-05-08.yang")]
SOURCES = pathlib.Path(__file__).resolve().parent.parent
OWN = sorted((SOURCES / "tools/netconf/yang").iterdir())
LEASES = [SOURCES / "examples/leasesd/yang/example-dhcp-leases.yang",
          *(SOURCES / "tools/netconf/yang").glob("orvex-events@*")]
SERVER = [*OWN, YANG / "modules/ietf/ietf-netconf-monitoring@2010-10-04.yang",
          YANG / "modules/ietf/ietf-datastores@2018-02-14.yang",
          pathlib.Path("/usr/share/yang/modules/libyang/ietf-yang-library@2019-01-04.yang")]
# A complete datastore must have something in the obsolete branches of these modules.
OBSOLETE = """<routing-state xmlns="urn:ietf:params:xml:ns:yang:ietf-routing"><ribs><rib>
<name>-</name><address-family>ipv4</address-family></rib></ribs></routing-state>"""
OBSOLETE_OF_SERVER = """<modules-state xmlns="urn:ietf:params:xml:ns:yang:ietf-yang-library">
<module-set-id>-</module-set-id></modules-state>"""


def validated(text, kind_of_file, kind_of_data="get", form=None, modules=None):
    """What yanglint says of a document, "xml" or "json", converted to a form where one is given:
    its status, output and errors. The modules are netstatd's unless others are given."""
    with tempfile.NamedTemporaryFile("w", suffix="." + kind_of_file) as file:
        file.write(text)
        file.flush()
        checked = subprocess.run(
            ["yanglint", "-Q", "-t", kind_of_data, *(["-f", form] if form else []),
             "-p", YANG / "nmda-modules/ietf", "-p", YANG / "modules/ietf", *(modules or MODULES),
             file.name],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
    return checked.returncode, checked.stdout, checked.stderr


def errors_of(kind, content, modules=None):
    status, _, errors = validated(content, "xml", kind, modules=modules)
    return errors or ("" if status == 0 else f"exit {status}")


def errors_of_data(content, modules=None, obsolete=OBSOLETE):
    """What yanglint finds in the content of an element "data", as the answer of a "get" and as a
    complete datastore: with all that is mandatory in it and no reference that leads nowhere."""
    return errors_of("get", content, modules) or errors_of("data", content + obsolete, modules)


def errors_of_reply(content):
    """The same of all that a NETCONF server shows, its own data among them."""
    return errors_of_data(content, MODULES + SERVER, OBSOLETE + OBSOLETE_OF_SERVER)


def kinds_of_nodes(modules):
    """What the modules' trees say of the data nodes, by path: "rw", "ro" or "key". Paths are without namespaces,
    choices and cases."""
    command = ["yanglint", "-f", "tree", "-p", YANG / "nmda-modules/ietf", "-p", YANG / "modules/ietf"]
    tree = subprocess.run(command + modules, stdout=subprocess.PIPE, text=True, check=True).stdout
    kinds, keys, ways, is_repeated = {}, set(), [], False
    for line in tree.splitlines():
        # What a module adds to others stands in its place there, and once more by itself.
        is_repeated = line.startswith("  augment ") or (is_repeated and not line.startswith("module:"))
        node = re.match(r"  ([ |]*)[+xo]--(?:(rw|ro) |:)(?:[\w-]+:)?([\w-]*)(?:\* \[(.*)\])?", line)
        if node is None or is_repeated:
            continue
        ways = [way for way in ways if way[0] < len(node[1])]
        path = (ways[-1][1] if ways else "") + ("/" + node[3] if node[3] else "")
        ways.append((len(node[1]), path))
        if node[3]:
            kinds[path] = node[2]
            keys.update(path + "/" + key for key in (node[4] or "").split())
    return {path: "key" if path in keys else kind for path, kind in kinds.items()}
