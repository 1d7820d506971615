#!/usr/bin/env python3
"""Times whole programs on the same files, beside what else a user could take.

    compare.py PROGRAMS [--quick] [--docs FOLDER] [--only WORD] [--repeat N]

PROGRAMS is the folder of mdbadm and bench_rows; mdb-export and sqlite3 are
found in the path. Prints a table of medians and ratios. With --docs the table
goes between the marks of performance.md there, and the plots beside it. Files
are made in a temporary folder and removed. No figure decides anything.
"""

import argparse
import datetime
import json
import os
import platform
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import plot
from measure import PAGE, Table, Usage, in_turns, restore, run, seconds, size_mb, sync, warm

# What grows with the jobs, and is plotted.
TITLES = {"ladder": "Ladder of Data.mdb", "scan": "All rows of the largest table, as text",
          "check": "mdbadm check"}

# That a save waits for: its tail, the mark, the pages in place, the mark taken back,
# the tail cut off.
SYNCS = 5

# Prints bytes per second.
COPYING = """
import statistics, time
block, target, took = bytearray(64 << 20), memoryview(bytearray(64 << 20)), []
for _ in range(9):
    began = time.perf_counter()
    target[:] = block
    took.append(time.perf_counter() - began)
print(len(block) / statistics.median(took))
"""


class Sizes:
    def __init__(self, quick):
        self.insert_rows = 20_000 if quick else 500_000
        self.scan_jobs = 400 if quick else 40_000  # 300 MB
        self.query_jobs = 1_000 if quick else 100_000
        self.work_rows = 2_000 if quick else 100_000
        self.ladder_jobs = [0, 100, 1_000] if quick else [0, 10_000, 100_000]
        self.dump_jobs = 100 if quick else 10_000  # 76 MB
        self.large_jobs = 2_000 if quick else 260_000  # nearly 2 GB

    def all_jobs(self):
        return sorted({*self.ladder_jobs, self.scan_jobs, self.query_jobs, self.dump_jobs,
                       self.large_jobs})


