"""Runs whole programs and says what they took."""

import os
import statistics
import subprocess
import sys
import time

PAGE = 4096
MB = 1e6
WANDERS = 0.2


class Usage:
    """What one run of a program took."""

    def __init__(self, wall, cpu=0, peak_mb=0, pages_read=0, pages_written=0):
        self.wall, self.cpu, self.peak_mb = wall, cpu, peak_mb
        self.pages_read, self.pages_written = pages_read, pages_written


def run(command, stdin=None, statuses=(0,)):
    """Runs a program with its output thrown away; its processor time is that of all
    that it starts."""
    source = open(stdin, "rb") if stdin else subprocess.DEVNULL
    began = time.perf_counter()
    process = subprocess.Popen(command, stdin=source, stdout=subprocess.DEVNULL,
                               stderr=subprocess.PIPE)
    errors = process.stderr.read().decode(errors="replace")
    os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
    wall = time.perf_counter() - began
    # What it read and wrote can be asked until it is buried.
    with open(f"/proc/{process.pid}/io", encoding="ascii") as counters:
        io = dict(line.split(": ") for line in counters)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode not in statuses:
        sys.exit(f"{' '.join(command)}: status {process.returncode}\n{errors}")
    if stdin:
        source.close()
    return Usage(wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024,
                 int(io["rchar"]) / PAGE, int(io["wchar"]) / PAGE)


class Runs(Usage):
    """The median of each figure over several runs, which it keeps."""

    def __init__(self, runs):
        super().__init__(*(statistics.median(getattr(each, name) for each in runs) for name in
                           ("wall", "cpu", "peak_mb", "pages_read", "pages_written")))
        self.runs = runs


def in_turns(repeat, *actions):
    """Several actions, run in turns so that all see the same machine."""
    runs = [[] for _ in actions]
    for _ in range(repeat):
        for kept, action in zip(runs, actions):
            kept.append(action())
    return [Runs(each) for each in runs]


def seconds(value):
    return f"{value:.2f} s" if value >= 1 else f"{1000 * value:.1f} ms"


class Table:
    """Lines of ours beside theirs. A ratio says how many times as fast ours is; a goal
    is the least that it should be, and the most memory in MB."""

    HEAD = ("what", "ours", "CPU", "peak", "beside", "theirs", "CPU", "ratio", "spread", "goal",
            "note")

    def __init__(self):
        self.lines = []

    def add(self, what, ours, beside="", theirs=None, note="", goal=None, memory=None, by="wall"):
        ratio = spread = ""
        met = memory is None or ours.peak_mb <= memory
        if theirs:
            middle = getattr(theirs, by) / getattr(ours, by)
            turns = [getattr(b, by) / getattr(a, by) for a, b in zip(ours.runs, theirs.runs)]
            widest = max(abs(each / middle - 1) for each in turns)
            ratio = f"{middle:.2f} ×" if middle >= 0.1 else f"{middle:.3f} ×"
            ratio += (" CPU" if by == "cpu" else "")
            spread = f"±{100 * widest:.0f} %" + (", wanders" if widest > WANDERS else "")
            met = met and (goal is None or middle >= goal)
        wanted = [f"{goal:.2g} ×"] if goal else []
        wanted += [f"{memory} MB"] if memory else []
        aim = ", ".join(wanted) + (": met" if met else ": not met") if wanted else ""
        self.lines.append((what, seconds(ours.wall), seconds(ours.cpu) if ours.cpu else "",
                           f"{ours.peak_mb:.0f} MB" if ours.peak_mb else "",
                           beside, seconds(theirs.wall) if theirs else "",
                           seconds(theirs.cpu) if theirs else "", ratio, spread, aim, note))
        print("  " + "  ".join(cell for cell in self.lines[-1] if cell), flush=True)

    def text(self):
        rows = [self.HEAD, tuple("---" for _ in self.HEAD), *self.lines]
        return "\n".join("| " + " | ".join(row) + " |" for row in rows)


def size_mb(path):
    return os.path.getsize(path) / MB


def sync(path):
    with open(path, "rb") as file:
        os.fsync(file.fileno())


def warm(path):
    """Brings a file into the system's cache."""
    block = bytearray(1 << 20)
    with open(path, "rb", buffering=0) as file:
        while file.readinto(block):
            pass


def restore(source, target):
    """Makes `target` what `source` is, writing only what differs."""
    with open(source, "rb", buffering=0) as before, open(target, "r+b", buffering=0) as now:
        at = 0
        while block := before.read(1 << 20):
            if now.read(len(block)) != block:
                now.seek(at)
                now.write(block)
            at += len(block)
        now.truncate(at)
        os.fsync(now.fileno())
