#!/usr/bin/env python3
"""How many rows come out of damaged files: damage_table.py MDBADM [--jobs N] [--seed N]

Makes a sample, damages copies of it in several ways, runs `mdbadm recover` on each and
prints the table of docs/recovery.md. A row counts as intact if the page that it stands
on, and the one that it moved to, are as they were."""

import argparse
import json
import os
import random
import struct
import subprocess
import tempfile

PAGE, SECTOR = 4096, 512
ROWS, DEFINITION, NODE, LEAF, BITMAP = 0x101, 0x102, 0x103, 0x104, 0x105
USER_TABLE = 0x4E
MOVED, HIDDEN = 0x4000, 0x8000


def u16(page, at):
    return struct.unpack_from("<H", page, at)[0]


def u32(page, at):
    return struct.unpack_from("<I", page, at)[0]


class Image:
    """A sound file, page by page."""

    def __init__(self, data):
        self.data = data
        self.pages = [data[at:at + PAGE] for at in range(0, len(data), PAGE)]
        self.users = {number for number, page in enumerate(self.pages)
                      if u16(page, 0) == DEFINITION and page[0x28] == USER_TABLE}

    def owned_by(self, owner):
        return [number for number, page in enumerate(self.pages)
                if u16(page, 0) in (ROWS, NODE, LEAF) and u32(page, 4) == owner]

    def rows(self):
        """The pages that each row of a user's table stands on."""
        for number, page in enumerate(self.pages):
            if u16(page, 0) != ROWS or u32(page, 4) not in self.users:
                continue
            for slot in range(u16(page, 12)):
                place = u16(page, 14 + 2 * slot)
                if place & HIDDEN:
                    continue
                needed = {number}
                if place & MOVED:
                    needed.add(u32(page, place & 0x1FFF) >> 8)
                yield needed


def without(image, numbers):
    data = bytearray(image.data)
    for number in numbers:
        data[number * PAGE:(number + 1) * PAGE] = bytes(PAGE)
    return bytes(data)


def random_sectors(image, dice):
    data = bytearray(image.data)
    count = len(data) // SECTOR
    for sector in dice.sample(range(count), count * 2 // 100):
        data[sector * SECTOR:(sector + 1) * SECTOR] = dice.randbytes(SECTOR)
    return bytes(data)


def damages(image, dice):
    pages = range(len(image.pages))
    maps = [number for number in pages if u16(image.pages[number], 0) == BITMAP]
    users = sorted(image.users)
    yield "all pages of the catalog zeroed", without(image, [2, *image.owned_by(2)])
    yield "page 1 and all pages of maps zeroed", without(image, [1, *image.owned_by(0), *maps])
    yield "page 0 zeroed", without(image, [0])
    yield "2 % of all sectors random", random_sectors(image, dice)
    yield "a third of the definitions zeroed", without(image, dice.sample(users, len(users) // 3))
    yield "1 % of all pages zeroed", without(image, dice.sample(pages, len(pages) // 100))
    yield "last third cut off", image.data[:len(pages) * 2 // 3 * PAGE]


def intact_rows(image, damaged):
    same = [damaged[at:at + PAGE] == page
            for at, page in zip(range(0, len(image.data), PAGE), image.pages)]
    return sum(all(same[number] for number in needed) for needed in image.rows())


def tables_of(admin, file):
    listed = subprocess.run([admin, "tables", file, "--json"], stdout=subprocess.PIPE, check=True)
    return [table["table"] for table in json.loads(listed.stdout)]


def readable(tables, *command):
    """The rows that a program prints of a file, table by table, until it gives up."""
    rows = 0
    for table in tables:
        shown = subprocess.run([*command, table], stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, check=False).stdout
        rows += max(len(shown.splitlines()) - 1, 0)  # without the names of columns
    return rows


def recover(admin, old, new):
    """The rows that come out under a name, those without one, and the status."""
    if os.path.exists(new):
        os.remove(new)
    done = subprocess.run([admin, "recover", old, new, "--kind", "data", "--json"],
                          stdout=subprocess.PIPE, check=False)
    if done.returncode not in (0, 5):
        return 0, 0, done.returncode
    subprocess.run([admin, "check", new], check=True, stdout=subprocess.DEVNULL)
    named = nameless = 0
    for table in json.loads(done.stdout)["tables"]:
        rows = table["rows"] + table["partly"]
        if table["named"] == "none":
            nameless += rows
        else:
            named += rows
    return named, nameless, done.returncode


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("admin")
    arguments.add_argument("--jobs", type=int, default=200)
    arguments.add_argument("--seed", type=int, default=1)
    options = arguments.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([options.admin, "sample", folder, "--data", "2", "--jobs",
                        str(options.jobs)], check=True, stdout=subprocess.DEVNULL)
        with open(os.path.join(folder, "Data.mdb"), "rb") as file:
            image = Image(file.read())
        tables = tables_of(options.admin, os.path.join(folder, "Data.mdb"))
        print(f"{len(image.pages)} pages, {sum(1 for _ in image.rows()):,} rows\n")
        print("| damage | rows on intact pages | `mdbadm rows` | `mdb-export` | `mdbadm recover` | "
              "without a name | status |\n|" + " --- |" * 7)
        old, new = os.path.join(folder, "old.mdb"), os.path.join(folder, "new.mdb")
        for what, data in damages(image, random.Random(options.seed)):
            with open(old, "wb") as file:
                file.write(data)
            named, nameless, status = recover(options.admin, old, new)
            counts = [intact_rows(image, data), readable(tables, options.admin, "rows", old),
                      readable(tables, "mdb-export", old), named + nameless, nameless]
            print(f"| {what} | " + " | ".join(f"{count:,}" for count in counts) + f" | {status} |",
                  flush=True)


if __name__ == "__main__":
    main()
