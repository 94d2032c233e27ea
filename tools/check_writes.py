#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Finds statements of SQL in engine/ that write, outside engine/write.

Whatever changes a database goes through one transaction that also adds to its log, so those texts
belong together. WRITERS lists the files that still have some of their own, and how many: it only
gets shorter. A statement in another file, or one more in a listed file, is a fault; so is a file
that has fewer than its row says.

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
FOLDER = "engine/write/"
# What every database does beneath the engine.
BENEATH = ("engine/sql/", "engine/schema/")
WRITERS = {
    "engine/QualityDatabase.cpp": 1,
    "engine/alarms/Judge.cpp": 1,
    "engine/alarms/alarm_rows.cpp": 8,
    "engine/change/Comments.cpp": 3,
    "engine/change/Items.cpp": 5,
    "engine/change/StoredRecord.cpp": 1,
    "engine/change/events.cpp": 1,
    "engine/import/Import.cpp": 1,
    "engine/import/import_codes.cpp": 4,
    "engine/import/import_events.cpp": 3,
    "engine/import/import_kind.cpp": 7,
    "engine/import/import_kind.h": 2,
    "engine/import/import_limits.cpp": 3,
    "engine/import/import_net_contents.cpp": 1,
    "engine/import/import_requirements.cpp": 1,
    "engine/import/import_rules.cpp": 4,
    "engine/import/import_values.cpp": 4,
    "engine/import/values_writer.cpp": 3,
    "engine/log/Log.cpp": 4,
    "engine/record/KnownNames.cpp": 6,
    "engine/record/RecordWriter.cpp": 4,
    "engine/record/Recorder.cpp": 3,
    "engine/store/StreamWriter.cpp": 5,
    "engine/store/copy.cpp": 4,
    "engine/store/subgroups.cpp": 6,
}


def statements(text: str) -> int:
    lines = (line for line in text.splitlines() if not line.lstrip().startswith("//"))
    return sum(len(WRITING.findall(line)) for line in lines)


def faults(top: pathlib.Path, writers: dict[str, int]) -> list[str]:
    found = {}
    for path in sorted((top / "engine").rglob("*")):
        name = path.relative_to(top).as_posix()
        if path.suffix not in (".h", ".cpp") or name.startswith((FOLDER, *BENEATH)):
            continue
        count = statements(path.read_text(encoding="utf-8"))
        if count:
            found[name] = count
    result = []
    for name in sorted(found.keys() | writers.keys()):
        count, listed = found.get(name, 0), writers.get(name, 0)
        if count > listed:
            result.append(f"{name}: {count} statements that write, {listed} are listed; they go to "
                          f"{FOLDER}")
        elif count < listed:
            result.append(f"{name}: {count} statements that write; its row says {listed}")
    return result


INSERT = 'Query(db, "INSERT INTO part(id) VALUES(?1)", 1).Run();\n'
PLANTED = [
    ({}, {}, None),
    ({"engine/write/A.cpp": INSERT, "engine/sql/B.cpp": INSERT, "host/C.cpp": INSERT}, {}, None),
    ({"engine/store/A.cpp": INSERT}, {"engine/store/A.cpp": 1}, None),
    ({"engine/store/A.cpp": "// An INSERT for each row.\n"}, {}, None),
    ({"engine/store/A.cpp": "// \"INSERT INTO row VALUES(?1)\"\n"}, {}, None),
    ({"engine/store/A.cpp": INSERT}, {}, "1 statements that write, 0 are listed"),
    ({"engine/store/A.h": INSERT + INSERT}, {"engine/store/A.h": 1}, "2 statements"),
    ({"engine/store/A.cpp": 'f("UPDATE part SET id = 1");\n'}, {}, "0 are listed"),
    ({"engine/store/A.cpp": 'f("DELETE FROM part");\n'}, {}, "0 are listed"),
    ({"engine/A.cpp": 'db.InsertMany("part(id)", kFail);\n'}, {}, "0 are listed"),
    ({"engine/A.cpp": 'f("INSERT OR REPLACE INTO log VALUES(1)");\n'}, {}, "0 are listed"),
    ({}, {"engine/store/A.cpp": 1}, "its row says 1"),
]


def self_test() -> list[str]:
    result = []
    for files, writers, expected in PLANTED:
        with tempfile.TemporaryDirectory() as folder:
            for name, text in files.items():
                path = pathlib.Path(folder) / name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text, encoding="utf-8")
            said = faults(pathlib.Path(folder), writers)
        if expected is None and said or expected and not any(expected in line for line in said):
            result.append(f"{files}: expected {expected}, said {said}")
    return result


def main() -> int:
    found = self_test() if sys.argv[1:] == ["--self-test"] else faults(TOP, WRITERS)
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
