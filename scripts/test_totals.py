#!/usr/bin/env python3
"""Adds up a ctest run: test_totals.py BUILD-FOLDER RESULTS-FOLDER.

Programs of GoogleTest left a JSON file each, those of Qt Test a line of totals
in their output; anything else counts as one test. Prints a table and ends with
'N passed, N failed, N skipped'.
"""

import json
import os
import re
import subprocess
import sys
import xml.etree.ElementTree as xml


def google_totals(path):
    with open(path, encoding="utf-8") as file:
        report = json.load(file)
    cases = [case for suite in report["testsuites"] for case in suite["testsuite"]]
    failed = sum(1 for case in cases if case.get("failures"))
    skipped = sum(1 for case in cases if case["result"] == "SKIPPED")
    for case in cases:
        if case["result"] == "SKIPPED":
            print(f"skipped: {case['classname']}.{case['name']}")
    ran = sum(1 for case in cases if case["status"] == "RUN")
    return ran - failed - skipped, failed, skipped


def qt_totals(output):
    found = re.findall(r"Totals: (\d+) passed, (\d+) failed, (\d+) skipped", output)
    if not found:
        return None
    return tuple(sum(int(line[i]) for line in found) for i in range(3))


def program_name(command):
    """The test program of a command line, which an emulator may come before."""
    for word in command:
        if word.endswith(".exe"):
            return os.path.basename(word)[:-len(".exe")]
    return os.path.basename(command[0])


def main():
    build, results = sys.argv[1:3]
    listing = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"],
                             capture_output=True, check=True, text=True).stdout
    program_of = {test["name"]: program_name(test["command"])
                  for test in json.loads(listing)["tests"] if test.get("command")}
    total = [0, 0, 0]
    for case in xml.parse(os.path.join(results, "ctest.xml")).getroot().iter("testcase"):
        name = case.get("name")
        succeeded = case.get("status") == "run"
        report = os.path.join(results, program_of.get(name, name) + ".json")
        counts = None
        if os.path.exists(report):
            counts = google_totals(report)
        else:
            counts = qt_totals(case.findtext("system-out") or "")
        if counts is None:
            counts = (1, 0, 0) if succeeded else (0, 1, 0)
        elif not succeeded and counts[1] == 0:
            counts = (counts[0], 1, counts[2])  # it broke down outside a test
        print(f"{name}: {counts[0]} passed, {counts[1]} failed, {counts[2]} skipped")
        total = [sum(pair) for pair in zip(total, counts)]
    if sum(total) == 0:
        total[1] = 1  # a suite that ran nothing did not pass
    print(f"{total[0]} passed, {total[1]} failed, {total[2]} skipped")
    return 1 if total[1] else 0


if __name__ == "__main__":
    sys.exit(main())
