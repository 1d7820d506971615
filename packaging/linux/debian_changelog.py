#!/usr/bin/env python3
"""Turns CHANGELOG.md into the changelog of a Debian package, on standard output:
debian_changelog.py CHANGELOG.md PACKAGE.

A release is a heading '## VERSION (YYYY-MM-DD)' with a list of changes. With
--newest, prints version and date of the newest release instead."""

import datetime
import re
import sys
import textwrap

RELEASE = re.compile(r"## (\d+\.\d+\.\d+) \((\d{4}-\d{2}-\d{2})\)")
MAINTAINER = "db-update maintainers <maintainers@db-update.example>"


def releases(path):
    """(version, date, changes) of each release, the newest first."""
    found = []
    with open(path, encoding="utf-8") as file:
        for line in file:
            heading = RELEASE.fullmatch(line.strip())
            if heading:
                found.append((*heading.groups(), []))
            elif found and line.startswith("- "):
                found[-1][2].append(line[2:].strip())
            elif found and line.startswith("  ") and found[-1][2]:
                found[-1][2][-1] += " " + line.strip()
    if not found:
        sys.exit(f"{path}: no release")
    return found


def entry(package, version, date, changes):
    lines = [f"{package} ({version}) stable; urgency=medium", ""]
    for change in changes:
        lines += textwrap.wrap(change, 76, initial_indent="  * ", subsequent_indent="    ")
    day = datetime.date.fromisoformat(date)
    lines += ["", f" -- {MAINTAINER}  {day:%a, %d %b %Y} 00:00:00 +0000", ""]
    return "\n".join(lines)


def main():
    if sys.argv[1] == "--newest":
        version, date, _ = releases(sys.argv[2])[0]
        print(version, date)
        return
    path, package = sys.argv[1:3]
    print("\n".join(entry(package, *release) for release in releases(path)), end="")


if __name__ == "__main__":
    main()
