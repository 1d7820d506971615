#!/usr/bin/env python3
"""Runs what README and docs show: run_examples.py SOURCE-FOLDER PROGRAM-FOLDER.

Each page runs in a fresh folder of its own, from top to bottom.

- A block marked ```console holds lines "$ COMMAND", each with its output below it.
  Output is compared; a command that shows none must print none and succeed.
- A block marked ```sh holds commands that must succeed, whatever they print.
- <!-- run: COMMAND --> is run, and not shown to readers.
- <!-- not run: REASON --> stands before a block that cannot be run here.

Times in milliseconds and the dates in names of copies are not compared. Links to
files of the tree must lead somewhere, and every verb of mdbadm must have its place
on its page."""

import os
import re
import subprocess
import sys
import tempfile

BLOCK = re.compile(r"^(?:<!-- not run: (?P<why>.+?) -->\n+)?```(?P<kind>\w*)\n(?P<body>.*?)^```$"
                   r"|^<!-- run: (?P<hidden>.+?) -->$", re.MULTILINE | re.DOTALL)
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
    def __init__(self, source, path, programs):
        self.source, self.path = source, path
        self.environment = {**os.environ, "LC_ALL": "C.UTF-8",
                            "PATH": programs + os.pathsep + os.environ["PATH"]}
        self.counts = {"passed": 0, "failed": 0, "skipped": 0}

    def judge(self, place, command, complaint):
        self.counts["failed" if complaint else "passed"] += 1
        if complaint:
            print(f"FAIL {self.path}:{place}: {command.strip()}\n{complaint}")

    def run(self, command, folder):
        return subprocess.run(["bash", "-c", command], cwd=folder, env=self.environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, encoding="utf-8", timeout=120)

    def must_succeed(self, place, command, folder):
        ran = self.run("set -e\n" + command, folder)
        self.judge(place, command, ran.stdout or "failed" if ran.returncode else "")

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
        with tempfile.TemporaryDirectory() as folder:
            for block in BLOCK.finditer(text):
                place = text.count("\n", 0, block.start()) + 1
                kind, body = block["kind"], block["body"]
                if block["hidden"]:
                    self.must_succeed(place, block["hidden"], folder)
                elif block["why"]:
                    self.counts["skipped"] += 1
                    print(f"not run: {self.path}:{place}: {block['why']}")
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


def main():
    source, programs = map(os.path.abspath, sys.argv[1:3])
    pages = [name for name in os.listdir(source) if name.endswith(".md")]
    pages += [os.path.join("docs", name) for name in os.listdir(os.path.join(source, "docs"))
              if name.endswith(".md")]
    total = {"passed": 0, "failed": 0, "skipped": 0}
    for path in sorted(pages):
        for what, count in Page(source, path, programs).check().items():
            total[what] += count
    for verb in verbs_without_place(source, programs):
        print(f"FAIL docs/mdbadm.md: nothing on {verb}")
        total["failed"] += 1
    print("Totals: {passed} passed, {failed} failed, {skipped} skipped".format(**total))
    return 1 if total["failed"] or not total["passed"] else 0


if __name__ == "__main__":
    sys.exit(main())
