#!/usr/bin/env python3
"""Runs clang-tidy over the sources named on standard input, in parallel:
tidy.py BUILD-FOLDER JOBS. Files that the build does not compile are left out."""

import concurrent.futures
import json
import os
import subprocess
import sys


def tidy(build, path):
    run = subprocess.run(["clang-tidy", "-p", build, "--quiet", path],
                         capture_output=True, text=True)
    return path, run.returncode, run.stdout.strip(), run.stderr.strip()


def main():
    build, jobs = sys.argv[1], int(sys.argv[2])
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        compiled = {os.path.realpath(entry["file"]) for entry in json.load(file)}
    paths = [line.strip() for line in sys.stdin]
    paths = [path for path in paths if os.path.realpath(path) in compiled]
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for path, status, output, errors in pool.map(lambda path: tidy(build, path), paths):
            if status != 0 or "warning:" in output:
                failed += 1
                print(output or f"{path}: ended with {status}: {errors}")
    print(f"== clang-tidy: {len(paths)} files, {failed} with findings")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
