#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Stands in for OpenWrt's uci and for what config_load makes of a file.

usage: uci [-q] show PACKAGE       strict: one error anywhere, and nothing is shown
       uci load PACKAGE            lenient, as config_load: what cannot be read is left out; prints
                                   assignments for the shell
"""

import re
import shlex
import sys
import zlib
from pathlib import Path

NAME = re.compile(r"[A-Za-z0-9_]+")


class ParseError(Exception):
    """A fault, and its byte in the text."""


def statements(text, strict):
    """The words of each line; quotes may have newlines, '#' begins a comment between words."""
    at = 0
    while at < len(text):
        words, at, fault = statement(text, at)
        if fault and strict:
            raise ParseError(fault, at)
        if words and not fault:
            yield words, at


def statement(text, at):
    words, word = [], None
    while at < len(text) and text[at] != "\n":
        char = text[at]
        if char in " \t":
            if word is not None:
                words.append(word)
            word = None
        elif char == "#" and word is None:
            at = text.find("\n", at) if "\n" in text[at:] else len(text)
            continue
        elif char in "'\"":
            end = at + 1
            word = word or ""
            while end < len(text) and text[end] != char:
                if char == '"' and text[end] == "\\":
                    end += 1
                word += text[end:end + 1]
                end += 1
            if end >= len(text):
                return words, len(text), "unterminated " + char
            at = end
        elif char == "\\":
            at += 1
            word = (word or "") + text[at:at + 1]
        else:
            word = (word or "") + char
        at += 1
    if word is not None:
        words.append(word)
    return words, at + 1, None


def parse(text, strict):
    """Sections as (name, type, {option: value}); list values are joined with spaces."""
    sections, current = [], None
    for words, at in statements(text, strict):
        fault = None
        if words[0] == "config" and len(words) in (2, 3):
            name = words[2] if len(words) == 3 else anonymous(len(sections), words[1])
            known = [section for section in sections if section[0] == name]
            current = None
            if not NAME.fullmatch(name) or not NAME.fullmatch(words[1]):
                fault = "invalid name"
            elif known:
                current = known[0]
            else:
                current = (name, words[1], {})
                sections.append(current)
        elif words[0] in ("option", "list") and len(words) == 3 and NAME.fullmatch(words[1]):
            if current and words[0] == "list" and words[1] in current[2]:
                current[2][words[1]] += " " + words[2]
            elif current:
                current[2][words[1]] = words[2]
            else:
                fault = "option without a section"
        else:
            fault = "invalid command"
        if fault and strict:
            raise ParseError(fault, at)
    return sections


def anonymous(position, kind):
    """cfg, the position, and four digits of a hash."""
    return f"cfg{position + 1:02x}{zlib.crc32(kind.encode()) & 0xffff:04x}"


def show(package, sections):
    for name, kind, options in sections:
        print(f"{package}.{name}={kind}")
        for option, value in options.items():
            quoted = value.replace("'", "'\\''")
            print(f"{package}.{name}.{option}='{quoted}'")


def load(sections):
    print("CONFIG_SECTIONS=" + shlex.quote(" ".join(section[0] for section in sections)))
    for name, kind, options in sections:
        print(f"CONFIG_{name}_TYPE={shlex.quote(kind)}")
        for option, value in options.items():
            print(f"CONFIG_{name}_{option}={shlex.quote(value)}")


def main():
    arguments = [word for word in sys.argv[1:] if word != "-q"]
    quiet = len(arguments) < len(sys.argv) - 1
    action, package = arguments
    strict = action == "show"
    try:
        text = (Path("/etc/config") / package).read_text()
        sections = parse(text, strict)
    except FileNotFoundError:
        sys.exit(1 if quiet or not strict else "uci: Entry not found")
    except ParseError as error:
        fault, at = error.args
        line = text.count("\n", 0, at) + 1
        sys.exit(1 if quiet else f"uci: Parse error ({fault}) at line {line}, byte {at}")
    if strict:
        show(package, sections)
    else:
        load(sections)


main()
