#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""What definitions make of data, without a daemon: preview_test.py PREVIEW DRENDCTL"""

import json
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from fake_daemon import PATIENCE, started

PREVIEW, DRENDCTL = sys.argv[1:3]

DEFINITION = [{"dc_name": "show-sensors", "dc_help": "Show sensors", "dc_tag": {
    "dts_name": "sensors", "dts_source": "/sensors", "dts_kids": [
        {"dts_name": "sensor", "dts_type": "list", "dts_source": "sensor", "dts_key": ["name"],
         "dts_kids": [
             {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
             {"dts_name": "load", "dts_type": "leaf", "dts_source": "in/load",
              "dts_data_type": "decimal64", "dts_data_decimal64_fraction": 3},
             {"dts_name": "celsius", "dts_type": "leaf", "dts_source": "celsius",
              "dts_data_type": "uint8"},
             {"dts_name": "status", "dts_type": "leaf", "dts_source": "state",
              "dts_map": [["1", "good"], ["2", "too hot"]]}]}]}}]
DATA = {"sensors": {"sensor": [{"name": "cpu", "state": 2}, {"name": "case", "celsius": 30}]}}
CPU = """<sensors>
  <sensor>
    <name>cpu</name>
    <status>too hot</status>
  </sensor>
</sensors>
"""


class Preview(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.render = self.folder / "render"
        self.render.mkdir()
        self.file = self.render / "sensors.json"
        self.file.write_text(json.dumps(DEFINITION))
        self.data = self.folder / "data"
        self.data.write_text(json.dumps(DATA))
        (self.folder / "tmp").mkdir()

    def options(self):
        return {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True,
                "env": {"TMPDIR": str(self.folder / "tmp")}}

    def run_it(self, *arguments):
        """The exit code, standard output and standard error."""
        result = subprocess.run([PREVIEW, *map(str, arguments)], timeout=PATIENCE, check=False,
                                **self.options())
        self.assertEqual(list((self.folder / "tmp").iterdir()), [], "something is left behind")
        return result.returncode, result.stdout, result.stderr

    def test_shows_data(self):
        both = CPU.replace("</sensors>", "  <sensor>\n    <name>case</name>\n"
                           "    <celsius>30</celsius>\n  </sensor>\n</sensors>")
        one = json.loads('{"sensors": {"sensor": [{"name": "cpu", "status": "too hot"}]}}')
        for definitions in (self.render, self.file):
            show = (definitions, "--data", self.data, "show-sensors")
            self.assertEqual(self.run_it(*show), (0, both, ""))
            wanted = "--filter", "/sensors/sensor[name=\"cpu\"]"
            self.assertEqual(self.run_it(*show, *wanted), (0, CPU, ""))
            self.assertEqual(self.run_it(*show, "filter='/sensors/sensor[name=\"cpu\"]'"),
                             (0, CPU, ""))
            code, out, err = self.run_it(*show, *wanted, "--json")
            self.assertEqual((code, json.loads(out), err), (0, one, ""))
            table = self.run_it(*show, *wanted, "--table")
            self.assertEqual(table, (0, "name  status\ncpu   too hot\n", ""))
            nothing = self.run_it(*show, "--filter", "/sensors/sensor[name=\"none\"]/name")
            self.assertEqual(nothing, (4, "", "drend-preview: there is nothing to show\n"))

    def test_makes_data_up(self):
        show = self.render, "show-sensors"
        code, first, err = self.run_it(*show)
        self.assertEqual((code, err, first.count("<sensor>")), (0, "", 2))
        for text in ("<name>name-1</name>", "<name>name-2</name>", "<celsius>", "<load>"):
            self.assertIn(text, first)
        self.assertRegex(first, "<status>(good|too hot)</status>")
        self.assertNotIn("Error", first)
        self.assertEqual(self.run_it(*show)[1], first)
        self.assertEqual(self.run_it(*show, "--seed", 1)[1], first)
        self.assertNotEqual(self.run_it(*show, "--seed", 2)[1], first)
        self.data.write_text(self.run_it(self.render, "--print-data")[1])
        self.assertEqual(self.run_it(*show, "--data", self.data)[1], first)

    def test_says_what_is_wrong(self):
        bad = self.folder / "bad.json"
        bad.write_text("[{]")
        cases = [
            ((self.render, "--data", bad, "show-sensors"), 1, f"{bad}:1:3: string or '}}' expected"),
            ((self.render, "--data", self.folder / "none", "x"), 1,
             f"{self.folder / 'none'}: No such file or directory"),
            ((self.folder / "none", "x"), 1,
             f"drend-preview: {self.folder / 'none'}: No such file or directory"),
            ((self.folder / "tmp", "x"), 1,
             f"drend-preview: {self.folder / 'tmp'}: no file is called *.json"),
            ((self.render, "show"), 1, "drend-preview: no command 'show'; there are:"),
            ((bad,), 0, f"json load error: {bad} : 1:3 - "),
            ((), 2, "DIR|FILE is required"),
            ((self.render, "--data", self.data, "--seed", 3), 2, "--data excludes --seed"),
            ((self.render, "x", "--filter", "a\\"), 1,
             "drend-preview: no command 'x'; there are:"),
            ((self.render, "show-sensors", "--filter", "a\\"), 1,
             "drend-preview: a filter cannot end in a backslash"),
        ]
        for arguments, code, text in cases:
            found = self.run_it(*arguments)
            self.assertEqual(found[0], code, found)
            self.assertIn(text, found[2].split("\n")[0] if code < 2 else found[2])
            self.assertNotIn(str(self.folder / "tmp" / "drend"), found[2])

    def test_lists_commands(self):
        code, out, err = self.run_it(self.render)
        self.assertEqual((code, err), (0, ""))
        self.assertRegex(out.split("\n")[0], "^show-sensors +Show sensors$")

    def read_until(self, stream, line):
        text = ""
        while not text.endswith(line):
            piece = stream.readline()
            self.assertNotEqual(piece, "", text)
            text += piece
        return text

    def test_watches(self):
        waiting = "drend-preview: waiting for changes\n"
        one = {"sensors": {"sensor": [{"name": "fan"}]}}
        with subprocess.Popen([PREVIEW, self.render, "--data", self.data, "--watch",
                               "show-sensors"], **self.options()) as watching:
            try:
                self.read_until(watching.stdout, "</sensors>\n")
                self.assertEqual(self.read_until(watching.stderr, waiting), waiting)
                new = self.folder / "new"
                new.write_text(json.dumps(one))
                time.sleep(0.2)  # for an answer to what is no file of its own
                new.rename(self.data)  # as editors do
                self.assertIn("<name>fan</name>",
                              self.read_until(watching.stdout, "</sensors>\n"))
                self.assertEqual(self.read_until(watching.stderr, waiting), waiting)
                self.data.write_text('{"sensors": 5}')  # another kind than before
                self.assertEqual(self.read_until(watching.stderr, waiting),
                                 "drend-preview: there is nothing to show\n" + waiting)
                self.data.write_text(json.dumps(one))
                self.file.write_text(json.dumps(DEFINITION).replace('"sensors"', '"probes"'))
                self.assertIn("<name>fan</name>",
                              self.read_until(watching.stdout, "</probes>\n"))
            finally:
                watching.send_signal(signal.SIGINT)
                watching.communicate(timeout=PATIENCE)
            self.assertEqual(watching.returncode, -signal.SIGINT)

    def test_serves(self):
        socket = self.folder / "s"
        server = started([PREVIEW, self.render, "--data", self.data, "--serve", socket],
                         f"drend-preview: serving {socket}\n", self.addCleanup, env=self.options()["env"])
        answer = subprocess.run(
            [DRENDCTL, "--socket", socket, "show-sensors", "--filter", "/sensors/sensor[name='cpu']"],
            timeout=PATIENCE, check=True, stdout=subprocess.PIPE, text=True).stdout
        server.terminate()
        server.communicate(timeout=PATIENCE)
        self.assertEqual((answer, server.returncode), (CPU, 0))
        self.assertFalse(socket.exists())
        self.assertEqual(list((self.folder / "tmp").iterdir()), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
