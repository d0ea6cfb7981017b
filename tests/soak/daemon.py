# SPDX-License-Identifier: BSD-2-Clause
"""A daemon under test: started, looked at from outside, and ended."""

import atexit
import os
import pathlib
import re
import shutil
import signal
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
START_PATIENCE = END_PATIENCE = 60  # seconds
# What a daemon may say on standard error while nothing is wrong with it.
EXPECTED = re.compile("|".join((
    r"netstatd: cannot read the kernel's [a-z ]+: .*",  # changed too often while it was read
    r"json load error: \S+/(show-synthetic-routes|leasesd-show)\.json : 2:0 - string or '}' expected near "
    r"end of file",                                     # broken by the one who has it loaded
)))


class Daemon:
    """`patience` is how long a peer may take nothing before it is closed, in seconds; a definitions
    file of its own is in two versions, see definitions.py."""

    def __init__(self, name, program, folder, definitions, varied, options, patience):
        self.name, self.patience = name, patience
        self.folder = folder / name
        self.place = self.folder / "usr/lib/render"
        shutil.copytree(definitions, self.place)
        self.varied = self.place / varied
        self.socket = folder / f"{name}.socket"
        self.errors = self.folder / "stderr"
        with open(self.errors, "wb") as errors:
            # pylint: disable-next=consider-using-with
            self.process = subprocess.Popen(
                [program, "--socket", self.socket, "--run-dir", folder, "--prefix", self.folder, *options],
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors, text=True)
        atexit.register(self.process.kill)  # however this process ends
        said = self.process.stdout.readline()
        if said != f"{name}: serving {self.socket}\n":
            raise SystemExit(f"soak: {name} does not start: {said}{self.errors.read_text('utf-8')}")

    def is_alive(self):
        return self.process.poll() is None

    def resident(self):
        """Bytes of physical memory, as the kernel has them: exact, unlike those in "status"."""
        rollup = pathlib.Path(f"/proc/{self.process.pid}/smaps_rollup").read_text("ascii")
        return int(re.search(r"^Rss: +(\d+) kB", rollup, re.MULTILINE)[1]) << 10

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def end(self, tally):
        self.process.send_signal(signal.SIGTERM)
        try:
            said, _ = self.process.communicate(timeout=END_PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            said, _ = self.process.communicate()
            tally.fault(f"{self.name} does not end")
        if self.process.returncode != 0 or said:
            tally.fault(f"{self.name} ends with {self.process.returncode} and says {said!r}")
        for line in self.errors.read_text("utf-8", errors="replace").splitlines():
            if EXPECTED.fullmatch(line):
                tally.count("stderr", self.name)
            else:
                tally.fault(f"{self.name} says {line!r}")
        left = [path.name for path in self.socket.parent.glob(self.name + ".*")
                if not path.name.endswith(".lock")]
        if left:
            tally.fault(f"{self.name} leaves {left}")
