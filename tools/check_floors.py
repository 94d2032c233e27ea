#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the include lines against the layers of the tree.

A folder may include itself and the folders its row names; every include of ours is spelled from
src/ or from the top of the tree; the library includes nothing but itself and the standard library.
Of the engine, hosts see its public headers alone. A header and its own source are one unit; no
units include one another in a circle.

--self-test plants wrong trees in a temporary folder and fails unless each fault is found.
"""
import pathlib
import re
import sys
import tempfile

TOP = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ("src", "system", "engine", "host", "tests", "bench")

SELECT_AND_BELOW = ["platform", "frame", "dataset", "select"]
ANALYSES = ["chart", "capability", "pareto", "summary"]
LIBRARY = SELECT_AND_BELOW + ANALYSES

# What the engine shows: hosts include these of its headers and no other.
ENGINE_INTERFACE = ["engine/Embedded.h", "engine/QualityDatabase.h", "engine/PostgreSQL.h",
                    "engine/Webhooks.h", "engine/Studies.h"]

SQL = ["platform", "system", "engine/time", "engine/sql"]
LOG = SQL + ["engine/schema", "engine/catalogue", "engine/write/log"]
CHUNKS = SQL + ["engine/schema", "engine/catalogue", "engine/chunks"]
STORE = sorted({*LOG, *CHUNKS, "engine/statistics", "engine/store"})
CALCULATION = ["platform", "system", "engine/time", "engine/catalogue", "engine/statistics", "engine/chunks", "engine/store"]
WRITE = STORE + ["engine/write", "engine/write/chunks"]
FAMILIES = ["chart", "capability", "pareto", "states", "compliance", "events", "data"]
# Of the host for Windows; the interfaces are what the build makes of the type libraries.
SERVER = LIBRARY + ["system"]
FAMILY_BASE = LIBRARY + ["host/render/core", "host/render/data"]

# Folder of the tree: the include paths it may name besides its own. The longest match wins.
LAYERS = {
    "src/platform": [],
    "src/frame": ["platform"],
    "src/dataset": ["platform", "frame"],
    "src/select": ["platform", "frame", "dataset"],
    **{f"src/{name}": SELECT_AND_BELOW for name in ANALYSES},
    "system": [],
    "engine/time": ["platform"],
    "engine/statistics": ["platform"],
    "engine/dom": ["platform"],
    "engine/sql": SQL,
    "engine/schema": SQL,
    "engine/catalogue": SQL + ["engine/schema", "engine/statistics"],
    "engine/write/log": LOG,
    "engine/chunks": CHUNKS,
    "engine/write/chunks": CHUNKS,
    "engine/store": STORE + ["engine/write/chunks"],
    **{f"engine/{name}": CALCULATION for name in ("charts", "capability", "pareto", "compliance")},
    "engine/write": STORE + ["engine/write/chunks"],
    "engine/write/alarms": STORE + ["engine/charts", "engine/compliance"],
    "engine/write/import": WRITE + ["engine/write/alarms", "engine/write/change"],
    "engine/write/record": WRITE + ["engine/write/import", "engine/write/alarms"],
    "engine/write/change": WRITE,
    "engine/hooks": ["platform", "system"],
    "engine/write/deliver": STORE + ["engine/hooks"],
    "engine/write/limits": WRITE + ["engine/charts", "engine/write/change"],
    "engine/audit": STORE,
    "engine/studies": CALCULATION + ["engine/charts", "engine/capability"],
    "engine": ["platform", "system"],
    "host/render/core": LIBRARY,
    **{f"host/render/{name}": FAMILY_BASE for name in FAMILIES},
    "host/render/states": FAMILY_BASE + ["host/render/events"],
    "host/render/study": FAMILY_BASE
    + ["host/render/capability", "host/render/chart", "engine/Studies.h"],
    "host/render": LIBRARY,
    "host/cli": LIBRARY + ENGINE_INTERFACE + ["system", "host/render"],
    "host/windows/com": SERVER,
    "host/windows/native": SERVER + ["host/windows/com"],
    "host/windows/msxml": SERVER + ["host/windows/com"],
    "host/windows/external": SERVER + [f"host/windows/{name}" for name in ("com", "native", "msxml")],
    "host/windows/tables": [],
    "host/windows/runtime": [],
    "host/windows/analysis": SERVER + [f"host/windows/{name}" for name in
                                       ("com", "generated", "native", "external", "msxml")],
    "host/windows/generated": SERVER + [f"host/windows/{name}" for name in
                                        ("com", "tables", "analysis", "engine")],
    "host/windows/engine": SERVER + ENGINE_INTERFACE + [f"host/windows/{name}" for name in
                                                        ("com", "generated", "native")],
    "tests": LIBRARY + ["system", "engine", "host"],
    "bench": LIBRARY + ["system", "engine", "host", "tests"],
}
# A new folder here needs a row of its own.
FLAT = ["engine", "engine/write"]
# A project of its own, which includes the installed headers.
CONSUMER = "tests/consumer/"
# Each of these libraries is named in its folder alone.
LIBRARY_HEADERS = {"sqlite3.h": "engine/sql/sqlite/", "libpq-fe.h": "engine/sql/postgres/",
                   "curl/curl.h": "engine/hooks/curl/"}
# Written by the build.
GENERATED = ["host/cli/build_info.h", "host/windows/typelib/orvSPCAnalysis6.h",
             "host/windows/typelib/orvEngine.h",
             *(f"tests/windows/client/{name}.inc" for name in
               ("com_members", "com_creators", "plain_headers", "plain_members", "plain_creators"))]

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
STANDARD = re.compile(r"^[a-z_]+[0-9]*$")


def folder_of(path: str) -> str | None:
    """The longest row of LAYERS that the path lies in."""
    folder = path.rpartition("/")[0]
    rows = [row for row in LAYERS
            if folder == row or folder.startswith(row + "/") and row not in FLAT]
    return max(rows, key=len, default=None)


def resolved(top: pathlib.Path, target: str) -> str | None:
    """The included file of ours, from the top of the tree."""
    for name in (target, "src/" + target):
        if (top / name).is_file():
            return name
    return None


def complaint(top: pathlib.Path, name: str, quote: str, target: str) -> str | None:
    if name.startswith(CONSUMER):
        header = target.removeprefix("orvSPCAnalysis6/")
        if header.startswith("engine/") and header not in ENGINE_INTERFACE:
            return "of the engine, hosts include " + " and ".join(ENGINE_INTERFACE) + " alone"
        return None
    row = folder_of(name)
    in_library = row.startswith("src/")
    if quote == "<":
        if resolved(top, target):
            return "a file of ours goes in quotes"
        if in_library and not STANDARD.match(target):
            return "the library includes the standard library alone"
        folder = LIBRARY_HEADERS.get(target)
        if folder and not name.startswith((folder, "tests/", "bench/")):
            return f"{folder} alone names that library"
        return None
    if target in GENERATED:
        return None
    if not resolved(top, target):
        return "no such file, spelled from src/ or from the top"
    if target.startswith("src/"):
        return "spelled from src/, without src/"
    own = row.removeprefix("src/")
    if any(target == layer or target.startswith(layer + "/") for layer in [own, *LAYERS[row]]):
        return None
    if name.startswith("host/") and target.startswith("engine/"):
        return "of the engine, hosts include " + " and ".join(ENGINE_INTERFACE) + " alone"
    return f"{row} may not include it"


def circles(users: dict[str, set[str]]) -> list[list[str]]:
    """The strongly connected components of more than one unit (Tarjan's algorithm)."""
    found, order, low, open_units = [], {}, {}, []

    def visit(unit: str) -> None:
        order[unit] = low[unit] = len(order)
        open_units.append(unit)
        for used in sorted(users.get(unit, ())):
            if used not in order:
                visit(used)
            if used in open_units:
                low[unit] = min(low[unit], low[used])
        if low[unit] == order[unit]:
            circle = open_units[open_units.index(unit):]
            del open_units[open_units.index(unit):]
            if len(circle) > 1:
                found.append(sorted(circle))

    sys.setrecursionlimit(10000)
    for unit in sorted(users):
        if unit not in order:
            visit(unit)
    return found


def faults(top: pathlib.Path) -> list[str]:
    """One line for each wrong include and each circle of the tree."""
    result = []
    users: dict[str, set[str]] = {}
    for folder in FOLDERS:
        for path in sorted((top / folder).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            name = path.relative_to(top).as_posix()
            if folder_of(name) is None:
                result.append(f"{name}: its folder is not among the layers")
                continue
            unit = users.setdefault(name.rsplit(".", 1)[0], set())
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                include = INCLUDE.match(line)
                if not include:
                    continue
                quote, target = include.groups()
                reason = complaint(top, name, quote, target)
                if reason:
                    result.append(f'{name}:{number}: "{target}": {reason}')
                file = resolved(top, target)
                if file and quote == '"':
                    unit.add(file.rsplit(".", 1)[0])
    for circle in circles({unit: used for unit, used in users.items()
                           if not unit.startswith(("tests/", "bench/"))}):
        result.append("a circle of " + str(len(circle)) + " units: " + ", ".join(circle))
    return result


# A sound tree, and for each fault the files that bring it in and a part of what is said of them.
SOUND = {
    "src/platform/A.h": "#include <vector>\n",
    "src/platform/B.h": '#include "platform/A.h"\n',
    "src/platform/B.cpp": '#include "platform/B.h"\n#include "platform/A.h"\n',
    "engine/sql/sqlite/C.cpp": '#include <sqlite3.h>\n#include "platform/B.h"\n',
    "engine/store/Store.h": '#include "platform/A.h"\n',
    "engine/charts/Chart.cpp": '#include "engine/store/Store.h"\n',
    "engine/Embedded.h": '#include "platform/A.h"\n',
    "engine/Embedded.cpp": '#include "engine/Embedded.h"\n#include "engine/store/Store.h"\n',
    "host/render/core/Scene.h": '#include "platform/A.h"\n',
    "host/render/chart/View.h": '#include "host/render/core/Scene.h"\n',
    "host/render/pareto/View.h": '#include "host/render/core/Scene.h"\n',
    "host/cli/main.cpp": '#include "engine/Embedded.h"\n#include "host/render/chart/View.h"\n'
                         '#include "host/cli/build_info.h"\n',
    "tests/consumer/main.cpp": "#include <engine/Embedded.h>\n#include <chart/CCAnalysis.h>\n",
}
PLANTED = [
    ({"src/platform/A.h": '#include "platform/B.h"\n'}, "a circle of 2 units"),
    # A header and a source close a circle that no two headers do.
    ({"src/platform/A.cpp": '#include "platform/B.h"\n'}, "a circle of 2 units"),
    ({"src/platform/A.h": '#include "platform/D.h"\n', "src/platform/D.h": '#include "platform/E.h"\n',
      "src/platform/E.cpp": '#include "platform/B.h"\n', "src/platform/E.h": ""},
     "a circle of 4 units"),
    ({"src/platform/A.h": '#include "engine/Embedded.h"\n'}, "src/platform may not include it"),
    ({"src/platform/A.h": "#include <sqlite3.h>\n"}, "standard library alone"),
    ({"src/platform/A.h": '#include "platform/Gone.h"\n'}, "no such file"),
    ({"src/platform/B.h": "#include <platform/A.h>\n"}, "goes in quotes"),
    ({"engine/store/Store.h": '#include "engine/Embedded.h"\n'}, "engine/store may not include it"),
    ({"engine/store/Store.cpp": "#include <sqlite3.h>\n"}, "alone names that library"),
    ({"engine/sql/sqlite/C.cpp": "#include <libpq-fe.h>\n"}, "alone names that library"),
    ({"engine/dom/Dom.cpp": '#include "engine/store/Store.h"\n'}, "engine/dom may not include it"),
    ({"host/cli/main.cpp": '#include "engine/store/Store.h"\n'}, "hosts include"),
    ({"host/render/core/Scene.h": '#include "engine/Embedded.h"\n'}, "hosts include"),
    ({"host/render/chart/View.h": '#include "host/render/pareto/View.h"\n'},
     "host/render/chart may not include it"),
    ({"host/render/core/Scene.h": '#include "host/render/chart/View.h"\n'}, "a circle of 2 units"),
    ({"tests/consumer/main.cpp": "#include <engine/store/Store.h>\n"}, "hosts include"),
    ({"engine/attic/Box.h": '#include "engine/store/Store.h"\n'}, "not among the layers"),
]


def self_test() -> list[str]:
    result = []

    def said_of(files: dict[str, str]) -> list[str]:
        with tempfile.TemporaryDirectory() as folder:
            for name, text in files.items():
                path = pathlib.Path(folder) / name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text, encoding="utf-8")
            return faults(pathlib.Path(folder))

    for line in said_of(SOUND):
        result.append("said of the sound tree: " + line)
    for files, expected in PLANTED:
        said = said_of(SOUND | files)
        if not any(expected in line for line in said):
            result.append(f"{files}: expected '{expected}', said {said}")
    return result


def main() -> int:
    found = self_test() if sys.argv[1:] == ["--self-test"] else faults(TOP)
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
