"""The rooms of the tree, what each may include, and what the sources really include."""

import pathlib
import posixpath
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent

# A room is a folder, or one module where that is a room of its own: the longest name
# that fits a file counts. Each may include itself and what its row says. A floor's own
# row is what lies directly in its folder.
JET = ["jet/base", "jet/storage", "jet/sort", "jet/pages", "jet/row", "jet/index", "jet/table",
       "jet/database", "jet/check", "jet/recover", "jet/compact"]
SQL = ["sql", "sql/text", "sql/stored", "sql/values", "sql/functions", "sql/run"]
BELOW_ADO = JET + SQL
BELOW_DB = BELOW_ADO + ["ado"]
BELOW_APP = BELOW_DB + ["db"]
BELOW_PROGRAMS = BELOW_APP + ["upgrade", "samples"]
ALL = BELOW_PROGRAMS + ["app", "app/assembly", "app/qt", "app/win32", "mdbadm"]

MAY_INCLUDE = {
    "jet/base": [],
    "jet/storage": JET[:1],
    "jet/sort": JET[:1],
    "jet/pages": JET[:2],
    "jet/row": JET[:4],
    "jet/index": JET[:5],
    "jet/table": JET[:6],
    "jet/database": JET[:7],
    "jet/check": JET[:8],
    "jet/recover": JET[:9],
    "jet/compact": JET[:9],
    "sql": JET,
    "sql/text": JET + SQL[:1],
    "sql/stored": JET + SQL[:2],
    "sql/values": JET + SQL[:1],
    "sql/functions": JET + SQL[:1] + ["sql/values"],
    "sql/run": JET + SQL[:5],
    "ado": BELOW_ADO,
    "db": BELOW_DB,
    "upgrade": BELOW_APP,
    "app": BELOW_APP,
    "app/assembly": BELOW_APP + ["upgrade", "app"],
    "app/qt": BELOW_APP + ["app", "app/assembly"],
    "app/win32": BELOW_APP + ["app", "app/assembly"],
    "samples": BELOW_APP + ["upgrade"],
    "mdbadm": BELOW_PROGRAMS,
    "examples": ["jet/base", "jet/storage", "jet/table", "jet/database", "sql"],
    "tests/support": BELOW_DB,
    "tests": ALL + ["tests/support", "fuzz"],
    "fuzz": BELOW_PROGRAMS + ["tests/support"],
    "bench": BELOW_PROGRAMS + ["app", "app/assembly", "app/qt"],
}

INCLUDE = re.compile(r'^ *# *include *["<]([^">]+)[">]', re.M)


def sources():
    """Every source of ours, by its path from the root."""
    listed = subprocess.run(
        ["git", "ls-files", "-co", "--exclude-standard", "*.h", "*.cpp", "*.inc"],
        cwd=ROOT, check=True, capture_output=True, text=True)
    return sorted(path for path in listed.stdout.splitlines()
                  if (ROOT / path).is_file() and path.split("/")[0] in FLOORS)


FLOORS = {room.split("/")[0] for room in MAY_INCLUDE}


def module_of(path):
    """A header and its sources are one module, whatever system they are for."""
    return re.sub(r"(_posix|_windows)?\.\w+$", "", path)


def room_of(path):
    """The room of a file; None for one that lies in no room."""
    module = module_of(path)
    fitting = [room for room in MAY_INCLUDE if module == room or path.startswith(room + "/")]
    return max(fitting, key=len, default=None)


def includes():
    """Pairs of files, the one that includes and the one that is included; only ours."""
    ours = sources()
    known = set(ours)
    for path in ours:
        for included in INCLUDE.findall((ROOT / path).read_text(encoding="utf-8")):
            beside = posixpath.normpath(posixpath.join(posixpath.dirname(path), included))
            for found in {included, beside} & known:
                yield path, found


def circles(arrows):
    """The sets of nodes that reach each other, by Tarjan's walk without recursion."""
    below = {}
    for upper, lower in arrows:
        below.setdefault(upper, set()).add(lower)
        below.setdefault(lower, set())
    index, low, stack, found = {}, {}, [], []
    for root in sorted(below):
        if root in index:
            continue
        walk = [(root, iter(sorted(below[root])))]
        index[root] = low[root] = len(index)
        stack.append(root)
        while walk:
            node, rest = walk[-1]
            for lower in rest:
                if lower not in index:
                    index[lower] = low[lower] = len(index)
                    stack.append(lower)
                    walk.append((lower, iter(sorted(below[lower]))))
                    break
                if lower in stack:
                    low[node] = min(low[node], index[lower])
            else:
                walk.pop()
                if walk:
                    low[walk[-1][0]] = min(low[walk[-1][0]], low[node])
                if low[node] == index[node]:
                    circle = stack[stack.index(node):]
                    del stack[stack.index(node):]
                    if len(circle) > 1:
                        found.append(sorted(circle))
    return found
