#!/usr/bin/env python3
"""Compares the single operations with the figures kept in the tree.

    kept.py NEW KEPT [--keep]

Both are JSON of engine_bench. Another machine is faster or slower as a whole: the
middle of all ratios counts as its speed, and what is slower than that by more than
a fifth is named. With --keep the new figures, shortened, take the place of the kept
ones. No figure decides anything.
"""

import json
import os
import statistics
import sys

SLOWER = 1.2


def figures_of(path):
    with open(path, encoding="utf-8") as file:
        held = json.load(file)
    if "benchmarks" not in held:
        return held
    unit = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}
    return {each["name"]: each["cpu_time"] * unit[each["time_unit"]]
            for each in held["benchmarks"] if each.get("run_type") != "aggregate"}


def compare(now, kept):
    ratios = {name: now[name] / kept[name] for name in now if name in kept}
    if not ratios:
        return print("nothing to compare with")
    machine = statistics.median(ratios.values())
    print(f"beside the figures kept, this machine takes {machine:.2f} times as long")
    slower = {name: ratio / machine for name, ratio in ratios.items() if ratio > SLOWER * machine}
    for name, ratio in sorted(slower.items(), key=lambda each: -each[1]):
        print(f"  slower: {name}, {ratio:.2f} times")
    if not slower:
        print("  nothing is slower by more than a fifth")
    for name in sorted(kept.keys() - now.keys()):
        print(f"  gone: {name}")


def main():
    new, old = sys.argv[1:3]
    now = figures_of(new)
    if os.path.exists(old):
        compare(now, figures_of(old))
    if "--keep" in sys.argv:
        with open(old, "w", encoding="utf-8") as file:
            json.dump({name: float(f"{took:.3g}") for name, took in now.items()}, file, indent=1)
            file.write("\n")


if __name__ == "__main__":
    main()
