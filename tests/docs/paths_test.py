#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""FILES of vorlind.8 lists every file that the daemon opens by name, and no other."""

import re

from project import DAEMON, ROOT, TOKEN, code_files, finish, line_of, name, without_comments

PAGE = ROOT / "docs" / "vorlind.8"
FILE = re.compile(r"/(?:dev|proc|sys|lib|etc|var|run|tmp)/[\w./]+|\b\w+\.bin\b")


def named():
    """Each path in the sources, with its first place."""
    found = {}
    for path in code_files(DAEMON):
        text = without_comments(path.read_text())
        for match in TOKEN.finditer(text):
            for file in FILE.findall(match.group()):
                found.setdefault(file, f"{name(path)}:{line_of(text, match.start())}")
    return found


def main():
    section = PAGE.read_text().split(".Sh FILES\n")[1].split("\n.Sh ")[0]
    entries = {
        word
        for line in section.splitlines()
        if line.startswith(".It Pa")
        for word in line.split()[2:]
        if word != ","
    }
    used = named()
    faults = [
        f"{where}: not in FILES of {name(PAGE)}: {file}"
        for file, where in used.items()
        if file not in entries
    ]
    faults += [f"{name(PAGE)}: the daemon never opens {file}" for file in entries - set(used)]
    if len(used) < 5:
        faults.append("the sources name hardly any files")
    finish(faults)


main()