class Bench:
    def __init__(self, programs, sizes, repeat, folder):
        self.admin = os.path.join(programs, "mdbadm")
        self.rows = os.path.join(programs, "bench_rows")
        self.window_program = os.path.join(programs, "bench_window")
        self.sizes, self.repeat, self.folder = sizes, repeat, folder
        self.table = Table()
        self.samples = {}
        self.growth = {name: {} for name in TITLES}
        self.limits = []

    def path(self, name):
        return os.path.join(self.folder, name)

    def sample(self, jobs):
        """The folder of a pair at version 2 with so many jobs."""
        if jobs not in self.samples:
            folder = self.path(f"jobs{jobs}")
            made = run([self.admin, "sample", folder, "--jobs", str(jobs)])
            self.samples[jobs] = folder
            print(f"  sample of {jobs} jobs: {size_mb(data_of(folder)):.0f} MB in "
                  f"{seconds(made.wall)}, CPU {seconds(made.cpu)}", flush=True)
            for name in os.listdir(folder):
                sync(os.path.join(folder, name))
        return self.samples[jobs]

    # ---- what the machine can do

    def measure_limits(self):
        # In a process of its own: what this one takes at its peak counts for all
        # programs that it starts.
        copied = float(subprocess.run([sys.executable, "-c", COPYING], capture_output=True,
                                      text=True, check=True).stdout)
        syncs = []
        with open(self.path("sync"), "wb", buffering=0) as file:
            for _ in range(21):
                file.write(bytes(PAGE))
                began = time.perf_counter()
                os.fsync(file.fileno())
                syncs.append(time.perf_counter() - began)
        file = data_of(self.sample(self.sizes.scan_jobs))
        reads = []
        for _ in range(3):
            began = time.perf_counter()
            warm(file)
            reads.append(time.perf_counter() - began)
        self.sync_time = statistics.median(syncs)
        self.read_rate = size_mb(file) / min(reads)
        self.limits = [
            f"copying memory: {copied / 1e9:.1f} GB/s",
            f"reading a file that is in the system's cache: "
            f"{self.read_rate:.0f} MB/s",
            f"a sync of one page appended: {seconds(self.sync_time)}",
        ]
        for line in self.limits:
            print("  " + line, flush=True)

    # ---- the comparisons

    def scan(self):
        file = data_of(self.sample(self.sizes.scan_jobs))
        warm(file)
        for table, goal in (("Data_角_単体設定", 8), ("Data_角_㎡数", 6)):
            ours = [self.admin, "rows", file, table]
            theirs = ["mdb-export", "-d", "\t", "-Q", "-0", "\\N", "-T", "%Y-%m-%d %H:%M:%S",
                      file, table]
            rows = compare_lines(ours, theirs)
            mine, other = in_turns(self.repeat, lambda: run(ours), lambda: run(theirs))
            self.table.add(f"all {rows:,} rows of a table of {size_mb(file):.0f} MB, "
                           f"{self.columns(file, table)} columns", mine, "mdb-export", other,
                           f"{rows / mine.wall / 1e6:.2f} M rows/s; output the same", goal)

    def columns(self, file, table):
        text = subprocess.run([self.admin, "columns", file, table], capture_output=True,
                              check=True).stdout
        return len(text.splitlines()) - 1

    def insert(self):
        count = self.sizes.insert_rows
        text, script = self.path("rows.tsv"), self.path("rows.sql")
        with open(text, "wb") as out:
            subprocess.run([self.rows, "text", str(count)], stdout=out, check=True)
        with open(text, encoding="utf-8") as lines, open(script, "w", encoding="utf-8") as out:
            out.write("BEGIN;\n")
            for line in lines:
                number, name, group, amount, day = line.rstrip("\n").split("\t")
                out.write(f"INSERT INTO t VALUES({number},'{name}',{group},{amount},{day});\n")
            out.write("COMMIT;\n")
        for key, goal, index in (("none", 2.5, ""),
                                 ("long", 2, "CREATE UNIQUE INDEX i ON t(id);"),
                                 ("text", 4, "CREATE INDEX i ON t(name);")):
            def ours():
                return run([self.rows, "insert", key, self.fresh("insert.mdb"), str(count)])

            def theirs(statements):
                made = self.fresh("insert.db")
                subprocess.run(["sqlite3", made, "CREATE TABLE t(id INT, name TEXT, code INT, "
                                f"amount REAL, day REAL); {index}"], check=True)
                return run(["sqlite3", made], script) if statements else run(
                    ["sqlite3", made, ".mode tabs", f".import {text} t"])

            mine, statements, imported = in_turns(self.repeat, ours, lambda: theirs(True),
                                                  lambda: theirs(False))
            what = f"insert {count:,} rows, " + {"none": "no index", "long": "Long key",
                                                 "text": "Japanese text key"}[key]
            self.table.add(what, mine, "sqlite3, statements", statements,
                           f"{count / mine.wall / 1e3:.0f} k rows/s")
            self.table.add(what, mine, "sqlite3, .import", imported,
                           f"theirs {count / imported.wall / 1e3:.0f} k rows/s", goal)

    def fresh(self, name):
        path = self.path(name)
        if os.path.exists(path):
            os.remove(path)
        return path

    def ladders(self):
        """Fresh ones beside the start of the program; those with jobs beside fresh ones."""
        work = self.path("ladder")
        os.makedirs(work, exist_ok=True)
        fresh, turns = {}, max(self.repeat, 9)
        for jobs in self.sizes.all_jobs():
            for name in ("Data.mdb", "展開Data.mdb"):
                growth_only = jobs not in self.sizes.ladder_jobs
                if growth_only and name != "Data.mdb":
                    continue
                source = os.path.join(self.sample(jobs), name)
                ladder = self.ladder_of(source, os.path.join(work, f"{jobs}{name}"))
                start = lambda: run([self.admin, "--version"])
                other = fresh.setdefault(name, ladder)
                took, beside = in_turns(turns, ladder, start if jobs == 0 else other)
                if name == "Data.mdb":
                    self.grow("ladder", jobs, {
                        "all time": took.wall, "processor time": took.cpu,
                        f"{SYNCS} syncs of one page": SYNCS * self.sync_time})
                if growth_only:
                    continue
                goal = (0.5 if jobs == 0 else 1 / 1.1) if name == "Data.mdb" else None
                self.table.add(f"ladder of {name}, {jobs:,} jobs, {size_mb(source):.0f} MB", took,
                               "mdbadm --version" if jobs == 0 else "that of 0 jobs", beside,
                               f"{took.pages_read:.0f} pages read, "
                               f"{took.pages_written:.0f} written", goal, by="cpu")
                if jobs == 0 and name == "Data.mdb":
                    self.window(ladder, source, os.path.join(work, "Data.mdb"))
        shutil.rmtree(work)

    def ladder_of(self, source, target):
        """One run of the ladder on a copy that is there before and afterwards."""
        shutil.copyfile(source, target)
        os.sync()  # what was written before, too: a save would wait for it

        def ladder():
            took = run([self.admin, "upgrade", target, "--kind",
                        "tenkai" if "展開" in target else "data"])
            restore(source, target)
            return took
        return ladder

    def window(self, ladder, source, target):
        """From the press to the caption, in the window's own time."""
        if not os.path.exists(self.window_program):
            print("  no bench_window: the window is not measured", flush=True)
            return

        def press():
            shutil.copyfile(source, target)
            sync(target)
            shown = subprocess.run([self.window_program, target], capture_output=True, text=True,
                                   check=True, env={**os.environ, "QT_QPA_PLATFORM": "offscreen"})
            return Usage(float(shown.stdout) / 1e3)
        pressed, ran = in_turns(max(self.repeat, 9), press, ladder)
        self.table.add("window, from the press on DB更新 to Ver 27", pressed, "mdbadm upgrade", ran,
                       "theirs is the whole run of a program", 0.5)

    def grow(self, plot_name, jobs, points):
        for name, value in points.items():
            self.growth[plot_name].setdefault(name, []).append((jobs, value))

    def large(self):
        file = data_of(self.sample(self.sizes.large_jobs))
        warm(file)
        shown, = in_turns(21, lambda: run([self.admin, "info", file]))
        self.table.add(f"version of a file of {size_mb(file):.0f} MB", shown,
                       note=f"{shown.pages_read:.0f} pages read, libraries included")
        for jobs in self.sizes.all_jobs():
            file = data_of(self.sample(jobs))
            warm(file)
            checked, alone, scanned, summed = in_turns(
                min(self.repeat, 3), lambda: run([self.admin, "check", file]),
                lambda: run([self.admin, "check", "--jobs", "1", file]),
                lambda: run([self.admin, "rows", file, "Data_角_単体設定"]),
                lambda: run(["md5sum", file]))
            reading = size_mb(file) / self.read_rate
            self.grow("check", jobs, {"check": checked.wall, "one thread": alone.wall,
                                      "reading the file": reading})
            self.grow("scan", jobs, {"rows": scanned.wall, "reading the file": reading})
            if jobs == self.sizes.large_jobs:
                cores = os.cpu_count()
                for what, took, goal in ((f"{cores} cores", checked, 1.5 if cores > 1 else 0.9),
                                         ("one thread", alone, 0.9)):
                    self.table.add(f"check of it, {what}", took, "md5sum", summed,
                                   f"{size_mb(file) / took.wall:.0f} MB/s", goal, 64)

    def compaction(self):
        for jobs in (self.sizes.scan_jobs, self.sizes.large_jobs):
            file = data_of(self.sample(jobs))
            warm(file)
            large = jobs == self.sizes.large_jobs
            copied, compacted = in_turns(
                min(self.repeat, 3), lambda: run(["cp", file, self.fresh("copy.mdb")]),
                lambda: run([self.admin, "compact", file, self.fresh("compact.mdb")]))
            self.table.add(f"compact a file of {size_mb(file):.0f} MB", compacted, "cp", copied,
                           f"{size_mb(file) / compacted.wall:.0f} MB/s, synced and checked; "
                           "cp is neither", None if large else 1 / 3, 64)
            self.fresh("copy.mdb")
            self.fresh("compact.mdb")

    def recovery(self):
        source, file = data_of(self.sample(self.sizes.scan_jobs)), self.fresh("broken.mdb")
        shutil.copyfile(source, file)
        with open(file, "r+b") as broken:  # the catalog
            broken.seek(2 * PAGE)
            broken.write(bytes(PAGE))
        sync(file)
        warm(file)
        copied, recovered = in_turns(
            min(self.repeat, 3), lambda: run(["cp", file, self.fresh("copy.mdb")]),
            lambda: run([self.admin, "recover", file, self.fresh("new.mdb"), "--kind", "data"],
                        statuses=(0, 5)))
        self.table.add(f"recover a file of {size_mb(file):.0f} MB without its catalog", recovered,
                       "cp", copied, f"{size_mb(file) / recovered.wall:.0f} MB/s, synced and "
                       "checked; cp is neither", 1 / 6, 100)
        for name in ("broken.mdb", "copy.mdb", "new.mdb"):
            self.fresh(name)

    def dump(self):
        file = data_of(self.sample(self.sizes.dump_jobs))
        warm(file)
        ours = f"'{self.admin}' dump '{file}'"
        theirs = (f"mdb-schema '{file}' sqlite; mdb-tables -1 '{file}' | while read -r t; "
                  f"do mdb-export -I sqlite '{file}' \"$t\"; done")
        mine, other = in_turns(self.repeat, lambda: run(["bash", "-c", ours]),
                               lambda: run(["bash", "-c", theirs]))
        what = f"dump of {size_mb(file):.0f} MB"
        self.table.add(what, mine, "mdb-schema, mdb-export", other, "the text alone", 3)

        def into(command):
            target = self.fresh("dump.db")
            return run(["bash", "-c", f"(echo 'BEGIN;'; {command}; echo 'COMMIT;') | "
                        f"sqlite3 '{target}'"], statuses=(0, 1))
        mine, other = in_turns(min(self.repeat, 3), lambda: into(ours), lambda: into(theirs))
        self.table.add(f"{what} into sqlite3", mine, "mdb-schema, mdb-export", other,
                       "sqlite3 takes most of both")
        self.fresh("dump.db")

    # ---- queries

    QUERIES = (
        ("pieces of the chosen jobs, 17 tables joined", "拾い転送_クエリー"),
        ("accessories of the chosen jobs, 11 tables joined", "拾い転送_副資材"),
        ("chosen rows of the work table", "拾い転送_データ転記"),
        ("sums of the work table, 22 in 4 groupings", "拾い転送_データ転記_追加"),
        ("sums of the work table, 23 in 5 groupings", "拾い転送_データ転記Add"),
        ("areas summed by site, 3 tables joined whole",
         "SELECT [Data_ﾒｲﾝ_設定].物件名ID, Sum(Data_角_㎡数.[㎡数]) FROM (Data_角_単体設定 INNER "
         "JOIN Data_角_㎡数 ON Data_角_単体設定.[入力ID] = Data_角_㎡数.[入力ID]) INNER JOIN "
         "[Data_ﾒｲﾝ_設定] ON Data_角_単体設定.[ﾃﾞｰﾀID] = [Data_ﾒｲﾝ_設定].[ﾃﾞｰﾀID] "
         "GROUP BY [Data_ﾒｲﾝ_設定].物件名ID"),
        ("pieces counted and summed by shape",
         "SELECT 形状名ID, Count(*), Sum(数量) FROM Data_角_単体設定 GROUP BY 形状名ID"),
    )

    def queries(self):
        jobs = self.sizes.query_jobs
        file = self.fresh("Data.mdb")
        shutil.copyfile(data_of(self.sample(jobs)), file)
        run([self.admin, "upgrade", file])
        run([self.rows, "transfer", file, str(jobs), "10", str(self.sizes.work_rows)])
        sync(file)
        other = self.fresh("queries.db")
        texts = self.query_texts(file)
        loaded = self.load(file, other, texts.values())
        print(f"  tables exported into sqlite3 in {seconds(loaded)}", flush=True)
        warm(file)
        warm(other)
        for what, query in self.QUERIES:
            statement = folded(texts.get(query, query)).replace("=True", "='True'")
            ours = [self.admin, "sql", file, query]
            theirs = ["sqlite3", "-tabs", other, statement]
            rows = compare_sets(ours, theirs)
            mine, others = in_turns(self.repeat, lambda: run(ours), lambda: run(theirs))
            self.table.add(what, mine, "sqlite3", others, f"{rows:,} rows, the same", 3, 100)

    def query_texts(self, file):
        listed = subprocess.run([self.admin, "queries", file, "--json"], capture_output=True,
                                check=True).stdout
        return {each["query"]: each["text"] for each in json.loads(listed)}

    def load(self, file, target, texts):
        """Exports the tables that the queries name; nulls become the text \\N."""
        names = [each["table"] for each in json.loads(
            subprocess.run([self.admin, "tables", file, "--json"], capture_output=True,
                           check=True).stdout)]
        asked = " ".join(folded(text) for text in [*texts, *(query for _, query in self.QUERIES)])
        began = time.perf_counter()
        for name in names:
            if folded_name(name) not in asked:
                continue
            columns = json.loads(subprocess.run([self.admin, "columns", file, name, "--json"],
                                                capture_output=True, check=True).stdout)
            declared = ", ".join(f"[{folded_name(each['column'])}] {affinity(each['type'])}"
                                 for each in columns)
            subprocess.run(["sqlite3", target], check=True, text=True, stdout=subprocess.DEVNULL,
                           input=f"CREATE TABLE [{folded_name(name)}]({declared});\n"
                                 ".mode ascii\n.separator \"\\t\" \"\\n\"\n"
                                 f".import --skip 1 \"|'{self.admin}' rows '{file}' '{name}'\" "
                                 f"\"{folded_name(name)}\"\n")
        return time.perf_counter() - began


