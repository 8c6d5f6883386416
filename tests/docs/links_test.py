#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Every file of the project that a document links to or names exists."""

import re

from project import ROOT, files, finish, line_of, name

LINK = re.compile(r"\[[^\]\n]*\]\(([^)\s]+)\)|^\[[^\]\n]+\]:\s*(\S+)", re.MULTILINE)
BACKTICKS = re.compile(r"`([^`\n]+)`")
FENCE = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)
PATH = re.compile(r"(?:\./)?[\w.*-]+(?:/[\w.*-]*)*")
SUFFIXES = (".cpp", ".h", ".md", ".py", ".sh", ".json", ".cmake", ".txt", ".1", ".8")
MADE = ("build", "build-")  # generated folders, which may be missing

# Files of the user or of the device, not of the project.
FOREIGN = {"air.json", "compile_commands.json", "vorlind/segment.h"}


def exists(path, document):
    path = re.sub("NAME", "*", path)  # NAME is a placeholder
    bases = (ROOT, document.parent)
    if any(list(base.glob(path.removeprefix("./").rstrip("/"))) for base in bases):
        return True
    if "/" not in path:
        return any(True for _ in files(path))
    # A document may name a unit without suffix.
    return any(list(base.glob(path + ".*")) for base in bases)


def is_project_path(text):
    if not PATH.fullmatch(text) or text in FOREIGN or text in SUFFIXES:
        return False
    if text.startswith(MADE) or ".." in text:
        return False
    folder = text.removeprefix("./").split("/")[0]
    if "/" in text.removeprefix("./"):
        return (ROOT / folder).is_dir() or text.endswith(SUFFIXES)
    return text.startswith("./") or text.endswith(SUFFIXES)


def link_faults(document, text):
    for match in LINK.finditer(text):
        target = (match.group(1) or match.group(2)).split("#")[0]
        if not target or re.match(r"[a-z]+:", target):
            continue
        if not (document.parent / target).exists():
            yield f"{name(document)}:{line_of(text, match.start())}: no such file: {target}"


def name_faults(document, text):
    for match in BACKTICKS.finditer(text):
        for word in match.group(1).split():
            if is_project_path(word) and not exists(word, document):
                yield f"{name(document)}:{line_of(text, match.start())}: no such file: {word}"


def main():
    faults, count = [], 0
    for document in files("*.md"):
        text = FENCE.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), document.read_text())
        faults += link_faults(document, text)
        faults += name_faults(document, text)
        count += 1
    if count < 3:
        faults.append("there are hardly any documents to check")
    finish(faults)


main()
