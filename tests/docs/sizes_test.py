#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""No file is longer than 500 lines, and no function of the programs longer than 60."""

import re

from project import DAEMON, code_files, files, finish, line_of, name, without_texts

FILE_LINES = 500
FUNCTION_LINES = 60

# Function: why it may be longer.
LONG_FUNCTIONS = {}

SCOPE = re.compile(r"\b(namespace|struct|class|union|enum)\b")
SIGNATURE = re.compile(r"([~\w:]+)\s*\([^;]*\)[^;()=]*$", re.DOTALL)


def functions(text):
    """Name, first and last line of each function; inner ones are part of it."""
    open_scopes = []  # for each brace: its function's name and line, or None
    inside = 0  # open braces within a function
    start = 0  # where the declaration before the next brace begins
    for match in re.finditer(r"[{};]", text):
        at = match.start()
        if match.group() == "{":
            head = text[start:at]
            found = None if inside or SCOPE.search(head) else SIGNATURE.search(head)
            first = start + len(head) - len(head.lstrip())
            open_scopes.append((found.group(1), line_of(text, first)) if found else None)
            inside += 1 if inside or found else 0
        elif match.group() == "}" and open_scopes:
            function = open_scopes.pop()
            inside -= 1 if inside else 0
            if function:
                yield *function, line_of(text, at)
        start = at + 1


def file_faults():
    for path in files("*.cpp", "*.h", "*.py", "*.sh", "tools/*", "run"):
        lines = len(path.read_text().splitlines())
        if lines > FILE_LINES:
            yield f"{name(path)}: {lines} lines are more than {FILE_LINES}"


def function_faults():
    seen = set()
    for path in code_files((*DAEMON, "client", "sim")):
        text = re.sub(r"(?m)^[ \t]*#.*", "", without_texts(path.read_text()))
        for function, first, last in functions(text):
            seen.add(function)
            lines = last - first + 1
            if lines > FUNCTION_LINES and function not in LONG_FUNCTIONS:
                where = f"{name(path)}:{first}"
                yield f"{where}: {function} has {lines} lines, more than {FUNCTION_LINES}"
    for function in ("main", "read_hci_event", "do_beacon_advertising", "print_help"):
        if function not in seen:
            yield f"the counter does not see {function}()"
    for function in LONG_FUNCTIONS:
        if function not in seen:
            yield f"the exception {function} is no more"


finish([*file_faults(), *function_faults()])
