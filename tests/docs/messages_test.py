#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""vorlind.8 lists every line that the daemon writes to stderr, and no other."""

import re

from project import DAEMON, ROOT, TOKEN, code_files, finish, line_of, name
from project import without_comments, without_texts

PAGE = ROOT / "docs" / "vorlind.8"

# Texts that are no literals at the call, and where they come from.
ELSEWHERE = {
    ("hci/exchange.cpp", "prefix"): "a blank in front of the bytes of a packet",
    ("daemon/interpreter.cpp", "option->failure"): "the table of config's options",
}

CALL = re.compile(r"\b(fprintf|fputs|fputc|TRACE|TRACE_AS)\s*\(")
OTHER_WRITERS = re.compile(
    r"\b(perror|dprintf|vfprintf|vdprintf|putc|fwrite|psignal|warnx?|errx?|printf|puts)\s*\("
    r"|\bSTDERR_FILENO\b|\bcerr\b"
)
CONVERSION = re.compile(r"%%|%[-+ #0]*[\d.]*(?:hh|h|ll|l|z)?([a-zA-Z])")
WILDCARD = {"d": r"-?\d+", "i": r"-?\d+", "u": r"\d+", "x": "[0-9a-f]+", "X": "[0-9A-F]+"}
WILDCARD["s"] = ".*"


def arguments(text, begin):
    """The arguments of the call whose bracket is just before `begin`."""
    parts, depth, start, at = [], 0, begin, begin
    while depth >= 0:
        literal = TOKEN.match(text, at)
        if literal:
            at = literal.end()
            continue
        letter = text[at]
        if letter in "([{":
            depth += 1
        elif letter in ")]}":
            depth -= 1
        if (letter == "," and depth == 0) or depth < 0:
            parts.append(text[start:at].strip())
            start = at + 1
        at += 1
    return parts


def literal_text(expression):
    """The text of a literal, which may have several parts, or None."""
    pieces = [match.group() for match in TOKEN.finditer(expression)]
    if not pieces or TOKEN.sub("", expression).strip():
        return None
    return "".join(piece[1:-1] for piece in pieces).replace('\\"', '"')


def pattern_of(text):
    """The pattern of the lines that this format makes. A part of a line may be repeated."""
    whole, result, at = text.endswith("\\n"), "", 0
    line = text.removesuffix("\\n").strip()
    for match in CONVERSION.finditer(line):
        result += re.escape(line[at : match.start()])
        result += WILDCARD[match.group(1)] if match.group(1) else "%"
        at = match.end()
    result += re.escape(line[at:])
    return result if whole else f"(?:{result} ?)+"


def messages(path):
    """Each text written to stderr, as (line, text), or as (line, None, fault)."""
    text = without_comments(path.read_text())
    written = 0
    for match in CALL.finditer(text):
        parts = arguments(text, match.end())
        line = line_of(text, match.start())
        if "TRACE" in match.group(1) or "stderr" not in parts:
            continue
        written += 1
        expression = parts[1] if match.group(1) == "fprintf" else parts[0]
        literal = literal_text(expression)
        if match.group(1) == "fputc" and literal == "\\n":
            continue
        if literal is not None:
            yield line, literal, None
        elif (name(path), expression) not in ELSEWHERE:
            yield line, None, f"the text written here is no literal: {expression}"
    if len(re.findall(r"\bstderr\b", text)) != written:
        yield 1, None, "stderr is used in a way that this check cannot read"
    for match in OTHER_WRITERS.finditer(text):
        yield line_of(text, match.start()), None, f"this check cannot read {match.group()}"
    brackets = without_texts(text)
    for match in TOKEN.finditer(text):
        before = brackets[: match.start()]
        in_table = before.count("(") == before.count(")")
        if in_table and match.group().endswith('\\n"'):
            yield line_of(text, match.start()), match.group()[1:-1], None


def diagnostics():
    """The entries of DIAGNOSTICS, as (line, text), and those without an explanation."""
    entries, faults, bare = [], [], None
    inside = False
    for number, line in enumerate(PAGE.read_text().splitlines(), 1):
        if line.startswith(".Sh"):
            inside = line == ".Sh DIAGNOSTICS"
        elif inside and line.startswith(".It"):
            entries.append((number, line.removeprefix(".It").strip().strip('"')))
            bare = entries[-1]
        elif inside and line.startswith(".El") and bare:
            faults.append(f"{name(PAGE)}:{bare[0]}: nothing explains: {bare[1]}")
        elif inside:
            bare = None
    return entries, faults


def main():
    entries, faults = diagnostics()
    unused = dict(entries)
    count = 0
    for path in code_files(DAEMON):
        for line, text, fault in messages(path):
            count += 1
            if text is not None:
                pattern = re.compile(pattern_of(text))
                found = [number for number, entry in entries if pattern.fullmatch(entry)]
                for number in found:
                    unused.pop(number, None)
                fault = None if found else f"not in DIAGNOSTICS of {name(PAGE)}: {text}"
            if fault:
                faults.append(f"{name(path)}:{line}: {fault}")
    for number, entry in unused.items():
        faults.append(f"{name(PAGE)}:{number}: the daemon never writes: {entry}")
    print(f"{count} texts in the sources, {len(entries)} in the page")
    finish(faults)


main()
