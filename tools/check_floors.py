#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the include lines against the floors of the house.

A folder may include itself and the folders its row names; every include of ours is spelled from
src/ or from the top of the tree; the library includes nothing but itself and the standard library.
"""
import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent

SELECT_AND_BELOW = ["platform", "frame", "dataset", "select"]
ANALYSES = ["chart", "capability", "pareto", "summary"]
ENGINE_BASE = ["platform", "engine/Embedded.h"]  # the face that the engine shows to hosts
CALCULATION = ENGINE_BASE + ["engine/store", "engine/statistics"]
LIBRARY = SELECT_AND_BELOW + ANALYSES

# Folder of the tree: the include paths it may name besides its own. The longest match wins.
FLOORS = {
    "src/platform": [],
    "src/frame": ["platform"],
    "src/dataset": ["platform", "frame"],
    "src/select": ["platform", "frame", "dataset"],
    **{f"src/{name}": SELECT_AND_BELOW for name in ANALYSES},
    "engine/statistics": ["platform"],
    "engine/store": ENGINE_BASE,
    "engine/dom": ENGINE_BASE,
    "engine/charts": CALCULATION,
    "engine/capability": CALCULATION,
    "engine/pareto": CALCULATION,
    "engine/compliance": CALCULATION,
    "engine": ["platform"],
    "host/render": LIBRARY,
    "host": LIBRARY + ["engine"],
    "tests": LIBRARY + ["engine", "host"],
    "bench": LIBRARY + ["engine", "host", "tests"],
}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
STANDARD = re.compile(r"^[a-z_]+[0-9]*$")


def folder_of(path: str) -> str | None:
    """The longest row of FLOORS that the path lies in."""
    rows = [row for row in FLOORS if path.startswith(row + "/")]
    return max(rows, key=len, default=None)


def complaint(row: str, quote: str, target: str) -> str | None:
    in_library = row.startswith("src/")
    own = row.removeprefix("src/")
    if quote == "<":
        if (TOP / target).is_file() or (TOP / "src" / target).is_file():
            return "a file of ours goes in quotes"
        if in_library and not STANDARD.match(target):
            return "the library includes the standard library alone"
        return None
    if not (TOP / target).is_file() and not (TOP / "src" / target).is_file():
        return "no such file, spelled from src/ or from the top"
    if target.startswith("src/"):
        return "spelled from src/, without src/"
    if any(target == floor or target.startswith(floor + "/") for floor in [own, *FLOORS[row]]):
        return None
    return f"{row} may not include it"


def main() -> int:
    count = 0
    for top_folder in ("src", "engine", "host", "tests", "bench"):
        for path in sorted((TOP / top_folder).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            name = path.relative_to(TOP).as_posix()
            if name.startswith("tests/consumer/"):  # a project of its own, sees the package only
                continue
            row = folder_of(name)
            if row is None:
                print(f"{name}: its folder is not among the floors")
                count += 1
                continue
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                found = INCLUDE.match(line)
                reason = found and complaint(row, *found.groups())
                if reason:
                    print(f'{name}:{number}: "{found.group(2)}": {reason}')
                    count += 1
    return 1 if count else 0


if __name__ == "__main__":
    sys.exit(main())
