#!/usr/bin/env python3
"""Runs clang-tidy over the sources named on standard input, in parallel:
tidy.py BUILD-FOLDER JOBS. Files that the build does not compile are left out. In a
unity build the files that compile together are judged together: most of the time
goes into what they include."""

import concurrent.futures
import json
import os
import re
import subprocess
import sys

CONFIGURATION = ".clang-tidy"


def configuration_of(path):
    """The nearest one above the source itself: a unity file lies elsewhere."""
    folder = os.path.dirname(path)
    while not os.path.exists(os.path.join(folder, CONFIGURATION)):
        folder = os.path.dirname(folder)
    return os.path.join(folder, CONFIGURATION)


def headers_of(configuration):
    with open(configuration, encoding="utf-8") as file:
        return re.findall(r"^HeaderFilterRegex: '(.*)'$", file.read(), re.MULTILINE)


def included(unity):
    with open(unity, encoding="utf-8") as file:
        return re.findall(r'^#include "(.*\.cpp)"$', file.read(), re.MULTILINE)


def units(build, wanted):
    """What to run clang-tidy on, and the sources in it."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        compiled = {os.path.realpath(entry["file"]) for entry in json.load(file)}
    found = {}
    for path in compiled:
        sources = included(path) if path.endswith("_cxx.cxx") else [path]
        sources = [source for source in map(os.path.realpath, sources) if source in wanted]
        if sources:
            found[path] = sources
    return found


def tidy(build, path, sources):
    configuration = configuration_of(sources[0])
    command = ["clang-tidy", "-p", build, "--quiet", path, f"--config-file={configuration}"]
    if sources != [path]:
        seen = [re.escape(source) for source in sources] + headers_of(configuration)
        command += [f"--header-filter={'|'.join(seen)}", "--checks=-bugprone-suspicious-include"]
    run = subprocess.run(command, capture_output=True, text=True)
    return path, run.returncode, run.stdout.strip(), run.stderr.strip()


def main():
    build, jobs = sys.argv[1], int(sys.argv[2])
    wanted = {os.path.realpath(line.strip()) for line in sys.stdin}
    work = units(build, wanted)
    judged = {source for sources in work.values() for source in sources}
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        # The largest first, so that none is left alone at the end.
        order = sorted(work.items(), key=lambda item: (-len(item[1]), item[0]))
        for path, status, output, errors in pool.map(lambda item: tidy(build, *item), order):
            if status != 0 or "warning:" in output:
                failed += 1
                print(output or f"{path}: ended with {status}: {errors}")
    print(f"== clang-tidy: {len(judged)} files in {len(work)} units, {failed} with findings")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
