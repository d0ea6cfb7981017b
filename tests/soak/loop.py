# SPDX-License-Identifier: BSD-2-Clause
"""The event loop of the driver: file descriptors and timers, in one thread."""

import heapq
import itertools
import selectors
import time

READ, WRITE = selectors.EVENT_READ, selectors.EVENT_WRITE


class Loop:
    def __init__(self):
        self.selector = selectors.DefaultSelector()
        self.timers = []
        self.order = itertools.count()

    def watch(self, fd, events, callback):
        """Has callback(events) called whenever FD is ready; no EVENTS: not any more."""
        is_known = fd in self.selector.get_map()
        if not events:
            if is_known:
                self.selector.unregister(fd)
        elif is_known:
            self.selector.modify(fd, events, callback)
        else:
            self.selector.register(fd, events, callback)

    def after(self, seconds, callback):
        heapq.heappush(self.timers, (time.monotonic() + seconds, next(self.order), callback))

    def every(self, seconds, callback):
        """Until CALLBACK returns a true value."""
        def again():
            if not callback():
                self.after(seconds, again)
        again()

    def run_until(self, is_over, patience):
        """Whether IS_OVER() came true within PATIENCE seconds; it is looked at often."""
        end = time.monotonic() + patience
        while not is_over():
            now = time.monotonic()
            if now >= end:
                return False
            self.turn(min(end - now, 0.05))
        return True

    def turn(self, seconds):
        if self.timers:
            seconds = min(seconds, max(0, self.timers[0][0] - time.monotonic()))
        for key, events in self.selector.select(seconds):
            # What another callback of this round has closed is not ready any more.
            if self.selector.get_map().get(key.fd) is key:
                key.data(events)
        while self.timers and self.timers[0][0] <= time.monotonic():
            heapq.heappop(self.timers)[2]()
