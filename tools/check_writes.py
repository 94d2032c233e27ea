#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Finds statements of SQL that write, outside engine/write.

Whatever changes a database goes through one transaction that also adds to its log, so those texts
belong together.

--self-test plants trees in a temporary folder and fails unless each fault is found.
"""
import pathlib
import re
import sys
import tempfile

TOP = pathlib.Path(__file__).resolve().parent.parent
# A text that begins such a statement, or what makes one of a table and its columns; words in
# comments are none.
WRITING = re.compile(r'"\s*(?:INSERT\s+(?:OR\s+\w+\s+)?INTO|UPDATE|DELETE\s+FROM|REPLACE\s+INTO|'
                     r'TRUNCATE)\s|\bInsert(?:Many|New|Into)\(')
SEARCHED = ("src", "system", "engine", "host")
FOLDER = "engine/write/"
# What every database does beneath the engine.
BENEATH = ("engine/sql/", "engine/schema/")


def writes(text: str) -> bool:
    return any(WRITING.search(line) for line in text.splitlines()
               if not line.lstrip().startswith("//"))


def faults(top: pathlib.Path) -> list[str]:
    found = []
    for path in sorted(path for folder in SEARCHED for path in (top / folder).rglob("*")):
        name = path.relative_to(top).as_posix()
        if path.suffix not in (".h", ".cpp") or name.startswith((FOLDER, *BENEATH)):
            continue
        if writes(path.read_text(encoding="utf-8")):
            found.append(f"{name}: statements that write go to {FOLDER}")
    return found


INSERT = 'Query(db, "INSERT INTO part(id) VALUES(?1)", 1).Run();\n'
ELSEWHERE = "engine/store/A.cpp"
# Files, and whether there is a fault in ELSEWHERE.
PLANTED = [
    ({}, False),
    ({"engine/write/A.cpp": INSERT, "engine/write/log/A.cpp": INSERT, "engine/sql/B.cpp": INSERT},
     False),
    ({ELSEWHERE: "// An INSERT for each row.\n"}, False),
    ({ELSEWHERE: '// "INSERT INTO row VALUES(?1)"\n'}, False),
    ({ELSEWHERE: 'f("SELECT a FROM updates");\n'}, False),
    ({ELSEWHERE: INSERT}, True),
    ({ELSEWHERE: 'f("UPDATE part SET id = 1");\n'}, True),
    ({ELSEWHERE: 'f("DELETE FROM part");\n'}, True),
    ({ELSEWHERE: 'db.InsertMany("part(id)", kFail);\n'}, True),
    ({ELSEWHERE: 'f("INSERT OR REPLACE INTO log VALUES(1)");\n'}, True),
]


def self_test() -> list[str]:
    result = []
    for files, is_fault in PLANTED:
        with tempfile.TemporaryDirectory() as folder:
            for name, text in files.items():
                path = pathlib.Path(folder) / name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text, encoding="utf-8")
            found = faults(pathlib.Path(folder))
        if [line.startswith(ELSEWHERE) for line in found] != [True] * is_fault:
            result.append(f"{files}: {found}")
    return result


def main() -> int:
    found = self_test() if sys.argv[1:] == ["--self-test"] else faults(TOP)
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
