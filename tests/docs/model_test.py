#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Each function and file that the model of the handshake names exists."""

import re

from project import ROOT, code_files, finish, line_of, without_comments

MODEL = ROOT / "tests/model/handshake.pml"
NAMED = re.compile(r"\[([a-z_]+)\]")
DEFINED = r"^[\w:&* ]*\b%s\([^;{]*\)\s*\{"
FILE = re.compile(r"\b(?:packaging|docs|tests)/[\w./]+\w")


def main():
    faults = []
    model = MODEL.read_text()
    folders = ("daemon", "ble", "client")
    code = "\n".join(without_comments(path.read_text()) for path in code_files(folders))
    comments = list(re.finditer(r"/\*.*?\*/", model, re.DOTALL))
    names = [
        (named.group(1), comment.start())
        for comment in comments
        for named in NAMED.finditer(comment.group())
        if named.group(1) != "function"
    ]
    if len({n for n, _ in names}) < 15:
        faults.append("the model names hardly any function")
    for function, offset in names:
        if not re.search(DEFINED % function, code, re.MULTILINE):
            faults.append(f"{MODEL.name}:{line_of(model, offset)}: there is no {function}")
    for path in FILE.findall("".join(comment.group() for comment in comments)):
        if not (ROOT / path).exists():
            faults.append(f"{MODEL.name}: there is no {path}")
    finish(faults)


main()
