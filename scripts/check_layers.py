#!/usr/bin/env python3
"""Each room includes only what its row in rooms.py allows, no includes run in circles, and
what lies below the programs neither prints nor knows of a toolkit."""

import re
import sys

import rooms

PRINTS = re.compile(r"<iostream>|<cstdio>.*print|std::(cout|cerr|clog)|\bf?printf\(|fmt::print")
TOOLKIT = re.compile(r"^ *# *include *<(Q|windows\.h)", re.M)
SILENT = {"jet", "sql", "ado", "db", "upgrade"}
# The one place below the programs that asks the system for files.
SYSTEM = {"jet/storage/file_windows.cpp"}


def faults():
    modules, between = set(), set()
    for path, included in rooms.includes():
        upper, lower = rooms.room_of(path), rooms.room_of(included)
        modules.add((rooms.module_of(path), rooms.module_of(included)))
        if upper == lower or None in (upper, lower):
            continue
        between.add((upper, lower))
        if lower not in rooms.MAY_INCLUDE.get(upper, []):
            yield f"{path}: {upper} may not include {lower} ({included})"
    for circle in rooms.circles((a, b) for a, b in modules if a != b):
        yield "modules include each other: " + " ".join(circle)
    for circle in rooms.circles(between):
        yield "rooms include each other: " + " ".join(circle)
    for path in rooms.sources():
        floor, room = path.split("/")[0], rooms.room_of(path)
        if room is None:
            yield f"{path}: lies in no room"
            continue
        text = (rooms.ROOT / path).read_text(encoding="utf-8")
        if floor in SILENT and PRINTS.search(text):
            yield f"{path}: {floor} prints"
        if (floor in SILENT or room == "app") and path not in SYSTEM and TOOLKIT.search(text):
            yield f"{path}: {room} knows a toolkit"


def main():
    found = list(faults())
    for fault in found:
        print(fault, file=sys.stderr)
    if not found:
        print("== rooms: no include runs upwards or in a circle")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
