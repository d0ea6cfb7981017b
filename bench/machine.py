# SPDX-License-Identifier: BSD-2-Clause
"""What a measure was made with: machine, compiler, commit."""

import os
import pathlib
import platform
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent


def describe(build):
    return {
        "processor": processor(),
        "memory": memory(),
        "system": f"{system()}, Linux {platform.release()}, {libc()}",
        "compiler": compiler(build),
        "commit": commit(),
    }


def processor():
    info = pathlib.Path("/proc/cpuinfo").read_text("utf-8")
    model = re.search(r"^model name\s*: (.*)", info, re.MULTILINE)
    return f"{model[1] if model else platform.machine()}, {os.cpu_count()} visible"


def memory():
    info = pathlib.Path("/proc/meminfo").read_text("utf-8")
    return f"{int(re.search(r'MemTotal: +([0-9]+)', info)[1]) / (1 << 20):.1f} GiB"


def system():
    release = platform.freedesktop_os_release()
    return release.get("PRETTY_NAME", "unknown system")


def libc():
    return " ".join(platform.libc_ver())


def compiler(build):
    cache = (build / "CMakeCache.txt").read_text("utf-8")

    def setting(name):
        found = re.search(rf"^{name}:\w+=(.*)", cache, re.MULTILINE)
        return found[1] if found else ""

    version = first_line(setting("CMAKE_CXX_COMPILER") or "c++", "--version")
    kind = setting("CMAKE_BUILD_TYPE")
    flags = setting(f"CMAKE_CXX_FLAGS_{kind.upper()}")
    return f"{version}, {kind} ({flags})"


def commit():
    git = ("git", "-c", "safe.directory=*", "-C", str(ROOT))
    changed = first_line(*git, "status", "--porcelain", "--untracked-files=no")
    return first_line(*git, "rev-parse", "--short=12", "HEAD") + (", changed" if changed else "")


def first_line(*command):
    try:
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              check=False, text=True)
    except OSError:
        return "unknown"
    return done.stdout.split("\n")[0]
