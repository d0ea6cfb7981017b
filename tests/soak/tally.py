# SPDX-License-Identifier: BSD-2-Clause
"""What a run has counted, and the faults that it has found."""

import collections
import sys
import time

FAULTS_SHOWN = 20


class Tally:
    def __init__(self):
        self.began = time.monotonic()
        self.counts = collections.Counter()
        self.faults = 0

    def count(self, *words, by=1):
        self.counts[" ".join(words)] += by

    def fault(self, what):
        """A fault does not end the run, but decides how it ends."""
        self.faults += 1
        if self.faults <= FAULTS_SHOWN:
            print(f"soak: FAULT after {time.monotonic() - self.began:.1f} s: {what}", file=sys.stderr,
                  flush=True)

    def total(self, word):
        return sum(n for name, n in self.counts.items() if name.startswith(word + " "))

    def report(self):
        kinds = sorted({name.split(" ")[0] for name in self.counts})
        for kind in kinds:
            of_kind = {name.partition(" ")[2]: n for name, n in sorted(self.counts.items())
                       if name.split(" ")[0] == kind}
            print(f"{kind:14}" + ", ".join(f"{name} {n}" for name, n in of_kind.items()))
