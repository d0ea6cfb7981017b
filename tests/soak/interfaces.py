# SPDX-License-Identifier: BSD-2-Clause
"""Interfaces that come, change and go in the network namespace that this process is in."""

import subprocess

PAIRS = 6
PERIOD = 0.05  # seconds


class Interfaces:
    """Has "ip" make pairs of interfaces with addresses, routes and neighbours, and remove them."""

    def __init__(self, world, rng):
        self.world, self.rng = world, rng
        self.exists = [False] * PAIRS
        # pylint: disable-next=consider-using-with
        self.ip = subprocess.Popen(["ip", "-force", "-batch", "-"], stdin=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL, bufsize=0)
        self.say("link set lo up")
        world.loop.every(PERIOD, self.change)

    def say(self, *lines):
        self.ip.stdin.write(("\n".join(lines) + "\n").encode())

    def change(self):
        if self.world.is_over:
            return True
        number = self.rng.randrange(PAIRS)
        name, peer = f"soak{number}", f"kaos{number}"
        if not self.exists[number]:
            self.say(f"link add {name} type veth peer name {peer}", f"link set {name} up",
                     f"link set {peer} up", f"addr add 10.{200 + number}.0.1/24 dev {name}",
                     f"-6 addr add 2001:db8:{number}::1/64 dev {name} nodad",
                     f"route add 10.{210 + number}.0.0/16 via 10.{200 + number}.0.7",
                     f"neigh add 10.{200 + number}.0.9 lladdr 02:02:02:02:02:0{number} dev {name}")
        elif self.rng.random() < 0.5:
            self.say(f"link del {name}")
        else:
            self.say(f"link set {name} mtu {self.rng.randrange(1280, 9000)} alias 'a & {self.rng.random()}'")
            self.world.tally.count("interfaces", "changed")
            return False
        self.exists[number] = not self.exists[number]
        self.world.tally.count("interfaces", "made" if self.exists[number] else "removed")
        return False

    def end(self):
        self.ip.stdin.close()
        self.ip.wait()
        if not self.world.tally.counts["seen soak"]:
            self.world.tally.fault("no answer has shown an interface that came")
