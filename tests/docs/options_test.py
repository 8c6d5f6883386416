#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A program's help and its manual page list the same options and commands.

usage: options_test.py BUILD, inside tools/sandbox
"""

import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import time

from project import ROOT, finish

BUILD = pathlib.Path(sys.argv[1]).resolve()
LIMIT = 180  # seconds; only a hang takes longer

# The mdoc macros that end a list of words behind Fl or Cm.
MACROS = set("Ar Cm Dl Dq Fl It Nm Ns Oc Oo Op Pa Pq Sq Sx Xr Li Em Ql".split())

OPTION = re.compile(r"(?<![\w-])--([a-z][a-z-]*)")
WORD = re.compile(r"^[a-z][a-z0-9]*(?:-[a-z0-9]+)*$")


def run(*command):
    return subprocess.run(
        [str(part) for part in command], capture_output=True, text=True, timeout=LIMIT, check=True
    ).stdout


def page_words(page, section=None, command=None):
    """The options and command words of a page, or of one of its sections or commands."""
    options, words, here, told = set(), set(), None, command is None
    for line in page.read_text().replace("\\\n", "").splitlines():
        if line.startswith(".Sh"):
            here = line.removeprefix(".Sh").strip().strip('"')
        if command and line.startswith((".It", ".Sh", ".Ss")):
            told = line.startswith(f".It Cm {command}")
        if not line.startswith(".") or line.startswith('.\\"') or not told:
            continue
        if section not in (None, here):
            continue
        kind = None
        for token in shlex.split(line[1:]):
            if token in MACROS:
                kind = token
            elif kind == "Fl":
                options.update([token.lstrip("-")] if token.startswith("-") else [])
            elif kind == "Cm" and WORD.match(token):
                words.add(token)
    return options, words


def help_options(text):
    return set(OPTION.findall(text))


def left_column(text):
    """The words before the explanation in each indented line."""
    words = set()
    for line in text.splitlines():
        if line.startswith("  ") and line.strip():
            column = re.split(r"  +", line.strip())[0]
            column = re.sub(r" [A-Z]+ .*", "", column)  # a long word reaches its explanation
            words.update(w for w in re.split(r"[ |\[\],]+", column) if WORD.match(w))
    return words


def compare(program, what, helped, paged, all_help):
    for word in sorted(helped - paged):
        yield f"{program}: the page does not have the {what} {word}"
    for word in sorted(paged - helped):
        spelled = f"--{word}" if what == "option" else word
        if not re.search(rf"(?<![\w-]){spelled}(?![\w-])", all_help):
            yield f"{program}: the help does not have the {what} {word}"


def client_faults():
    client, page = BUILD / "vorlinctl", ROOT / "docs" / "vorlinctl.1"
    text = run(client, "--help")
    commands = re.findall(r"^  ([a-z]+) +\S", text.split("Commands")[1].split("\n\n")[0], re.M)
    if len(commands) < 5:
        yield "vorlinctl: its help lists no commands"
    helps = {command: run(client, "help", command) for command in commands}
    everything = text + "".join(helps.values())
    for command, more in helps.items():
        usage = more.splitlines()[0].removeprefix("Usage: vorlinctl ")
        words = left_column(more) | {w for w in re.split(r"[ |\[\]]+", usage) if WORD.match(w)}
        options, paged = page_words(page, "COMMANDS", command)
        whose = f"vorlinctl {command}"
        yield from compare(whose, "option", help_options(more), options, everything)
        yield from compare(whose, "word", words, paged, everything)
    options, words = page_words(page)
    yield from compare("vorlinctl", "option", help_options(text), options, everything)
    yield from compare("vorlinctl", "word", set(commands), words, everything)


def daemon_faults():
    text = run(BUILD / "vorlind", "--help")
    options = help_options(text)
    if not options:
        yield "vorlind: its help has no options"
    yield from compare("vorlind", "option", options,
                       page_words(ROOT / "docs" / "vorlind.8")[0], text)


def control_help():
    with tempfile.TemporaryDirectory() as scratch:
        socket = pathlib.Path(scratch) / "socket"
        line = pathlib.Path(scratch) / "line"
        options = ["--control", socket, "--link", line, "--quiet", "--seconds", str(LIMIT)]
        simulator = subprocess.Popen(
            [BUILD / "vorlin-sim", *options],
            stdout=subprocess.DEVNULL,
        )
        try:
            # It makes its link last: then it listens.
            while not line.exists() and simulator.poll() is None:
                time.sleep(0.02)
            return run(BUILD / "vorlin-sim", "control", socket, "help")
        finally:
            simulator.terminate()
            simulator.wait()


def simulator_faults():
    program, page = BUILD / "vorlin-sim", ROOT / "docs" / "vorlin-sim.1"
    text = run(program, "--help")
    options = help_options(text)
    yield from compare("vorlin-sim", "option", options, page_words(page)[0], text)

    faults, control = run(program, "--help=faults"), control_help()
    quirks = run(program, "--help=quirks")
    fault_words = left_column(faults) | set(re.findall(r"\b([a-z]+)=", faults))
    sections = (
        ("DESCRIPTION", left_column(quirks), text + quirks + control),
        ("FAULTS", fault_words, faults),
        ("CONTROL COMMANDS", left_column(control), control),
    )
    for section, helped, whole in sections:
        yield from compare("vorlin-sim", "word", helped, page_words(page, section)[1], whole)
    for part, found in (("faults", fault_words), ("control help", left_column(control))):
        if len(found) < 5:
            yield f"vorlin-sim: its {part} list nothing"


finish([*daemon_faults(), *client_faults(), *simulator_faults()])
