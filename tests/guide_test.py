#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""The README's guide does what it says: guide_test.py BUILD

Its steps are taken as they are printed, in an empty place where the build tree BUILD stands for the
one that the first step makes. What is printed behind a step's commands is what they print.
"""

import contextlib
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
ROOT = pathlib.Path(__file__).resolve().parent.parent
PATIENCE = 60  # seconds
GUIDE = re.search(r"^## Add a command to a daemon\n(.*?)^### ", (ROOT / "README.md").read_text(),
                  re.MULTILINE | re.DOTALL).group(1)


def steps():
    """The guide's code blocks by step: lists of (language, text)."""
    parts = re.split(r"^\*\*\d\. ", GUIDE, flags=re.MULTILINE)[1:]
    return [re.findall(r"^```(\w+)\n(.*?)^```$", part, re.MULTILINE | re.DOTALL)
            for part in parts]


class Guide(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        for name in ("include", "platform"):
            (self.place / name).symlink_to(ROOT / name)
        (self.place / "build").mkdir()
        (self.place / "build/install").symlink_to(BUILD)

    def sh(self, commands):
        """The output of commands of the shell, the last of which may stay in the background."""
        result = subprocess.Popen(["sh", "-ec", commands], cwd=self.place, text=True,
                                  stdout=subprocess.PIPE, start_new_session=True)
        if commands.endswith("&\n"):
            self.addCleanup(result.stdout.close)
            self.assertEqual(result.wait(PATIENCE), 0, commands)
            self.addCleanup(os.killpg, result.pid, signal.SIGTERM)
            return ""
        output = result.communicate(timeout=PATIENCE)[0]
        self.assertEqual(result.returncode, 0, commands)
        return output

    def wait_for_socket(self):
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            with contextlib.suppress(OSError), socket.socket(socket.AF_UNIX) as client:
                client.connect(str(self.place / "sensord.sock"))
                return
            time.sleep(0.01)
        self.fail("nobody serves the socket")

    def check(self, blocks):
        """Runs the commands among `blocks` and compares the answers behind them."""
        compared = 0
        for (_, commands), (language, expected) in zip(blocks, blocks[1:]):
            if language in ("xml", "json", "text"):
                self.assertEqual(self.sh(commands).rstrip("\n"), expected.rstrip("\n"))
                compared += 1
        return compared

    def test_the_steps_are_as_printed(self):
        _, definition, preview, data, link, less, _, serve = steps()
        source = data[0][1]
        (self.place / "sensord.c").write_text(source)
        file = self.place / re.search(r'"(\S+-sensors\.json)"', GUIDE).group(1)
        file.parent.mkdir(parents=True)
        sample, *begin, changed = definition
        (self.place / "sensors.json").write_text(sample[1])
        self.assertEqual(self.check(begin), 1)
        file.write_text(changed[1])
        self.assertEqual(self.check(preview), 2)
        self.assertEqual(self.check(link), 1)
        self.assertEqual(self.check(less), 2)
        main, start, *ask = serve
        (self.place / "sensord.c").write_text(source[:source.index("int main(")] + main[1])
        self.sh(start[1])
        self.wait_for_socket()
        self.assertEqual(self.check(ask), 1)


if __name__ == "__main__":
    unittest.main()