def data_of(folder):
    return os.path.join(folder, "Data.mdb")


# ---- comparing outputs

WHOLE = re.compile(rb"(\d)\.0+(?=\t|$)")


def lines_of(command):
    process = subprocess.Popen(command, stdout=subprocess.PIPE)
    for line in process.stdout:
        yield WHOLE.sub(rb"\1", line.rstrip(b"\n"))
    if process.wait() != 0:
        sys.exit(f"{' '.join(command)}: status {process.returncode}")


def compare_lines(ours, theirs):
    """The number of rows below the line of names; ends the run where one differs."""
    other, count = lines_of(theirs), 0
    for line in lines_of(ours):
        expected = next(other, None)
        if line != expected:
            sys.exit(f"row {count} differs:\n{line}\n{expected}")
        count += 1
    if next(other, None) is not None:
        sys.exit("the other program has more rows")
    return count - 1


def compare_sets(ours, theirs):
    """The same for rows in any order; the first line of ours holds names."""
    def summed(lines):
        count, total = 0, 0
        for line in lines:
            count += 1
            total += hash(line)
        return count, total
    mine = lines_of(ours)
    next(mine)
    found, expected = summed(mine), summed(lines_of(theirs))
    if found != expected:
        sys.exit(f"rows differ: {found[0]} and {expected[0]} of {' '.join(ours)}")
    return found[0]


