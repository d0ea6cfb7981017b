#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Puts small faults into the library, one at a time, and says which of them no unit test notices:
mutate.py [--count N] [--seed N] [--at-most PERCENT] ROOT

The sources are copied to build/faults and built there with all faults in them (faults.py); then the test
programs run once for each fault, until one of them fails. What survives that is tried again under
AddressSanitizer and UndefinedBehaviorSanitizer, where lost memory is noticed, too. Fails itself when more
of the faults survive both than PERCENT, without those that judged.txt says are none.
"""

import argparse
import collections
import concurrent.futures
import hashlib
import itertools
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from faults import Fault, faults_in, put_in  # noqa: E402
from project_files import project_files  # noqa: E402

FOLDERS = ("frame/", "model/", "expr/", "definitions/", "render/", "service/", "platform/src/")
# Which fault is on is read from the environment when the first one is come to. No header may be
# included here: sources define what they want of the C library before they include any.
PRELUDE = """\
#ifdef __cplusplus
extern "C" char* getenv(const char* name) noexcept;
extern "C"
#else
extern char* getenv(const char* name);
#endif
__attribute__((weak, visibility("hidden"))) int dr_chosen_fault(void) {
    static int chosen = -1;
    if (chosen < 0) {
        const char* digits = getenv("DREND_FAULT");
        for (chosen = 0; digits && *digits; ++digits) {
            chosen = 10 * chosen + (*digits - '0');
        }
    }
    return chosen;
}
#define DREND_FAULT(number) (dr_chosen_fault() == (number))
"""


PLAIN, SANITIZED = "debug", "asan"  # the presets of the two builds
MEMORY_MIB = 4096
SUPPRESSIONS = pathlib.Path(__file__).resolve().with_name("lsan.supp")


def copy(root, source):
    """Brings the copy up to date; what has not changed is not touched, and so not built again. Returns
    the texts of the sources that faults are put into."""
    texts = {}
    for file in project_files(root):
        path = file.relative_to(root)
        to = source / path
        to.parent.mkdir(parents=True, exist_ok=True)
        if not to.exists() or to.read_bytes() != file.read_bytes():
            shutil.copy(file, to)
        if str(path).startswith(FOLDERS) and path.suffix in (".c", ".cpp", ".h"):
            texts[str(path)] = to.read_text()
    return texts


def drawn(*what):
    return int.from_bytes(hashlib.sha256("\0".join(map(str, what)).encode()).digest()[:8], "big")


def choose(texts, count, seed):
    """So many faults, and some more for those that do not compile; one in a line. They are drawn by what
    the lines say, not by where they are: a change of the sources leaves the other faults what they were."""
    places = {}
    for path, text in texts.items():
        before = collections.Counter()
        for line, of_line in itertools.groupby(faults_in(text), key=lambda fault: fault[0]):
            faults = [fault[1:] for fault in of_line]
            said = faults[0][1]
            before[said] += 1
            places[drawn(seed, path, said, before[said])] = (path, line, faults)
    chosen = [places[rank] for rank in sorted(places)[:count * 6 // 5]]
    return [Fault(number, path, line, *faults[drawn(seed, path, faults) % len(faults)])
            for number, (path, line, faults) in enumerate(chosen, 1)]


def write_faults(texts, source, faults):
    for path in texts:
        text = put_in(texts[path], [one for one in faults if one.path == path])
        if (source / path).read_text() != text:
            (source / path).write_text(text)


def build(texts, work, preset, faults):
    """Builds the copy with the faults, without those that do not compile. Returns where, and the others."""
    source = work / "source"
    build_directory = work / preset
    prelude = work / "prelude.h"
    if not prelude.exists():
        prelude.write_text(PRELUDE)
    flags = f"-O1 -w -include {prelude}"
    subprocess.run(["cmake", "--preset", preset, "-B", build_directory, "--log-level=WARNING",
                    "-DCMAKE_BUILD_TYPE=None", f"-DCMAKE_C_FLAGS={flags}",
                    f"-DCMAKE_CXX_FLAGS={flags}",
                    "-DDREND_BUILD_TOOLS=OFF", "-DDREND_BUILD_EXAMPLES=OFF"],
                   cwd=source, stdout=subprocess.DEVNULL, check=True)
    while True:
        write_faults(texts, source, faults)
        made = subprocess.run(["cmake", "--build", build_directory, "--", "-k", "0"],
                              capture_output=True, text=True, check=False)
        if made.returncode == 0:
            return build_directory, faults
        said = {(os.path.relpath(build_directory / path, source), int(line))
                for path, line in re.findall(r"^([^:\s]+):(\d+):", made.stdout, re.M)}
        left = [fault for fault in faults if (fault.path, fault.line) not in said]
        if len(left) == len(faults):
            sys.exit(f"mutate: the copy does not build:\n{made.stdout[-4000:]}")
        faults = left


def test_programs(build_directory):
    """The commands of the tests that are programs built here."""
    shown = subprocess.run(["ctest", "--test-dir", build_directory, "--show-only=json-v1"], check=True,
                           capture_output=True, text=True).stdout
    commands = [test["command"] for test in json.loads(shown)["tests"]]
    return [command for command in commands if command[0].startswith(str(build_directory / "bin"))]


def run(command, number, seconds):
    """Whether a test passes with a fault, within so many seconds of processor time and 4 GiB."""
    limits = ["prlimit", f"--cpu={seconds}", "--core=0"]
    if f"/{PLAIN}/bin/" in command[0]:  # a sanitizer maps terabytes, and has a limit of its own
        limits.append(f"--as={MEMORY_MIB << 20}")
    environment = dict(os.environ, DREND_FAULT=str(number), DREND_RANDOM_CASES="500",
                       MGMT_SERVER_TEST_PEERS="30", ASAN_OPTIONS=f"hard_rss_limit_mb={MEMORY_MIB}",
                       LSAN_OPTIONS=f"suppressions={SUPPRESSIONS}:print_suppressions=0")
    with tempfile.TemporaryDirectory() as scratch:
        os.chmod(scratch, 0o755)  # a test's other users go through it
        environment["TMPDIR"] = scratch
        try:
            return subprocess.run([*limits, "--", *command], env=environment, cwd=scratch,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL, timeout=30 + 10 * seconds,
                                  start_new_session=True, check=False).returncode == 0
        except subprocess.TimeoutExpired:
            return False


def in_order(programs):
    """The programs, the quickest first, each with the seconds that it may take; all pass."""
    took = []
    for command in programs:
        begin = time.monotonic()
        if not run(command, 0, 600):
            sys.exit(f"mutate: {' '.join(command)} fails without a fault")
        took.append((time.monotonic() - begin, command))
    return [(command, 5 + 5 * int(seconds)) for seconds, command in sorted(took)]


def survivors(build_directory, faults, pool):
    programs = in_order(test_programs(build_directory))
    alive = pool.map(lambda fault: all(run(command, fault.number, seconds)
                                       for command, seconds in programs), faults)
    return [fault for fault, is_alive in zip(faults, alive) if is_alive]


def shown(fault):
    return f"{fault.path}:{fault.line}: {fault.kind}\n-{fault.before}\n+{fault.after}"


def is_judged(fault, source):
    """Whether it is known to be none: in a line that stands in its file once, wherever that is now, or
    behind the line that the entry shows above it."""
    judged = pathlib.Path(__file__).with_name("judged.txt").read_text().split("\n\n")
    lines = source.splitlines()
    head = f"{fault.path}: {fault.kind}\n"
    change = f"-{fault.before}\n+{fault.after}\n"
    known = [f"{head} {lines[fault.line - 2]}\n{change}"]
    known += [head + change] if lines.count(fault.before) == 1 else []
    return any(entry.startswith(tuple(known)) for entry in judged)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--at-most", type=float, default=10, metavar="PERCENT")
    parser.add_argument("root", type=pathlib.Path)
    options = parser.parse_args()
    root = options.root.resolve()
    work = root / "build" / "faults"
    texts = copy(root, work / "source")
    faults = choose(texts, options.count, options.seed)
    count = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for preset in (PLAIN, SANITIZED):
            built, faults = build(texts, work, preset, faults)
            faults = faults[:options.count]
            count = count or len(faults)
            faults = survivors(built, faults, pool)
            print(f"{len(faults)} of {count} faults survive the {built.name} build:")
            print("\n".join(map(shown, faults)), flush=True)
    survived = len(faults)
    faults = [fault for fault in faults if not is_judged(fault, texts[fault.path])]
    share = 100 * len(faults) / max(count, 1)
    print(f"{survived} of {count} faults survive, {survived - len(faults)} of which are none. What tests "
          f"lack, {share:.1f} % (seed {options.seed}):")
    print("\n".join(map(shown, faults)))
    return 0 if count and share <= options.at_most else 1


if __name__ == "__main__":
    sys.exit(main())
