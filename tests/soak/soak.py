#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Lets two daemons have what may come to them, for some minutes: soak.py BIN_DIR [--minutes N] [--seed N]
[--without-interfaces] [--without-memory]

Peers of the management sockets and NETCONF sessions ask at random, close, interrupt, read slowly or not at
all, while the definitions change under them and, in this process's network namespace, the interfaces.
Every answer has to be whole or to say that it is not; the daemons have to keep their size and, when all
have gone, to have given everything back and to end. The exit status is 1 when something was wrong.
"""

import argparse
import pathlib
import random
import signal
import sys
import tempfile
import time

from connection import Connection
from daemon import ROOT, Daemon
from holdings import Holdings
from interfaces import Interfaces
from loop import Loop
from netconf_session import NetconfSession
from reloading import Reloader
from socket_peer import SocketPeer, Subscriber
from tally import Tally
from tide import Tide
import asked

PEERS, SLOW_PEERS, SUBSCRIBERS, SESSIONS = 200, 30, 3, 20
LEASES = 350000
STALL_SECONDS, LONG_STALL_SECONDS = 5, 60  # the second one is the default
FLOOD = 5      # seconds between two looks at the memory


class World:
    """What the actors of a run share."""

    PATIENCE = 180  # seconds; only a fault lasts so long

    def __init__(self, options, folder):
        self.folder, self.options = folder, options
        self.loop, self.tally, self.is_over = Loop(), Tally(), False
        self.tide = Tide(self.loop)
        self.netconf = options.bin_dir / "orvex-netconf"
        examples = ROOT / "examples"
        self.daemons = [
            Daemon("netstatd", options.bin_dir / "netstatd", folder, examples / "netstatd/render",
                   "show-synthetic-routes.json",
                   ["--routes", str(asked.ROUTES), "--stall-seconds", str(STALL_SECONDS)], STALL_SECONDS),
            Daemon("leasesd", options.bin_dir / "leasesd", folder, examples / "leasesd/usr/lib/render",
                   "leasesd-show.json",
                   ["--leases", str(LEASES), "--lease-time", "10000", "--every", "200"], LONG_STALL_SECONDS)]

    def rng(self, *name):
        """Each actor has a sequence of its own, so that it does not depend on the others' pace."""
        return random.Random(f"{self.options.seed} {name}")

    def connect(self, daemon, protocol, on_answer, on_end):
        """None when there is nobody."""
        try:
            return Connection(self.loop, self.tally, daemon, protocol, on_answer, on_end)
        except OSError as error:
            self.tally.fault(f"{daemon.name}: {error}")
            return None

    def is_whole(self):
        return all(daemon.is_alive() for daemon in self.daemons)


def let_all_go(world, peers, subscribers, sessions):
    world.is_over = True
    for actor in peers + subscribers:
        actor.close()
    if not world.loop.run_until(lambda: all(s.process is None for s in sessions), world.PATIENCE):
        world.tally.fault("NETCONF sessions do not end")


def ebb(world, actors, holdings):
    """Looks at what the daemons hold when nobody waits for an answer. Whether they live."""
    world.tide.is_ebb = True
    is_quiet = world.loop.run_until(lambda: not world.is_whole() or not any(actor.waits_for() for actor in actors),
                                    world.PATIENCE)
    if not world.is_whole():
        for daemon in world.daemons:
            print(f"{daemon.name}: {'alive' if daemon.is_alive() else f'died, {daemon.process.returncode}'}")
        world.tally.fault("a daemon has died")
        return False
    if not is_quiet:
        left = [list(actor.waits_for()) for actor in actors if actor.waits_for()]
        world.tally.fault(f"{len(left)} have waited for their answers too long: {left[:3]}")
    for holding in holdings:
        holding.sample()
    world.tide.flood()
    return True


def finish(world, reloaders, holdings):
    for reloader, holding in zip(reloaders, holdings):
        reloader.finish()
        holding.judge_end()
        holding.judge_memory(not world.options.without_memory, PEERS)
        reloader.connection.close()


def run(world):
    loop, options = world.loop, world.options
    reloaders = [Reloader(world, daemon) for daemon in world.daemons]
    holdings = [Holdings(world, reloader.daemon, reloader.connection) for reloader in reloaders]
    for reloader in reloaders:
        reloader.start()
    interfaces = None if options.without_interfaces else Interfaces(world, world.rng("interfaces"))
    peers = [SocketPeer(world, world.rng("peer", n), n < SLOW_PEERS) for n in range(PEERS - SUBSCRIBERS)]
    subscribers = [Subscriber(world, world.rng("subscriber", n), world.daemons[1])
                   for n in range(SUBSCRIBERS)]
    sessions = [NetconfSession(world, world.rng("session", n)) for n in range(SESSIONS)]
    end = time.monotonic() + 60 * options.minutes
    while time.monotonic() < end:
        loop.run_until(lambda: False, FLOOD)
        if not ebb(world, reloaders + peers + sessions, holdings):
            return  # what the others hold then says nothing
    let_all_go(world, peers, subscribers, sessions)
    if interfaces:
        interfaces.end()
    finish(world, reloaders, holdings)
    for daemon in world.daemons:
        daemon.end(world.tally)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("bin_dir", type=pathlib.Path)
    parser.add_argument("--minutes", type=float, default=2)
    parser.add_argument("--seed", type=int, default=time.time_ns() % 1000000)
    parser.add_argument("--without-interfaces", action="store_true")
    parser.add_argument("--without-memory", action="store_true")
    options = parser.parse_args()
    options.bin_dir = options.bin_dir.resolve()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    print(f"soak: seed {options.seed}, {options.minutes:g} minutes", flush=True)
    with tempfile.TemporaryDirectory() as folder:
        world = World(options, pathlib.Path(folder))
        run(world)
    world.tally.report()
    print(f"soak: {world.tally.faults} faults" if world.tally.faults else "soak: passed")
    return 1 if world.tally.faults else 0


if __name__ == "__main__":
    sys.exit(main())