# ---- names for sqlite3, to which letters of another width are other letters

def folded_name(name):
    wide = {ord("("): "（", ord(")"): "）"}
    return folded_letters(name).translate(wide)


def folded_letters(text):
    return "".join(chr(ord(c) - 0xFEE0) if "０" <= c <= "９" or "Ａ" <= c <= "Ｚ" or "ａ" <= c <= "ｚ"
                   else c for c in text)


def folded(text):
    return re.sub(r"\[[^\]]*\]", lambda name: folded_name(name.group()), folded_letters(text))


def affinity(column_type):
    if column_type in ("Text", "Memo", "DateTime"):
        return "TEXT"
    return "REAL" if column_type in ("Double", "Single") else "INTEGER"


# ---- the report

def first_line(*command):
    try:
        text = subprocess.run(command, capture_output=True, text=True, check=False)
    except OSError:
        return "not there"
    return ((text.stdout or text.stderr).splitlines() or [""])[0]


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        names = [line.split(":", 1)[1].strip() for line in info if line.startswith("model name")]
    with open("/proc/meminfo", encoding="ascii") as info:
        memory = int(info.readline().split()[1]) / 1e6
    return [
        f"{len(names)} × {names[0] if names else platform.machine()}, {memory:.0f} GB of memory, "
        f"Linux {platform.release()}",
        f"{datetime.date.today()}; {first_line('g++', '--version')}; "
        f"{first_line('mdb-export', '--version')}; "
        f"SQLite {first_line('sqlite3', '--version').split(' ')[0]}",
    ]


