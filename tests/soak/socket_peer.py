# SPDX-License-Identifier: BSD-2-Clause
"""A peer of a management socket that does at random what peers do, well-behaved ones and others."""

import time

import asked
from asked import Request
from connection import PIECE

THINKING = 0.15  # seconds between two requests, on the average
SLOW_PIECE, SLOW_PAUSE = 2048, 0.05
SLOW_PIECES_MAX = 60
SILENCE_MAX = 12  # seconds


class SocketPeer:
    """Goes through turns, and connects again when its connection has ended."""

    def __init__(self, world, rng, is_slow):
        self.world, self.rng, self.is_slow = world, rng, is_slow
        self.connection, self.next_page = None, None
        self.left = 0  # turns on this connection
        self.plans = ((self.ask, 60), (self.ask_more, 10), (self.ask_and_interrupt, 8),
                      (self.interrupt_at_any_time, 4), (self.say_nothing, 2), (self.close_meanwhile, 5),
                      (self.end_requests, 3))
        if is_slow:
            self.plans = ((self.read_slowly, 10), (self.take_nothing, 1), (self.ask, 3))
        self.think()

    def think(self):
        self.world.loop.after(self.rng.expovariate(1 / THINKING), self.turn)

    def turn(self):
        if self.world.is_over:
            self.close()
            return
        if self.world.tide.holds_back(self.think):
            return
        if self.connection is None:
            self.connect()
            if self.connection is None:
                self.think()
                return
            if self.connection.asked and self.rng.random() < 0.8:
                return
            self.ask()
            return
        if self.left == 0:
            self.close()
            self.think()
            return
        self.left -= 1
        plans, weights = zip(*self.plans)
        self.rng.choices(plans, weights)[0]()

    def connect(self):
        daemon = self.rng.choice(self.world.daemons)
        protocol = 1 if self.rng.random() < 0.15 else 2
        self.connection = self.world.connect(daemon, protocol, self.on_answer, self.on_end)
        self.left = self.rng.randrange(1, 40)
        self.next_page = None
        self.world.tally.count("connections", "made")

    def waits_for(self):
        """The requests that are not answered yet."""
        return [request.line for request in self.connection.asked] if self.connection else []

    def close(self):
        if self.connection:
            self.connection.close()
            self.connection = None

    def on_end(self):
        self.connection = None
        self.think()

    def on_answer(self, request, status):
        cursor = (status or {}).get("cursor")
        if request.page and cursor:
            self.next_page = request.page(cursor)
            self.next_page.names = request.names
        if self.connection.asked:
            return
        self.connection.piece = PIECE
        self.connection.resume()
        if self.connection.may_end:
            self.close()
        if not (self.connection and self.connection.awaits_end):
            self.think()

    # --- plans; each has on_answer or on_end called at its end ---

    def request(self):
        request, self.next_page = self.next_page, None
        if request is None or self.rng.random() < 0.3:
            request = asked.anything(self.rng, self.connection.daemon.name)
        return request

    def ask(self):
        self.connection.ask(self.request())

    def ask_more(self):
        """Several at once, blank lines among them."""
        for _ in range(self.rng.randrange(2, 6)):
            request = self.request()
            self.connection.send(self.rng.choice((b"", b"\n", b"  \r\n")))
            self.connection.ask(request)
            if request.ends_connection:
                break

    def later(self, action):
        """Has ACTION done in a moment, if the connection is the same then and has not had its end."""
        connection = self.connection

        def act():
            if connection is self.connection and connection.is_open and connection.asked:
                action()
        self.world.loop.after(self.rng.expovariate(1 / 0.02), act)

    def ask_and_interrupt(self):
        self.ask_more()
        if self.connection:
            self.later(self.connection.interrupt)

    def interrupt_at_any_time(self):
        """Also in the middle of a line, or where nothing is asked for."""
        connection = self.connection
        connection.interrupt()
        unfinished = Request("show-int", "unfinished", ends={}, interrupted=True)
        if self.rng.random() < 0.5:
            connection.ask(unfinished, end=b"")
            connection.send(b"\x03\x03")
        else:
            self.ask()

    def say_nothing(self):
        self.connection.send(b"\n\n   \n")
        self.think()

    def close_meanwhile(self):
        self.ask_more()

        def close():
            self.world.tally.count("connections", "closed meanwhile")
            self.close()
            self.think()
        if self.connection:
            self.later(close)

    def end_requests(self):
        self.ask_more()
        if self.connection:
            self.connection.end_requests()

    # --- slow ones ---

    def ask_big(self):
        while True:
            request = asked.rendered(self.rng, self.connection.daemon.name)
            if request.is_big:
                break
        self.connection.ask(request)
        self.connection.pause()
        return request

    def read_slowly(self):
        """A piece now and then; then the rest at once, an interrupt, or the end."""
        connection, pieces = self.connection, self.rng.randrange(SLOW_PIECES_MAX)
        request = self.ask_big()
        connection.piece = SLOW_PIECE

        def step():
            nonlocal pieces
            if request not in connection.asked or not connection.is_open:
                return True
            pieces -= 1
            if pieces <= 0 or self.world.tide.is_ebb:
                self.stop_reading_slowly(connection)
                return True
            connection.on_readable(0)
            return False
        self.world.loop.every(SLOW_PAUSE, step)

    def stop_reading_slowly(self, connection):
        connection.piece = PIECE
        choice = self.rng.random() * (0.75 if self.world.tide.is_ebb else 1)
        if choice < 0.3:
            self.world.tally.count("connections", "closed meanwhile")
            self.close()
            self.think()
            return
        if choice < 0.7:
            connection.interrupt()
        connection.resume()

    def take_nothing(self):
        """Perhaps for longer than the daemon's patience: what it closes then is closed rightly."""
        connection, begun = self.connection, time.monotonic()
        seconds = self.rng.uniform(1, SILENCE_MAX)
        self.ask_big()

        def look():
            if time.monotonic() - begun < seconds and not self.world.tide.is_ebb:
                return False
            connection.interrupt()
            connection.resume()
            return True
        self.world.loop.every(SLOW_PAUSE, look)


class Subscriber:
    """Listens to what a daemon announces, for some seconds, and again."""

    def __init__(self, world, rng, daemon):
        self.world, self.rng, self.daemon = world, rng, daemon
        self.connection = None
        self.begin()

    def begin(self):
        if self.world.is_over:
            return
        form = self.rng.choice(("as-ietf-xml", "as-ietf-json"))
        connection = self.connection = self.world.connect(self.daemon, 2, self.on_answer, self.begin)
        if connection is None:
            self.world.loop.after(1, self.begin)
            return
        connection.ask(asked.subscription(form))
        self.world.loop.after(self.rng.uniform(1, 10), lambda: self.stop(connection))

    def stop(self, connection):
        if connection is not self.connection or not connection.is_open:
            return
        if self.rng.random() < 0.5 and not self.world.is_over:
            connection.interrupt()
        else:
            connection.close()
            self.begin()

    def on_answer(self, request, _status):
        if request.form == "events":
            self.connection.close()
            self.begin()

    def close(self):
        if self.connection:
            self.connection.close()
