# SPDX-License-Identifier: Apache-2.0
"""Shared by the tests of the documents: the project's files, and its code without comments."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
DAEMON = ("daemon", "hci", "ble", "util")
CODE = DAEMON + ("client", "sim", "platform")

TOKEN = re.compile(r"""//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*'""", re.DOTALL)


def files(*patterns):
    """The project's own files, without built or fetched ones."""
    for pattern in patterns:
        for path in sorted(ROOT.rglob(pattern)):
            top = path.relative_to(ROOT).parts[0]
            if path.is_file() and not top.startswith("build") and top != ".git":
                yield path


def code_files(folders):
    for folder in folders:
        yield from sorted((ROOT / folder).rglob("*.h"))
        yield from sorted((ROOT / folder).rglob("*.cpp"))


def name(path):
    return str(path.relative_to(ROOT))


def without_comments(text):
    """The same text with spaces instead of comments: offsets and lines stay the same."""

    def blank(match):
        token = match.group()
        return re.sub(r"[^\n]", " ", token) if token[0] == "/" else token

    return TOKEN.sub(blank, text)


def without_texts(text):
    """Without comments, and with spaces in the literals, so that brackets can be counted."""
    return TOKEN.sub(
        lambda match: '"' + re.sub(r"[^\n]", " ", match.group()[2:]) + '"',
        without_comments(text),
    )


def line_of(text, offset):
    return text.count("\n", 0, offset) + 1


def finish(faults):
    """Print one line for each fault; return the exit status."""
    for fault in faults:
        print(f"FAILED: {fault}")
    sys.exit(1 if faults else 0)
