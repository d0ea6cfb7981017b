# SPDX-License-Identifier: BSD-2-Clause
"""What bash completes by a program's file."""

import pathlib
import subprocess


def completed(file, *words, **more):
    """What is offered for the last of the words that have been typed, the first being the program."""
    script = (f"source {file}; compopt() {{ :; }}; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); "
              f"_{pathlib.Path(file).stem.replace('-', '_')}; printf '%s\\n' \"${{COMPREPLY[@]}}\"")
    done = subprocess.run(["bash", "--norc", "-euc", script, "bash", *words], capture_output=True,
                          text=True, timeout=60, check=True, **more)
    assert done.stderr == "", done.stderr
    return done.stdout.splitlines() if done.stdout != "\n" else []
