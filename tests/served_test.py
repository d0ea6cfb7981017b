#!/usr/bin/env python3
"""The example daemon and the client, with a socket between them: served_test.py NETSTATD DRENDCTL"""

import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import unittest

NETSTATD, DRENDCTL = sys.argv[1:3]
ROUTES = 300000
PATIENCE = 120  # seconds; only a fault lasts so long


class Served(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.socket = pathlib.Path(folder.name, "s")
        self.daemon = subprocess.Popen(
            [NETSTATD, "--socket", self.socket, "--routes", str(ROUTES)],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.assertEqual(self.daemon.stdout.readline(), f"netstatd: serving {self.socket}\n")

    def tearDown(self):
        self.daemon.terminate()
        self.daemon.communicate(timeout=PATIENCE)
        self.assertEqual(self.daemon.returncode, 0)
        self.assertFalse(self.socket.exists())

    def client(self, *arguments, **options):
        return subprocess.Popen([DRENDCTL, "--socket", self.socket, *arguments],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                stdin=subprocess.PIPE, text=True, **options)

    def ask(self, *arguments, requests=""):
        """The exit code, standard output and standard error of a client."""
        client = self.client(*arguments)
        out, err = client.communicate(requests, timeout=PATIENCE)
        return client.returncode, out, err

    def test_answers_and_exit_codes(self):
        one = '<prefix>10.0.0.7/32</prefix>'
        code, out, err = self.ask("show-synthetic-routes", "prefix=10.0.0.7/32")
        self.assertEqual((code, err, out.count("<route>")), (0, "", 1))
        self.assertIn(one, out)
        path = "/synthetic-routes/route[prefix='10.0.0.7/32']/prefix"
        self.assertIn(one, self.ask("show-syn", "--filter", path)[1])
        code, out, _ = self.ask("show-synthetic-routes", "prefix=10.0.0.7/32", "--json")
        self.assertEqual(code, 0)
        self.assertIn('"prefix" : "10.0.0.7/32"', out)
        self.assertEqual(self.ask("show-synthetic-routes", "prefix=none")[:2], (4, ""))
        code, out, err = self.ask("sho")
        self.assertEqual((code, out), (1, ""))
        self.assertIn("'sho' is ambiguous: ", err)
        self.assertIn("show-synthetic-routes", self.ask("--list")[1])
        code, out, _ = self.ask("-", requests="show-daemon --json\n\n# nothing\nshow-daemon\n")
        self.assertEqual((code, out.count("<process-id>"), out.count('"process-id" : ')), (0, 1, 1))

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
        self.daemon.send_signal(signal.SIGHUP)
        self.assertEqual(self.daemon.stderr.readline(), "finish reloading\n")
        self.assertEqual(self.ask("show-daemon")[0], 0)
        client = self.client("show-synthetic-routes")
        client.stdout.read(1)
        self.daemon.terminate()
        client.communicate(timeout=PATIENCE)
        self.assertEqual(client.returncode, 3)

    def test_a_socket_that_cannot_be_served_is_reported(self):
        second = subprocess.run([NETSTATD, "--socket", self.socket], capture_output=True, text=True,
                                timeout=PATIENCE, check=False)
        self.assertEqual((second.returncode, second.stderr),
                         (1, f"netstatd: cannot serve {self.socket}: another process serves it\n"))


if __name__ == "__main__":
    os.environ.pop("DRENDCTL_SOCKET", None)
    unittest.main(argv=sys.argv[:1], verbosity=2)
