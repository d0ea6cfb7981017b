#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Runs drend-lint: over the project's definitions, and over mistakes in every format.

lint_test.py DREND-LINT NETSTATD ROOT
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from bash_completion import completed

LINT, NETSTATD, ROOT = sys.argv.pop(1), sys.argv.pop(1), pathlib.Path(sys.argv.pop(1))

MISTAKES = """[
  {"dc_name": "show", "dc_tag": {"dts_name": "t", "dts_source": "/rows", "dts_kids": [
    {"dts_name": "r", "dts_type": "list", "dts_source": "row", "dts_kids": [
      {"dts_name": "é", "dts_type": "leaf", "dts_source": "nmae"},
      {"dts_name": "x", "dts_type": "lst", "dts_source": "tag"}]}]}}
]
"""
DATA = {"rows": {"row": [{"name": "a", "size": 1}, {"on": True, "tag": ["x"]}]}}
DUMP = ("/  container \n/rows  container \n/rows/row  list \n/rows/row/name  leaf \n"
        "/rows/row/size  leaf \n/rows/row/tag  list \n\n\n")
WORD = ("5:37: error: command 'show', tag t/r/x: dts_type: 'lst' is no word of it; did you mean "
        "'list'? [unknown-word]")
SOURCE = ("4:59: error: command 'show', tag t/r/é: the data has no 'nmae' here; did you mean "
          "'name'? [no-such-source]")


def lint(*arguments):
    result = subprocess.run([LINT, *map(str, arguments)], capture_output=True, text=True,
                            check=False)
    return result.returncode, result.stdout, result.stderr


class Lint(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.file = self.write("show.json", MISTAKES)

    def write(self, name, text):
        path = self.folder / name
        path.write_text(text, encoding="utf-8")
        return path

    def lines(self, *findings):
        return "".join(f"{self.file}:{finding}\n" for finding in findings)

    def completed(self, *words):
        return completed(ROOT / "tools/lint/drend-lint.bash", "drend-lint", *words)

    def test_bash_completes_options_and_files(self):
        options = re.findall(r"--[a-z]+", lint("--help")[1])
        self.assertEqual(sorted(self.completed("--")), sorted(set(options)))
        begun = str(self.file)[:-3]
        for words in ([begun], ["--strict", begun], ["--model", begun], ["--model", "=", begun]):
            self.assertEqual(self.completed(*words), [str(self.file)], words)
        for words in (["--format", ""], ["--format", "="], ["--format", "=", ""]):
            self.assertEqual(self.completed(*words), ["text", "json", "sarif"], words)
        self.assertEqual(self.completed("--format", "=", "sa"), ["sarif"])

    def test_the_definitions_of_the_project_have_no_findings(self):
        folders = sorted({file.parent for folder in ("examples", "tests/data")
                          for file in (ROOT / folder).rglob("*.json")})
        self.assertGreater(len(folders), 3)
        self.assertEqual(lint("--strict", *folders), (0, "", ""))

    def test_an_example_fits_its_daemon(self):
        dump = subprocess.run([NETSTATD, "--once", "dump-schema"], capture_output=True,
                              text=True, check=True).stdout
        self.assertEqual(lint("--strict", "--model", self.write("dump", dump),
                              ROOT / "examples/netstatd/render"), (0, "", ""))

    def test_a_model_is_a_dump_or_data(self):
        self.assertEqual(lint(self.file), (1, self.lines(WORD), ""))
        for name, text in ("dump", DUMP), ("data", json.dumps(DATA)):
            model = self.write(name, text)
            self.assertEqual(lint("--model", model, self.file),
                             (1, self.lines(WORD, SOURCE), ""))
        for name, text in ("bad", "/rows\n"), ("bad", "[]"), ("bad", "{"):
            status, printed, errors = lint("--model", self.write(name, text), self.file)
            self.assertEqual((status, printed), (2, ""))
            self.assertIn(f"{self.folder}/bad: ", errors)

    def test_directories_files_and_what_is_neither(self):
        self.write("other.txt", "no JSON")
        self.write("broken.json", "[")
        broken = f"{self.folder}/broken.json:1:1: error: ']' expected near end of file [syntax]\n"
        self.assertEqual(lint(self.folder), (1, broken + self.lines(WORD), ""))
        missing = self.folder / "missing.json"
        self.assertEqual(lint(missing),
                         (1, f"{missing}: error: there is no such file [no-file]\n", ""))
        self.assertEqual(lint()[0], 2)
        self.assertEqual(lint("--format", "xml", self.file)[0], 2)

    def test_warnings_fail_when_asked_to(self):
        self.file.write_text('[{"dc_name": "c", "remark": 1}]')
        for arguments, status in (([], 0), (["--strict"], 1)):
            self.assertEqual(lint(*arguments, self.file), (
                status, self.lines("1:19: warning: command 'c': 'remark' is no member "
                                   "[unknown-member]"), ""))

    def test_as_json(self):
        finding, = json.loads(lint("--format=json", self.file)[1])
        self.assertEqual((finding["line"], finding["tag"], finding["nearest"]), (5, "t/r/x", "list"))

    def test_as_sarif(self):
        log = json.loads(lint("--format=sarif", self.file)[1])
        run, = log["runs"]
        result, = run["results"]
        rules = [rule["id"] for rule in run["tool"]["driver"]["rules"]]
        self.assertEqual((log["version"], run["columnKind"]), ("2.1.0", "unicodeCodePoints"))
        self.assertIn(result["ruleId"], rules)
        place = result["locations"][0]["physicalLocation"]
        self.assertEqual(place["artifactLocation"]["uri"], str(self.file))
        self.assertEqual(place["region"], {"startLine": 5, "startColumn": 37})
        self.assertEqual(result["message"]["text"],
                         "command 'show', tag t/r/x: dts_type: 'lst' is no word of it; did you "
                         "mean 'list'?")


if __name__ == "__main__":
    unittest.main()
