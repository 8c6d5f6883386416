#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The release has one version in every place, and a tag names this version.

What `show version` prints is the configuration utility's version, and stays out of this.
"""

import re
import subprocess

from project import ROOT, finish

PLACES = {
    "packaging/openwrt/vorlind/Makefile": r"^PKG_VERSION:=(\d+\.\d+\.\d+)$",
    "daemon/main.cpp": r'version\[\] = "(\d+\.\d+\.\d+)"',
    "client/main.cpp": r'version\[\] = "(\d+\.\d+\.\d+)"',
    "CHANGELOG.md": r"^## (\d+\.\d+\.\d+)$",  # the newest is first
}


def tags_here():
    """The release tags of the checked out commit; none without git."""
    done = subprocess.run(["git", "-C", ROOT, "tag", "--points-at", "HEAD", "v*"],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    return done.stdout.decode().split()


def main():
    cmake = (ROOT / "CMakeLists.txt").read_text()
    version = re.search(r"^project\(vorlind VERSION (\d+\.\d+\.\d+) ", cmake, re.M).group(1)
    faults = []
    for file, pattern in PLACES.items():
        found = re.search(pattern, (ROOT / file).read_text(), re.M)
        if not found or found.group(1) != version:
            faults.append(f"{file}: {found.group(1) if found else 'no version'}, "
                          f"but the project is {version}")
    faults += [f"the tag {tag} is not v{version}" for tag in tags_here() if tag != f"v{version}"]
    finish(faults)


main()
