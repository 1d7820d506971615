#!/usr/bin/env python3
"""Builds the examples as a user of the engine does, outside the tree:
build_outside.py SOURCE-FOLDER BUILD-FOLDER [--toolchain FILE --compiler NAME].

The engine is installed from BUILD-FOLDER into a folder of its own, the examples are
copied away and find it there. Then they run as docs/engine.md shows, and the code on
that page must be theirs, line by line.

With --toolchain engine and examples are compiled for that system, and not run; ends
with 77 where there is no such COMPILER."""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import textwrap

PAGE = os.path.join("docs", "engine.md")
SKIPPED = 77
BLOCK = re.compile(r"^```(cpp|cmake)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
# Headers of the engine are judged as ours, not as those of a system.
STRICT = ["-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Wconversion -Werror",
          "-DCMAKE_NO_SYSTEM_FROM_IMPORTED=ON"]


def run(*command):
    print("+", *command, flush=True)
    subprocess.run(command, check=True)


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def code_that_is_not_theirs(source):
    """Blocks of the page that stand in no example."""
    folder = os.path.join(source, "examples")
    lines = [read(os.path.join(folder, name)).splitlines() for name in sorted(os.listdir(folder))]
    found = []
    for _, block in BLOCK.findall(read(os.path.join(source, PAGE))):
        wanted = block.splitlines()
        if not any(textwrap.dedent("\n".join(file[i:i + len(wanted)])).splitlines() == wanted
                   for file in lines for i in range(len(file))):
            found.append(block)
    return found


def install(build, prefix):
    run("cmake", "--install", build, "--component", "engine", "--prefix", prefix)
    for folder, _, names in os.walk(prefix):
        for name in names:
            if name.endswith("Config.cmake"):
                return folder
    raise SystemExit("nothing was installed for find_package")


def build_examples(source, folder, package, *arguments):
    outside, build = os.path.join(folder, "examples"), os.path.join(folder, "build")
    shutil.copytree(os.path.join(source, "examples"), outside)
    run("cmake", "-G", "Ninja", "-S", outside, "-B", build, f"-Djet4_DIR={package}", *STRICT,
        *arguments)
    run("cmake", "--build", build)
    return build


def native(source, build, folder):
    package = install(build, os.path.join(folder, "jet4"))
    programs = build_examples(source, folder, package)
    strange = code_that_is_not_theirs(source)
    for block in strange:
        print(f"FAIL {PAGE}: in no example:\n{block}")
    run(sys.executable, os.path.join(source, "tests", "docs", "run_examples.py"), source, programs,
        "--page", PAGE)
    return 1 if strange else 0


def foreign(source, toolchain, folder):
    engine = os.path.join(folder, "engine")
    # What compiles soonest: it is not run.
    run("cmake", "-G", "Ninja", "-S", source, "-B", engine, f"-DCMAKE_TOOLCHAIN_FILE={toolchain}",
        "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DCMAKE_UNITY_BUILD=ON",
        "-DDBU_ENGINE_ONLY=ON")
    run("cmake", "--build", engine, "--target", "engine")
    package = install(engine, os.path.join(folder, "jet4"))
    build_examples(source, folder, package, f"-DCMAKE_TOOLCHAIN_FILE={toolchain}")
    return 0


def main():
    parser = argparse.ArgumentParser()
    for name in ("source", "build", "--toolchain"):
        parser.add_argument(name, type=os.path.abspath)
    parser.add_argument("--compiler")
    given = parser.parse_args()
    if given.compiler and not shutil.which(given.compiler):
        print(f"skipped: no {given.compiler} here")
        return SKIPPED
    with tempfile.TemporaryDirectory() as folder:
        if given.toolchain:
            return foreign(given.source, given.toolchain, folder)
        return native(given.source, given.build, folder)


if __name__ == "__main__":
    sys.exit(main())
