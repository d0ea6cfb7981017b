#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""NETCONF as clients have it, through OpenSSH: netconf_ssh_test.py ORVEX_NETCONF NETSTATD LEASESD [PROGRAM]

OpenSSH's server runs on a port of 127.0.0.1 with keys made on the spot; the clients are ncclient, of
Debian's Python, yangcli, and PROGRAM, which is made with libnetconf2. Exits with 77 where OpenSSH or
ncclient is missing; without the others their tests are skipped.
"""

import getpass
import os
import pathlib
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ET

from fake_daemon import PATIENCE, FakeDaemon, says, started
from netstatd_yang import LEASES as LEASE_MODULES
from netstatd_yang import BASE, INTERFACES, MODULES, NMDA, SERVER, YANG, kinds_of_nodes

try:
    from ncclient import manager
    from ncclient.operations.rpc import RPCError
    from ncclient.xml_ import to_ele
except ImportError:
    sys.exit(77)

ORVEX_NETCONF, NETSTATD, LEASESD = sys.argv[1:4]
LIBNETCONF2 = sys.argv[4] if len(sys.argv) > 4 else None
YANGCLI = shutil.which("yangcli")
LEASES = pathlib.Path(__file__).resolve().parent.parent / "examples/leasesd"
SSHD = shutil.which("sshd", path="/usr/sbin:/usr/bin")
SKIPPED = 77
HELLO = (f"<hello xmlns='{BASE}'><capabilities><capability>urn:ietf:params:netconf:base:1.0</capability>"
         "</capabilities></hello>]]>]]>")
CONFIGURATION = """
ListenAddress 127.0.0.1:{port}
HostKey {folder}/host
AuthorizedKeysFile {folder}/user.pub
PidFile none
StrictModes no
UsePAM no
PasswordAuthentication no
KbdInteractiveAuthentication no
PermitRootLogin prohibit-password
"""
SUBSYSTEM = "Subsystem netconf /usr/sbin/orvex-netconf\n"
OWN_SSHD = pathlib.Path(__file__).resolve().parent.parent / "tools/netconf/sshd/sshd_config"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class ThroughSsh(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        for name in "host", "user":
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", cls.folder / name],
                           check=True)
        cls.start(NETSTATD, "--socket", cls.folder / "s", "--run-dir", cls.folder,
                  ready="netstatd: serving")
        cls.copy_modules()
        cls.port = cls.start_sshd(SUBSYSTEM)

    @classmethod
    def start_sshd(cls, configuration):
        """On the port that is returned. Of what is said twice the first counts."""
        port = free_port()
        file = cls.folder / f"sshd_config_{port}"
        file.write_text(CONFIGURATION.format(port=port, folder=cls.folder) + configuration.replace(
            "/usr/sbin/orvex-netconf",
            f"{os.path.abspath(ORVEX_NETCONF)} --run-dir {cls.folder} --yang-dir {cls.folder}/yang"))
        if os.geteuid() == 0:
            os.makedirs("/run/sshd", mode=0o755, exist_ok=True)  # where root's sshd shuts itself in
        cls.start(SSHD, "-D", "-e", "-f", file, ready="Server listening")
        return port

    @classmethod
    def copy_modules(cls):
        """Those that are told, and what they import."""
        (cls.folder / "yang").mkdir()
        for place in YANG / "modules/ietf", YANG / "nmda-modules/ietf":
            for file in place.glob("*@*.yang"):
                for other in (cls.folder / "yang").glob(file.name.partition("@")[0] + "@*"):
                    other.unlink()
                shutil.copy(file, cls.folder / "yang")
        for file in SERVER:
            shutil.copy(file, cls.folder / "yang")
        (cls.folder / "yang/ietf-yang-library@2016-06-21.yang").unlink()

    @classmethod
    def start(cls, *command, ready, at_end=None):
        return started(command, ready, at_end or cls.addClassCleanup, stderr=subprocess.STDOUT)

    def daemon(self, name, script):
        """What only those are answered by who ask for the namespace "urn:NAME"."""
        daemon = FakeDaemon(self.folder, name, script, [f"urn:{name}?module={name}"],
                            [f"{name} list, xmlns urn:{name}"])
        self.addCleanup(daemon.entry.unlink)
        self.addCleanup(daemon.listener.close)

    def leasesd(self, *options):
        return self.start(LEASESD, "--socket", self.folder / "l", "--run-dir", self.folder, "--prefix", LEASES,
                          *options, ready="leasesd: serving", at_end=self.addCleanup)

    def connect(self):
        client = manager.connect(
            host="127.0.0.1", port=self.port, username=getpass.getuser(), timeout=PATIENCE,
            key_filename=str(self.folder / "user"), hostkey_verify=False, allow_agent=False,
            look_for_keys=False)
        self.addCleanup(lambda: client.connected and client.close_session())
        client.timeout = PATIENCE
        return client

    def test_get(self):
        client = self.connect()
        for capability in ":base:1.1", INTERFACES + "?module=ietf-interfaces&revision=2018-02-20" \
                "&features=if-mib":
            self.assertIn(capability, client.server_capabilities)
        names = ET.fromstring(client.get().xml).iter(f"{{{INTERFACES}}}name")
        self.assertIn("lo", [e.text for e in names])
        for xmlns in f" xmlns='{INTERFACES}'", "":
            content = f"<interfaces{xmlns}><interface><name>lo</name><enabled/></interface></interfaces>"
            shown = ET.fromstring(client.get(("subtree", content)).data_xml)
            self.assertEqual([e.tag.partition("}")[2] for e in shown.iter()],
                             ["data", "interfaces", "interface", "name", "enabled"])
        client.close_session()
        self.assertFalse(client.connected)

    def test_long_replies_in_a_row(self):
        text = "é€😀 " * 2000
        sent = ET.Element("a", xmlns="urn:a")  # which are references in what a daemon sends
        sent.text = text
        self.daemon("a", says(ET.tostring(sent)))
        client = self.connect()
        for _ in range(20):
            shown = ET.fromstring(client.get(("subtree", "<a xmlns='urn:a'/>")).data_xml)
            self.assertTrue(shown.findtext("{urn:a}a") == text)
        client.async_mode = True
        asked = [client.get(("subtree", "<a xmlns='urn:a'/>")) for _ in range(20)]
        for reply in asked:
            self.assertTrue(reply.event.wait(PATIENCE))
            self.assertIsNone(reply.error)
            self.assertEqual(reply.reply.data_xml.count("</a>"), 1)
        client.async_mode = False

    def ssh(self, *asked, port=None):
        """The command of a client that leaves NETCONF to whoever starts it."""
        return ["ssh", "-F", "none", "-i", self.folder / "user", "-p", str(port or self.port), "-o",
                "StrictHostKeyChecking=no", "-o", "UserKnownHostsFile=/dev/null", "-o", "LogLevel=ERROR",
                *(asked or ("-s", "127.0.0.1", "netconf"))]

    def test_an_sshd_of_its_own_offers_nothing_but_netconf(self):
        port = self.start_sshd(OWN_SSHD.read_text(encoding="utf-8"))
        said = HELLO + f"<rpc xmlns='{BASE}' message-id='1'><close-session/></rpc>]]>]]>"
        for asked in (["-s", "127.0.0.1", "netconf"], ["127.0.0.1"], ["127.0.0.1", "id"]):
            ended = subprocess.run(self.ssh(*asked, port=port), input=said, capture_output=True, text=True,
                                   timeout=PATIENCE, check=False)
            self.assertEqual(ended.returncode, 0, ended.stderr)
            self.assertRegex(ended.stdout, r"^<\?xml .*\?>\n<hello [^]]*</hello>\]\]>\]\]><rpc-reply [^]]*<ok/>"
                                           r"</rpc-reply>\]\]>\]\]>$", asked)
        for refused in ["-tt", "127.0.0.1"], ["-W", f"127.0.0.1:{self.port}", "127.0.0.1"]:
            ended = subprocess.run(self.ssh(*refused, port=port), input="", capture_output=True, text=True,
                                   timeout=PATIENCE, check=False)
            self.assertEqual((ended.returncode, ended.stdout), (255, ""), refused)

    def test_get_data(self):
        client = self.connect()
        reply = client.dispatch(to_ele(f"""<get-data xmlns='{NMDA}'>
            <datastore xmlns:d='urn:ietf:params:xml:ns:yang:ietf-datastores'>d:operational</datastore>
            <subtree-filter><interfaces xmlns='{INTERFACES}'><interface><name>lo</name></interface></interfaces>
            </subtree-filter><max-depth>2</max-depth></get-data>""")).xml
        data, = ET.fromstring(reply)
        names = [e.tag for e in data[0][0]]
        self.assertEqual((data.tag, names[0]), (f"{{{NMDA}}}data", f"{{{INTERFACES}}}name"))
        self.assertNotIn(f"{{{INTERFACES}}}statistics", names)

    def test_configuration_and_state_are_what_the_modules_say(self):
        self.leasesd("--leases", "3")
        client = self.connect()
        kinds = kinds_of_nodes(MODULES + SERVER + LEASE_MODULES)
        found = {}
        for asked in "true", "false", None:
            data, = ET.fromstring(client.dispatch(to_ele(f"""<get-data xmlns='{NMDA}'>
                <datastore xmlns:d='urn:ietf:params:xml:ns:yang:ietf-datastores'>d:operational</datastore>
                {f"<config-filter>{asked}</config-filter>" if asked else ""}</get-data>""")).xml)
            leaves, places = set(), [("", data)]
            while places:
                above, element = places.pop()
                for kid in element:
                    path = above + "/" + kid.tag.partition("}")[2]
                    (places.append((path, kid)) if len(kid) else leaves.add(path))
            found[asked] = leaves
        self.assertEqual({kinds[path] for path in found["true"]}, {"rw", "key"})
        self.assertEqual({kinds[path] for path in found["false"]}, {"ro", "key"})
        self.assertEqual(found["true"] | found["false"], found[None])
        self.assertEqual({path.split("/")[1] for path in found["true"]}, {"interfaces", "routing"})
        self.assertEqual({path.split("/")[1] for path in found["false"]}, {
            "interfaces", "routing", "dhcp", "netconf", "netconf-state", "yang-library"})
        for kind, wanted in ("true", "rw"), ("false", "ro"):
            self.assertEqual({path for path in found[None] if kinds[path] == wanted},
                             {path for path in found[kind] if kinds[path] != "key"})

    def test_kill_session(self):
        killed, client = self.connect(), self.connect()
        process = os.pidfd_open(int(killed.session_id))
        client.kill_session(killed.session_id)
        self.assertTrue(select.select([process], [], [], PATIENCE)[0])
        os.close(process)
        with self.assertRaises(RPCError) as caught:
            client.kill_session(killed.session_id)
        self.assertEqual(caught.exception.tag, "invalid-value")

    @unittest.skipUnless(LIBNETCONF2, "no client made with libnetconf2")
    def test_libnetconf2_fetches_the_modules_and_takes_the_whole_reply(self):
        kernel = {file.parent.name: "up" if int(file.read_text("ascii"), 16) & 1 else "down"
                  for file in pathlib.Path("/sys/class/net").glob("*/flags")}
        for operation in [], ["-"]:
            with tempfile.TemporaryDirectory() as cache, subprocess.Popen(
                    self.ssh(), stdin=subprocess.PIPE, stdout=subprocess.PIPE) as session:
                shown = subprocess.run([LIBNETCONF2, cache, str(session.stdin.fileno()), *operation],
                                       stdin=session.stdout, pass_fds=[session.stdin.fileno()], check=False,
                                       capture_output=True, text=True, timeout=PATIENCE)
                self.assertEqual((shown.returncode, shown.stderr), (0, ""))
                self.assertEqual(dict(line.split() for line in shown.stdout.splitlines()), kernel)
                self.assertIn("ietf-interfaces@2018-02-20.yang", os.listdir(cache))

    @unittest.skipUnless(YANGCLI, "no yangcli")
    def test_yangcli(self):
        script = self.folder / "script"
        script.write_text("sget /interfaces\nsget /netconf-state\nget\nlock target=running\nclose-session\nquit\n",
                          encoding="utf-8")
        shown = subprocess.run(
            [YANGCLI, "--batch-mode", "--server=127.0.0.1", f"--ncport={self.port}",
             f"--user={getpass.getuser()}", "--password=-", f"--private-key={self.folder}/user",
             # It takes a submodule that it finds, whatever its revision is.
             f"--modpath={YANG}/nmda-modules:{YANG}/modules", f"--public-key={self.folder}/user.pub", "--autohistory=false", "--autoaliases=false",
             "--autouservars=false", f"--run-script={script}"], stdin=subprocess.DEVNULL, check=False,
            env={**os.environ, "HOME": str(self.folder)}, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            text=True, timeout=PATIENCE).stdout
        self.assertIn("NETCONF session established", shown)
        self.assertNotIn("invalid reply", shown)
        self.assertNotIn("Using anyxml", shown)
        for sign in ("interface lo {", "transport ncm:netconf-ssh", "destination-prefix 127.0.0.0/8",
                     "name NETCONF", "content-id", "error-tag operation-not-supported"):
            self.assertIn(sign, shown)

    def test_notifications(self):
        daemon = self.leasesd("--every", "50")
        client = self.connect()
        for word in ":notification", ":interleave":
            self.assertIn(word, client.server_capabilities)
        client.create_subscription()
        for _ in range(3):
            told = client.take_notification(timeout=PATIENCE).notification_ele
            self.assertEqual(told[1].tag, "{urn:example:dhcp-leases}lease-granted")
            pools = client.get(("subtree", "<dhcp xmlns='urn:example:dhcp-leases'><pool/></dhcp>"))
            self.assertEqual(pools.data_xml.count("</pool>"), 4)
        daemon.terminate()
        while told[1].tag != "{urn:orvex:events}event-source-lost":
            told = client.take_notification(timeout=PATIENCE).notification_ele
        self.assertEqual(told[1][0].text, "leasesd")


if __name__ == "__main__":
    if SSHD is None:
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
