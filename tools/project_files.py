# SPDX-License-Identifier: BSD-2-Clause
"""The files of the project, for the checks beside this one."""

import os
import pathlib
import subprocess


def project_files(root):
    """The files under version control below `root`, or all files where there is none, sorted."""
    if (root / ".git").exists():
        command = ["git", "-c", "safe.directory=*", "-C", str(root), "ls-files", "-z"]
        names = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        files = [root / name for name in names.split("\0") if name]
    else:
        files = [pathlib.Path(folder, name) for folder, _, names in os.walk(root) for name in names]
    return sorted(file for file in files if file.is_file())
