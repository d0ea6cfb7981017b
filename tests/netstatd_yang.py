# SPDX-License-Identifier: BSD-2-Clause
"""The YANG modules that netstatd's "corvane-netconf-get" follows, and the check against them."""

import pathlib
import subprocess
import tempfile

YANG = pathlib.Path("/usr/share/yuma")
MODULES = [YANG / name for name in (
    "nmda-modules/ietf/ietf-interfaces@2018-02-20.yang",
    "nmda-modules/ietf/ietf-ip@2018-02-22.yang",
    "nmda-modules/ietf/ietf-routing@2018-03-13.yang",
    "nmda-modules/ietf/ietf-ipv4-unicast-routing@2018-03-13.yang",
    "nmda-modules/ietf/ietf-ipv6-unicast-routing@2018-03-13.yang",
    "modules/ietf/iana-if-type@2014-05-08.yang")]
# A complete datastore must have something in ietf-routing's obsolete branch.
OBSOLETE = """<routing-state xmlns="urn:ietf:params:xml:ns:yang:ietf-routing"><ribs><rib>
<name>-</name><address-family>ipv4</address-family></rib></ribs></routing-state>"""


def errors_of(kind, content):
    with tempfile.NamedTemporaryFile("w", suffix=".xml") as file:
        file.write(content)
        file.flush()
        checked = subprocess.run(
            ["yanglint", "-Q", "-t", kind, "-p", YANG / "nmda-modules/ietf",
             "-p", YANG / "modules/ietf", *MODULES, file.name],
            stderr=subprocess.PIPE, text=True, check=False)
    return checked.stderr or ("" if checked.returncode == 0 else f"exit {checked.returncode}")


def errors_of_data(content):
    """What yanglint finds in the content of an element "data", as the answer of a "get" and as a
    complete datastore: with all that is mandatory in it and no reference that leads nowhere."""
    return errors_of("get", content) or errors_of("data", content + OBSOLETE)
