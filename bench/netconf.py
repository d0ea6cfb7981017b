#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""What NETCONF costs behind a daemon's socket: netconf.py BUILD_DIR [--routes N] [--rounds N] [--json FILE]

The example daemon shows its synthetic routes under "corvane-netconf-get". The same answer is fetched by
drendctl from the socket and through orvex-netconf, without ssh, in turns; this process reads both. The
ratio is the median of those within a round.
"""

import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time
from dataclasses import asdict, dataclass

BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"
FILTER = "<synthetic-routes/>"
MESSAGES = "".join(message + "]]>]]>" for message in (
    f'<hello xmlns="{BASE}"><capabilities><capability>urn:ietf:params:netconf:base:1.0</capability>'
    "</capabilities></hello>",
    f'<rpc xmlns="{BASE}" message-id="1"><get><filter>{FILTER}</filter></get></rpc>',
    f'<rpc xmlns="{BASE}" message-id="2"><close-session/></rpc>')).encode()
BEGIN = b"<synthetic-routes"
END = (f'</data></rpc-reply>]]>]]><rpc-reply xmlns="{BASE}" message-id="2"><ok/></rpc-reply>]]>]]>').encode()
READS_BETWEEN_LOOKS = 64  # at the memory of the process
TARGETS = {"throughput": 0.8, "first byte": 0.05, "server": 16 << 10, "daemon": 4 << 10}  # s, KiB


@dataclass
class Fetched:
    seconds: float
    size: int     # of the data
    first: float  # seconds until the first byte of data
    peak: int     # KiB


def peak_of(process):
    """As far as it is known: nothing of a process that has ended."""
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text("utf-8")
    return int((status.partition("VmHWM:")[2] or "0").split()[0])


def fetch(command, said, end):
    """What `command` writes when it is told `said`; data are what comes from BEGIN up to `end`."""
    start = time.perf_counter()
    with subprocess.Popen([str(word) for word in command], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE) as process:
        process.stdin.write(said)
        process.stdin.close()
        size, first, head, tail, reads, peak = 0, 0, b"", b"", 0, 0
        while data := os.read(process.stdout.fileno(), 1 << 16):
            head += data if not first else b""
            if not first and head.partition(BEGIN)[2]:
                first = time.perf_counter() - start
                size -= head.index(BEGIN)
            size += len(data)
            tail = (tail + data)[-len(end):] if end else b""
            reads += 1
            peak = max(peak, peak_of(process)) if reads % READS_BETWEEN_LOOKS == 1 else peak
        seconds = time.perf_counter() - start
    if process.returncode != 0 or not first or tail != end:
        sys.exit(f"{command[0]} fails")
    return Fetched(seconds, size - len(end), first, peak)


def fetch_both(client, server):
    direct, through = fetch(client, b"", b""), fetch(server, MESSAGES, END)
    if direct.size != through.size:
        sys.exit(f"of {direct.size} bytes of data {through.size} come by NETCONF")
    return direct, through


def write_definitions(folder, build):
    """The daemon's own, and its routes once more under another name."""
    place = folder / "usr/lib/render"
    place.mkdir(parents=True)
    for file in (build / "usr/lib/render").glob("*.json"):
        (place / file.name).symlink_to(file.resolve())
    (place / "netconf.json").write_text(json.dumps([{
        "dc_name": "corvane-netconf-get", "dc_app_name": "netstatd",
        "dc_tag_of": "show-synthetic-routes"}]), "utf-8")


def measure(build, folder, options):
    write_definitions(folder, build)
    bin_dir, socket = build / "bin", folder / "socket"
    client = [bin_dir / "drendctl", "--socket", socket, "corvane-netconf-get", "as-ietf-xml", "ascii",
              "compact", f"filter='{FILTER}'"]
    server = [bin_dir / "orvex-netconf", "--run-dir", folder]
    with subprocess.Popen([bin_dir / "netstatd", "--prefix", folder, "--socket", socket, "--run-dir", folder,
                           "--routes", str(options.routes)], stdout=subprocess.PIPE) as daemon:
        try:
            daemon.stdout.readline()
            fetch(client, b"", b"")
            before = peak_of(daemon)
            rounds = [fetch_both(client, server) for _ in range(options.rounds)]
            return rounds, peak_of(daemon) - before
        finally:
            daemon.terminate()


def report(rounds, growth):
    ratios = [(through.size / through.seconds) / (direct.size / direct.seconds)
              for direct, through in rounds]
    found = {"throughput": statistics.median(ratios),
             "first byte": statistics.median(through.first for _, through in rounds),
             "server": max(through.peak for _, through in rounds), "daemon": growth}
    direct, through = rounds[0]
    print(f"{'':14}{'MB':>8}{'MB/s':>8}{'first ms':>10}{'peak KiB':>10}")
    for name, one, column in (("drendctl", direct, 0), ("orvex-netconf", through, 1)):
        speed = statistics.median(r[column].size / r[column].seconds for r in rounds)
        first = statistics.median(r[column].first for r in rounds)
        print(f"{name:14}{one.size / 1e6:8.1f}{speed / 1e6:8.0f}{first * 1e3:10.1f}{one.peak:10}")
    for name, value in found.items():
        at_least = name == "throughput"
        is_reached = value >= TARGETS[name] if at_least else value <= TARGETS[name]
        print(f"{'reached' if is_reached else 'not reached':13}{name}: {value:.4g}, "
              f"{'at least' if at_least else 'at most'} {TARGETS[name]}")
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--routes", type=int, default=1_000_000)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--json", type=pathlib.Path, metavar="FILE")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        rounds, growth = measure(options.build.resolve(), pathlib.Path(folder), options)
    found = report(rounds, growth)
    if options.json:
        options.json.write_text(json.dumps({
            "found": found, "rounds": [[asdict(one) for one in each] for each in rounds]}), "utf-8")


if __name__ == "__main__":
    main()