def write_docs(folder, bench):
    block = "\n".join(f"- {line}" for line in [*machine(), *bench.limits])
    block += "\n\n" + bench.table.text()
    page = os.path.join(folder, "performance.md")
    begin, end = "<!-- figures -->\n", "<!-- end of figures -->\n"
    with open(page, encoding="utf-8") as file:
        text = file.read()
    if begin in text and end in text:
        head, rest = text.split(begin)
        with open(page, "w", encoding="utf-8") as file:
            file.write(head + begin + block + "\n" + end + rest.split(end)[1])
    for name, title in TITLES.items():
        plot.write(os.path.join(folder, f"performance_{name}.svg"), title, "jobs", "seconds",
                   list(bench.growth[name].items()))


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("programs")
    arguments.add_argument("--quick", action="store_true")
    arguments.add_argument("--docs")
    arguments.add_argument("--only", default="")
    arguments.add_argument("--repeat", type=int, default=5)
    options = arguments.parse_args()
    with tempfile.TemporaryDirectory(prefix="dbu-bench-") as folder:
        bench = Bench(os.path.abspath(options.programs), Sizes(options.quick), options.repeat,
                      folder)
        parts = {"limits": bench.measure_limits, "insert": bench.insert, "scan": bench.scan,
                 "ladders": bench.ladders, "queries": bench.queries, "large": bench.large,
                 "compaction": bench.compaction, "recovery": bench.recovery,
                 "dump": bench.dump}
        for name, part in parts.items():
            if options.only in name or name == "limits":  # the plots need them
                print(f"== {name}", flush=True)
                part()
        print("\n".join(["", *machine(), *bench.limits, "", bench.table.text()]))
        if options.docs and not options.only:
            write_docs(options.docs, bench)


if __name__ == "__main__":
    main()
