# SPDX-License-Identifier: BSD-2-Clause
"""Has a daemon load its definitions again and again, each time other ones, now and then broken ones."""

import asked
from asked import Request

PERIOD = 0.1  # seconds
BROKEN = b'[{"dc_name": "x",\n'
BROKEN_EVERY = 37


class Reloader:
    """Every second set has another name for one leaf of its file that varies. A broken file leaves
    the set in force that was."""

    def __init__(self, world, daemon):
        self.world, self.daemon = world, daemon
        original = daemon.varied.read_bytes()
        first, second = (b'"dts_name": "%s"' % name for name in asked.NAMES[daemon.name])
        assert original.count(first) == 1
        self.sets = original, original.replace(first, second)
        self.number = 0
        self.connection = world.connect(daemon, 2, self.on_answer, lambda: None)

    def start(self):
        self.world.loop.every(PERIOD, self.reload)

    def write(self, data):
        """By renaming, as packages do: no reader sees a half."""
        new = self.daemon.folder / "new"
        new.write_bytes(data)
        new.rename(self.daemon.varied)

    def reload(self):
        if self.world.is_over or not self.connection.is_open:
            return True
        if self.world.tide.is_ebb:
            return False
        if self.connection.asked:
            self.world.tally.count("reloads", "later than they should")
            return False
        self.number += 1
        is_broken = self.number % BROKEN_EVERY == 0
        self.write(BROKEN if is_broken else self.sets[self.number % 2])
        ends = {"given-up": ("reload-failed",)} if is_broken else {"complete": ("",)}
        self.connection.ask(Request("reload", "reload", ends=ends))
        return False

    def waits_for(self):
        return [request.line for request in self.connection.asked] if self.connection.is_open else []

    def finish(self):
        """Loads the definitions that the daemon began with."""
        self.write(self.sets[0])
        self.connection.ask(Request("reload", "reload", ends={"complete": ("",)}))

    def on_answer(self, request, _status):
        if request.form == "reload":
            self.world.tally.count("reloads", "broken" if "given-up" in request.ends else "done",
                                   self.daemon.name)
