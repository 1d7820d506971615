#!/usr/bin/env python3
"""Runs what README and docs show:
run_examples.py SOURCE-FOLDER PROGRAM-FOLDER [--packages FOLDER] [--page PAGE].

Each page runs in a fresh folder of its own, from top to bottom.

- A block marked ```console holds lines "$ COMMAND", each with its output below it.
  Output is compared; a command that shows none must print none and succeed.
- A block marked ```sh holds commands that must succeed, whatever they print.
- <!-- run: COMMAND --> is run, and not shown to readers.
- <!-- on a fresh machine, PLACE: WHAT IT DOES --> stands before a block that changes
  the machine. It runs only where --packages names a folder of our packages, which
  says that the machine may be changed (see fresh_machine.sh). PLACE is "in the tree"
  or "beside the packages".

With --page only that page is judged; without, all but those whose programs this tree
does not build.

Times in milliseconds and the dates in names of copies are not compared. Links to
files of the tree must lead somewhere, every verb of mdbadm must have its place on
its page, and the verbs of ./dev that a page names must be there."""

import argparse
import os
import re
import subprocess
import sys
import tempfile

# What tests/examples runs, by --page.
ELSEWHERE = {os.path.join("docs", "engine.md")}
BLOCK = re.compile(r"^(?:<!-- on a fresh machine, (?P<place>[^:]+): (?P<why>.+?) -->\n+)?"
                   r"```(?P<kind>\w*)\n(?P<body>.*?)^```$"
                   r"|^<!-- run: (?P<hidden>.+?) -->$", re.MULTILINE | re.DOTALL)
DEV_VERB = re.compile(r"\./dev ([a-z][a-z-]*)")
LINK = re.compile(r"\]\((?!https?:)([^)#]+)(?:#[^)]*)?\)")
DIFFERS = [(re.compile(r"\t\d+\.\d(?=\t|$)", re.MULTILINE), "\t*"),
           (re.compile(r'"ms":\d+\.\d+'), '"ms":*'),
           (re.compile(r"-\d{8}-\d{6}"), "-*")]


def comparable(text):
    for pattern, stand_in in DIFFERS:
        text = pattern.sub(stand_in, text)
    return text


def commands_of(body):
    """(command, output shown) of a console block."""
    found = []
    for line in body.splitlines(keepends=True):
        if line.startswith("$ "):
            found.append([line[2:], ""])
        elif found and found[-1][0].endswith("\\\n"):
            found[-1][0] += line
        elif found:
            found[-1][1] += line
        else:
            raise ValueError("output before the first command: " + line)
    return found


class Page:
    def __init__(self, source, path, programs, packages):
        self.source, self.path, self.packages = source, path, packages
        self.environment = {**os.environ, "LC_ALL": "C.UTF-8",
                            "PATH": programs + os.pathsep + os.environ["PATH"]}
        self.counts = {"passed": 0, "failed": 0, "skipped": 0}

    def dev_help(self):
        return self.run("./dev help", self.source).stdout

    def judge(self, place, command, complaint):
        self.counts["failed" if complaint else "passed"] += 1
        if complaint:
            print(f"FAIL {self.path}:{place}: {command.strip()}\n{complaint}")

    def run(self, command, folder, seconds=120):
        return subprocess.run(["bash", "-c", command], cwd=folder, env=self.environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, encoding="utf-8",
                              timeout=seconds)

    def must_succeed(self, place, command, folder):
        ran = self.run("set -e\n" + command, folder)
        self.judge(place, command, ran.stdout or "failed" if ran.returncode else "")

    def change_machine(self, place, where, command):
        folder = {"in the tree": self.source, "beside the packages": self.packages}[where]
        ran = self.run("set -ex\n" + command, folder, seconds=3600)
        print(f"{self.path}:{place}, {where}:\n" + ran.stdout, flush=True)
        self.judge(place, command, f"exit status {ran.returncode}" if ran.returncode else "")

    def compare(self, place, command, shown, folder):
        ran = self.run(command, folder)
        complaint = ""
        if comparable(ran.stdout) != comparable(shown):
            complaint = f"--- shown\n{shown}--- printed\n{ran.stdout}"
        elif not shown and ran.returncode:
            complaint = f"exit status {ran.returncode}"
        self.judge(place, command, complaint)

    def check(self):
        with open(os.path.join(self.source, self.path), encoding="utf-8") as file:
            text = file.read()
        for target in LINK.findall(text):
            there = os.path.join(self.source, os.path.dirname(self.path), target)
            if not os.path.exists(there):
                self.judge(1, target, "the link leads nowhere")
        for verb in DEV_VERB.findall(text):
            if not re.search(rf"^\./dev {verb} ", self.dev_help(), re.MULTILINE):
                self.judge(1, f"./dev {verb}", "there is no such verb")
        with tempfile.TemporaryDirectory() as folder:
            for block in BLOCK.finditer(text):
                place = text.count("\n", 0, block.start()) + 1
                kind, body = block["kind"], block["body"]
                if block["hidden"]:
                    self.must_succeed(place, block["hidden"], folder)
                elif block["why"] and self.packages:
                    self.change_machine(place, block["place"], body)
                elif block["why"]:
                    self.counts["skipped"] += 1
                    print(f"not run here: {self.path}:{place}: {block['why']}")
                elif kind == "console":
                    for command, shown in commands_of(body):
                        self.compare(place, command, shown, folder)
                elif kind == "sh":
                    self.must_succeed(place, body, folder)
                elif kind not in ("cpp", "text", "cmake"):
                    self.judge(place, "```" + kind, "what is this? mark the block")
        return self.counts


def verbs_without_place(source, programs):
    page = os.path.join(source, "docs", "mdbadm.md")
    with open(page, encoding="utf-8") as file:
        text = file.read()
    listing = subprocess.run([os.path.join(programs, "mdbadm"), "help", "verbs"],
                             capture_output=True, check=True, text=True, encoding="utf-8").stdout
    verbs = re.findall(r"^  ([a-z-]+) ", listing, re.MULTILINE)
    return [verb for verb in verbs if not re.search(rf"`{verb}[ `]", text)]


def pages_of(source):
    pages = {name for name in os.listdir(source) if name.endswith(".md")}
    pages |= {os.path.join("docs", name) for name in os.listdir(os.path.join(source, "docs"))
              if name.endswith(".md")}
    return sorted(pages - ELSEWHERE)


def main():
    parser = argparse.ArgumentParser()
    for name in ("source", "programs", "--packages"):
        parser.add_argument(name, type=os.path.abspath)
    parser.add_argument("--page")
    given = parser.parse_args()
    source, programs = given.source, given.programs
    total = {"passed": 0, "failed": 0, "skipped": 0}
    for path in [given.page] if given.page else pages_of(source):
        for what, count in Page(source, path, programs, given.packages).check().items():
            total[what] += count
    for verb in [] if given.page else verbs_without_place(source, programs):
        print(f"FAIL docs/mdbadm.md: nothing on {verb}")
        total["failed"] += 1
    print("Totals: {passed} passed, {failed} failed, {skipped} skipped".format(**total))
    return 1 if total["failed"] or not total["passed"] else 0


if __name__ == "__main__":
    sys.exit(main())
