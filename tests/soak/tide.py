# SPDX-License-Identifier: BSD-2-Clause
"""Ebb and flood: from time to time nobody asks for more, and who reads slowly reads on, until no answer is
under way. That is when a daemon's memory says something: what waits for slow readers is theirs, is bounded,
and is more or less from one moment to the next.
"""


class Tide:
    def __init__(self, loop):
        self.loop = loop
        self.is_ebb = False
        self.waiting = []

    def holds_back(self, action):
        """Whether it is ebb: then ACTION is called at the next flood."""
        if self.is_ebb:
            self.waiting.append(action)
        return self.is_ebb

    def flood(self):
        self.is_ebb = False
        waiting, self.waiting = self.waiting, []
        for action in waiting:
            action()
