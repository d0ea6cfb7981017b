#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""The example daemon with leases: leasesd_test.py LEASESD DRENDCTL"""

import json
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ET

from fake_daemon import PATIENCE, started
from netstatd_yang import LEASES, errors_of

LEASESD, DRENDCTL = sys.argv[1:3]
PREFIX = pathlib.Path(__file__).resolve().parent.parent / "examples/leasesd"


class Leases(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.socket = self.folder / "s"

    def start(self, *options):
        def is_gone():
            self.assertEqual((daemon.returncode, list(self.folder.glob("leasesd*"))), (0, []))
        self.addCleanup(is_gone)
        daemon = started(
            [LEASESD, "--socket", self.socket, "--run-dir", self.folder, "--prefix", PREFIX, *options],
            f"leasesd: serving {self.socket}\n", self.addCleanup)

    def ask(self, *request):
        """The answer; "" for nothing."""
        asked = subprocess.run([DRENDCTL, "--socket", self.socket, *request], capture_output=True,
                               text=True, check=False, timeout=PATIENCE)
        self.assertEqual((asked.returncode, asked.stderr), (0 if asked.stdout else 4, ""))
        return asked.stdout

    def addresses(self, *request):
        return re.findall("<address>(.*)</address>", self.ask("show-leases", *request))

    def test_leases_by_address_and_pool(self):
        self.start("--leases", "6", "--every", "0")
        self.assertEqual(self.addresses(), ["10.0.0.1", "10.4.0.1", "10.8.0.1", "10.12.0.1",
                                            "10.0.0.2", "10.4.0.2"])
        for request, shown in (
                ("address=10.0.0.2", ["10.0.0.2"]), ("pool=guests", ["10.4.0.1", "10.4.0.2"]),
                ("pool=phones address=10.8.0.1", ["10.8.0.1"]), ("pool=office address=10.8.0.1", []),
                ("address=10.8.0.2", []), ("address=10.0.0.0", []), ("address=10.3.255.255", []),
                ("address=9.255.255.255", []), ("address=somewhere", []), ("pool=none", []),
                ("filter=/leases/lease[host-name='']", ["10.8.0.1", "10.4.0.2"]),
                ("state=over", []), ("limit=2", ["10.0.0.1", "10.4.0.1"])):
            with self.subTest(request=request):
                self.assertEqual(self.addresses(*request.split(" ")), shown)
        lease = json.loads(self.ask("show-leases", "address=10.4.0.1", "--json"))["leases"]["lease"][0]
        self.assertEqual((lease["mac"], lease["host-name"], lease["state"]),
                         ("02:00:00:00:00:02", "host-2", "bound"))
        used = re.findall("<used>(.*)</used>", self.ask("show-pools"))
        self.assertEqual(used, ["2", "2", "1", "1"])

    def test_what_netconf_clients_get_is_what_its_module_says(self):
        self.start("--leases", "50", "--every", "0")
        self.assertIn(f"module {LEASES[0].read_text().split('namespace ')[1].split(chr(34))[1]}?",
                      (self.folder / "leasesd.daemon").read_text())
        answer = self.ask("corvane-netconf-get", "as-ietf-xml")
        content = answer.partition("<data>")[2].rpartition("</data>")[0] or answer
        for kind in "get", "data":
            self.assertEqual(errors_of(kind, content, LEASES), "")
        self.assertEqual(len(list(ET.fromstring(content).iter("{urn:example:dhcp-leases}lease"))), 50)

    def listen(self, *form):
        # pylint: disable-next=consider-using-with
        client = subprocess.Popen([DRENDCTL, "--socket", self.socket, "events", *form],
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

        def end():
            client.send_signal(signal.SIGINT)
            errors = client.communicate(timeout=PATIENCE)[1]
            # One that is interrupted in the middle of a line says so.
            self.assertIn((client.returncode, errors), (
                (0, ""), (130, "drendctl: interrupted: the answer is incomplete\n")))
        self.addCleanup(end)
        return client.stdout

    def test_leases_that_come_and_end_are_told(self):
        self.start("--leases", "3", "--lease-time", "1", "--every", "10")
        told = {}
        for line in self.listen("as-ietf-xml", "compact"):
            self.assertEqual(errors_of("nc-notif", line, LEASES), "", line)
            time, event = ET.fromstring(line)
            told.setdefault(event.tag, []).append(event.findtext("{urn:example:dhcp-leases}address"))
            self.assertRegex(time.text, r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z$")
            if len(told) == 2:
                break
        granted, expired = (told[f"{{urn:example:dhcp-leases}}lease-{word}"]
                            for word in ("granted", "expired"))
        self.assertRegex(granted[0] + " " + expired[0], r"^10\.[\d.]+ 10\.[\d.]+$")
        # In JSON; and to several at once.
        for line, _ in zip(self.listen("as-ietf-json", "compact"), range(3)):
            event = json.loads(line)["ietf-restconf:notification"]
            self.assertEqual(sorted(event)[:1], ["eventTime"])
            self.assertIn(sorted(event)[1], ("example-dhcp-leases:lease-granted",
                                             "example-dhcp-leases:lease-expired"))
        self.assertIn("<lease-", "".join(line for line, _ in zip(self.listen(), range(4))))
        self.assertGreater(int(re.search("<granted>(.*)</granted>",
                                         self.ask("show-lease-statistics"))[1]), 3)

    def test_silence_ends_no_subscription(self):
        self.start("--leases", "0", "--every", "400")
        shown = self.listen("as-ietf-xml", "compact", "--timeout", "0.1")
        self.assertEqual([f"host-{n}" in line for line, n in zip(shown, (1, 2))], [True, True])

    def test_what_cannot_be_is_refused(self):
        for arguments, line in (
                ((), "usage: "), (("--socket", "/s", "more"), "usage: "),
                (("--leases", "1000000000"), "leasesd: '1000000000' is no number from 0 to 1048568"),
                (("--lease-time", "0"), "leasesd: '0' is no number from 1 to "),
                (("--every", "1s"), "leasesd: '1s' is no number from 0 to ")):
            asked = subprocess.run([LEASESD, *arguments], capture_output=True, text=True, check=False)
            self.assertEqual(asked.returncode, 2)
            self.assertIn(line, asked.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
