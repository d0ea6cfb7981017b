#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""The example daemon and the client, with a socket between them: served_test.py NETSTATD DRENDCTL"""

import configparser
import os
import pathlib
import re
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

NETSTATD, DRENDCTL = sys.argv[1:3]
UNIT = pathlib.Path(__file__).parent.parent / "examples/netstatd/netstatd.service"
ROUTES = 300000
PATIENCE = 120  # seconds; only a fault lasts so long


class Served(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.socket = self.folder / "s"
        self.start()
        self.addCleanup(self.stop)

    def start(self, *options):
        self.daemon = subprocess.Popen(
            [NETSTATD, "--socket", self.socket, "--routes", str(ROUTES), *options],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.assertEqual(self.daemon.stdout.readline(), f"netstatd: serving {self.socket}\n")

    def stop(self):
        self.daemon.terminate()
        self.daemon.communicate(timeout=PATIENCE)
        self.assertEqual(self.daemon.returncode, 0)
        self.assertFalse(self.socket.exists())

    def client(self, *arguments, **options):
        return subprocess.Popen([DRENDCTL, "--socket", self.socket, *arguments],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                stdin=subprocess.PIPE, text=True, **options)

    def ask(self, *arguments):
        """The exit code, standard output and standard error of a client."""
        client = self.client(*arguments)
        out, err = client.communicate(timeout=PATIENCE)
        return client.returncode, out, err

    def test_answers_and_exit_codes(self):
        one = '<prefix>10.0.0.7/32</prefix>'
        code, out, err = self.ask("show-synthetic-routes", "prefix=10.0.0.7/32")
        self.assertEqual((code, err, out.count("<route>")), (0, "", 1))
        self.assertIn(one, out)
        path = "/synthetic-routes/route[prefix='10.0.0.7/32']/prefix"
        self.assertIn(one, self.ask("show-syn", "--filter", path)[1])
        self.assertIn('"prefix" : "10.0.0.7/32"',
                      self.ask("show-synthetic-routes", "prefix=10.0.0.7/32", "--plain-json")[1])
        self.assertEqual(self.ask("show-synthetic-routes", "prefix=none")[:2], (4, ""))
        self.assertEqual(self.ask("sho")[:2], (1, ""))
        self.assertIn("show-synthetic-routes", self.ask("--list")[1])

    def test_single_values_by_path(self):
        routes = "/show-synthetic-routes/synthetic-routes/route"
        prefix = f"10.{ROUTES - 1 >> 16}.{ROUTES - 1 >> 8 & 255}.{ROUTES - 1 & 255}/32"
        last = f"{routes}[prefix='{prefix}']"
        self.assertEqual(self.ask("xwalker", last + "/prefix"),
                         (0, f"path  {last}/prefix\nkind  leaf\ntype  string\nvalue {prefix}\n", ""))
        # A search through the whole table, by what no list procedure seeks by.
        self.assertIn(f"path  {last}\n", self.ask("xwalker", f"{routes}[contains(prefix, '{prefix}')]")[1])
        self.assertIn("[65536]", self.ask("dump", "/interfaces/interface[name=lo]/mtu")[1])
        self.assertIn("no 'mtus' below /interfaces/interface; ",
                      self.ask("dump", "/interfaces/interface/mtus")[2])

    def test_a_large_answer_is_whole_and_can_be_interrupted(self):
        code, out, _ = self.ask("show-synthetic-routes")
        self.assertEqual((code, out.count("<route>")), (0, ROUTES))
        client = self.client("show-synthetic-routes")
        client.stdout.read(1)
        client.send_signal(signal.SIGINT)
        out, _ = client.communicate(timeout=PATIENCE)
        self.assertEqual(client.returncode, 130)
        self.assertLess(out.count("<route>"), ROUTES)
        self.assertEqual(self.ask("show-daemon")[0], 0)

    def test_signals_reload_and_end_the_daemon(self):
        self.reload("finish reloading\n")
        self.assertEqual(self.ask("show-daemon")[0], 0)
        client = self.client("show-synthetic-routes")
        client.stdout.read(1)
        self.daemon.terminate()
        client.communicate(timeout=PATIENCE)
        self.assertEqual(client.returncode, 3)

    def test_a_definition_does_not_take_the_place_of_the_reload(self):
        self.stop()
        definitions = self.folder / "usr/lib/render"
        definitions.mkdir(parents=True)
        (definitions / "a.json").write_text(
            '[{"dc_name": "reload", "dc_tag": {"dts_name": "a", "dts_source": "/"}}]')
        self.start("--prefix", self.folder)
        (definitions / "b.json").write_text(
            '[{"dc_name": "show-b", "dc_tag": {"dts_name": "b", "dts_source": "/"}}]')
        self.reload("error reloading\n")  # a served daemon is strict
        self.assertEqual(self.ask("show-b")[0], 1)
        (definitions / "a.json").unlink()
        self.reload("finish reloading\n")
        self.assertEqual(self.ask("show-b")[0], 4)

    def test_definitions_are_checked_where_they_stand(self):
        definitions = self.folder / "a.json"
        definitions.write_text('[{"dc_name": "c", "dc_tag": {\n"dts_name": "t",\n'
                               ' "dts_source": "/interface"}}]')
        code, out, err = self.ask("check", f"path={definitions}")
        self.assertEqual((code, err), (5, ""))
        self.assertIn('[no-such-source]\n  3 |  "dts_source": "/interface"}}]\n'
                      '    |                ^\n1 errors, 0 warnings\n', out)

    def reload(self, last_line):
        self.daemon.send_signal(signal.SIGHUP)
        line = self.daemon.stderr.readline()
        while line not in ("finish reloading\n", "error reloading\n", ""):
            line = self.daemon.stderr.readline()
        self.assertEqual(line, last_line)

    def test_what_cannot_be_read_fails_the_answer(self):
        failed = "cannot read the kernel's routes: Too many open files\n"
        requests = "show-routes\nshow-routes as-json\n"
        whole = "".join(self.ask(*request.split())[1] for request in requests.splitlines())
        client = self.client()  # of one connection
        client.stdin.write("show-daemon\n")
        client.stdin.flush()
        while client.stdout.readline() != "</daemon-information>\n":
            pass
        usual = resource.prlimit(self.daemon.pid, resource.RLIMIT_NOFILE)
        resource.prlimit(self.daemon.pid, resource.RLIMIT_NOFILE, (1, usual[1]))
        client.stdin.write(requests)
        client.stdin.flush()
        self.assertEqual([client.stderr.readline() for _ in range(2)], ["error: " + failed] * 2)
        resource.prlimit(self.daemon.pid, resource.RLIMIT_NOFILE, usual)
        out, err = client.communicate(requests, timeout=PATIENCE)
        self.assertTrue(out.endswith(whole), out)
        self.assertEqual((client.returncode, err), (1, ""))
        self.assertEqual(self.daemon.stderr.readline(), "netstatd: " + failed)

    def test_the_unit_serves_where_the_client_looks(self):
        unit = configparser.ConfigParser(strict=False, interpolation=None)
        unit.optionxform = str
        unit.read(UNIT)
        served = re.search(r"--socket (\S+)", unit["Service"]["ExecStart"])[1]
        self.assertEqual(pathlib.Path(served).parent.name, unit["Service"]["RuntimeDirectory"])
        shown = subprocess.run([DRENDCTL, "--help"], capture_output=True, text=True, check=True)
        self.assertIn(f"--socket PATH={served} ", shown.stdout)

    def test_a_socket_that_cannot_be_served_is_reported(self):
        second = subprocess.run([NETSTATD, "--socket", self.socket], capture_output=True, text=True,
                                timeout=PATIENCE, check=False)
        self.assertEqual((second.returncode, second.stderr),
                         (1, f"netstatd: cannot serve {self.socket}: another process serves it\n"))


if __name__ == "__main__":
    os.environ.pop("DRENDCTL_SOCKET", None)
    unittest.main(argv=sys.argv[:1], verbosity=2)
