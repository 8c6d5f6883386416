#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Includes run in one direction, and only where the table allows them."""

import re

from project import CODE, DAEMON, ROOT, code_files, finish, line_of, name, without_comments

COMMANDS = ("hci/standard_commands", "hci/ti_commands", "hci/qualcomm_commands")
BASE = ("daemon/trace", "daemon/bleipc")

# A unit, and what it may include; from low to high.
MAY_INCLUDE = {
    "daemon/trace": (),
    "util/text": ("daemon/trace",),
    "daemon/process": ("daemon/trace",),
    "daemon/signals": ("daemon/trace",),
    "daemon/bleipc": ("daemon/trace",),
    "daemon/reports": BASE + ("platform/device_libs",),
    "hci/serial": BASE,
    "hci/exchange": BASE + ("daemon/signals", "hci/serial"),
    "hci/standard_commands": ("daemon/trace", "hci/exchange", "util/text"),
    "hci/ti_commands": ("daemon/trace", "daemon/signals", "hci/exchange", "util/text"),
    "hci/qualcomm_commands": ("daemon/trace", "daemon/signals", "hci/exchange", "util/text"),
    "hci/command_tables": COMMANDS,
    "ble/interval": BASE + ("hci/command_tables", "util/text"),
    "ble/address": BASE + ("hci/command_tables", "util/text"),
    "ble/ptm": BASE + ("hci/command_tables", "util/text"),
    "ble/chip": BASE
    + ("hci/serial", "hci/standard_commands", "hci/command_tables")
    + ("ble/interval", "ble/address", "util/text"),
    "ble/beacon": BASE + ("daemon/signals", "daemon/reports", "hci/command_tables", "util/text"),
    "ble/task": BASE + ("daemon/signals", "ble/beacon", "ble/ptm"),
    "daemon/interpreter": BASE
    + ("hci/command_tables", "ble/chip", "ble/interval", "ble/address", "ble/ptm", "util/text"),
    "daemon/event_loop": BASE
    + ("daemon/signals", "daemon/reports", "daemon/interpreter")
    + ("ble/chip", "ble/beacon", "ble/task"),
}
MAY_INCLUDE["daemon/lifecycle"] = tuple(MAY_INCLUDE)
MAY_INCLUDE["daemon/main"] = tuple(MAY_INCLUDE)

# The folders of the other programs, low to high: a file may include files of its own and lower ones.
FOLDERS = {
    "client": ("cli", "link", "settings", "commands"),
    "sim": ("controller", "line", "air", "output", "program"),
}

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def unit_of(path):
    """The segment's layout belongs to the unit that creates it."""
    return "daemon/bleipc" if path == "daemon/segment.h" else path.rsplit(".", 1)[0]


def height(path):
    """The level of the file's folder in its program, -1 for one that is not in the table."""
    program, *inner = path.split("/")[:-1]
    order = FOLDERS[program]
    if not inner:
        return len(order)  # main may include all
    return order.index(inner[0]) if inner[0] in order else -1


def is_allowed(path, included):
    folder, target = path.split("/")[0], included.split("/")[0]

    if folder == "client" and included == "daemon/segment.h":
        return True
    if folder in FOLDERS:
        return target == folder and 0 <= height(included) <= height(path)
    if folder == "platform":
        return target == folder
    unit = unit_of(path)
    return unit_of(included) == unit or unit_of(included) in MAY_INCLUDE.get(unit, ())


def table_faults():
    above = {"platform/device_libs"}
    for unit, allowed in MAY_INCLUDE.items():
        for low in allowed:
            if low not in above:
                yield f"the table lets {unit} include {low}, which does not stand above it"
        above.add(unit)
        if not (ROOT / f"{unit}.cpp").exists():
            yield f"the table has {unit}, which is no more"


def edge_faults():
    for path in code_files(CODE):
        file = name(path)
        if file.split("/")[0] in DAEMON and unit_of(file) not in MAY_INCLUDE:
            yield f"{file}: the table says nothing of it"
            continue
        text = without_comments(path.read_text())
        for match in INCLUDE.finditer(text):
            if not is_allowed(file, match.group(1)):
                line = line_of(text, match.start(1))
                yield f"{file}:{line}: may not include {match.group(1)}"


finish([*table_faults(), *edge_faults()])
