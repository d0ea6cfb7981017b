# SPDX-License-Identifier: BSD-2-Clause
"""What a daemon holds, as it says itself and as it is seen from outside, at the beginning, at each ebb and
at the end."""

import documents
from asked import Request
from memory import SHARE_MAX, growth, is_flat, quarters

# Of the bytes in use: the caches of parsed filters, which may still be filling, and what subscribers have
# not taken yet.
ALLOCATED_SLACK = 256 << 10
# Of the resident ones, for each peer: walks and connections come and go between what stays, and leave holes
# of the heap in a page, now in this one and now in that.
PAGE = 4096
NOTICED = 15  # seconds, in which a daemon notices that a peer has gone


class Holdings:
    def __init__(self, world, daemon, connection):
        self.world, self.daemon, self.connection = world, daemon, connection
        self.resident, self.allocated = [], []
        self.before = self.look()

    def ask(self):
        """The statistics, by name."""
        text = documents.KeptText()
        if not self.connection.is_open:
            return {}
        self.connection.ask(Request("statistics", "statistics", ends={"complete": ("",)}, document=lambda: text))
        if not self.world.loop.run_until(lambda: text.is_whole, self.world.PATIENCE):
            self.world.tally.fault(f"{self.daemon.name} does not tell its statistics")
            return {}
        return {name: int(number) for name, number in
                (line.split(": ") for line in text.text.decode().splitlines())}

    def look(self):
        """What is to be the same at the end as at the beginning."""
        told = self.ask()
        return {**{name: told.get(name) for name in ("answers", "uses", "sets", "tags")},
                "descriptors": self.daemon.descriptors()}

    def sample(self):
        """At ebb: there may be subscriptions, and no other answers."""
        told = self.ask()
        if (told.get("uses"), told.get("sets")) != (0, 1):
            self.world.tally.fault(f"{self.daemon.name} holds {told} while nobody waits for an answer")
        self.allocated.append(told.get("allocated", 0))
        self.resident.append(self.daemon.resident())

    def judge_end(self):
        """Peers that are lost are noticed in a moment: waits for it."""
        now = self.look()
        for _ in range(NOTICED * 5):
            if now == self.before:
                break
            self.world.loop.run_until(lambda: False, 0.2)
            now = self.look()
        else:
            self.world.tally.fault(f"{self.daemon.name} held {self.before}, and {now} when all have gone")
        print(f"{self.daemon.name}: at the end: {now}")

    def judge_memory(self, is_measured, peers):
        if is_measured and not any(self.allocated):
            self.world.tally.fault(f"{self.daemon.name} does not tell what it has allocated")
        for what, samples, slack in (("resident", self.resident, peers * PAGE),
                                     ("allocated", self.allocated, ALLOCATED_SLACK)):
            if len(samples) < 4:
                if is_measured:
                    self.world.tally.fault(f"{self.daemon.name}: too short a run to tell whether it grows")
                return
            means = quarters(samples)
            grown = growth(samples)
            print(f"{self.daemon.name}: {what}, KiB, means of quarters: "
                  + ", ".join(f"{mean / 1024:.0f}" for mean in means)
                  + f"; from the second to the last {grown / 1024:+.0f}"
                  + (f", {100 * grown / means[1]:+.2f} %" if means[1] else ""))
            if is_measured and not is_flat(samples, slack):
                self.world.tally.fault(f"{self.daemon.name}: what is {what} grows by more than {SHARE_MAX:.0%} "
                                       f"and {slack >> 10} KiB")
