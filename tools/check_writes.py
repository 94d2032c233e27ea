#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Finds statements of SQL in engine/ that write, outside engine/write.

Whatever changes a database goes through one transaction that also adds to its log, so those texts
belong together. WRITERS lists the files that still have some of their own: one that is not there
may have none, and one that has none leaves the list.

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
    "engine/QualityDatabase.cpp",
    "engine/alarms/Judge.cpp",
    "engine/alarms/Life.cpp",
    "engine/alarms/Samples.cpp",
    "engine/alarms/alarm_rows.cpp",
    "engine/change/Batches.cpp",
    "engine/change/Comments.cpp",
    "engine/change/Items.cpp",
    "engine/change/Merge.cpp",
    "engine/change/Records.cpp",
    "engine/change/StoredRecord.cpp",
    "engine/change/events.cpp",
    "engine/import/Import.cpp",
    "engine/import/import_codes.cpp",
    "engine/import/import_events.cpp",
    "engine/import/import_kind.cpp",
    "engine/import/import_kind.h",
    "engine/import/import_limits.cpp",
    "engine/import/import_net_contents.cpp",
    "engine/import/import_requirements.cpp",
    "engine/import/import_rules.cpp",
    "engine/import/import_values.cpp",
    "engine/import/values_writer.cpp",
    "engine/limits/Review.cpp",
    "engine/limits/StoredLimits.cpp",
    "engine/log/Log.cpp",
    "engine/record/KnownNames.cpp",
    "engine/record/RecordWriter.cpp",
    "engine/record/Recorder.cpp",
    "engine/store/StreamWriter.cpp",
    "engine/store/copy.cpp",
    "engine/store/phases.cpp",
    "engine/store/subgroups.cpp",
}


def writes(text: str) -> bool:
    return any(WRITING.search(line) for line in text.splitlines()
               if not line.lstrip().startswith("//"))


def faults(top: pathlib.Path, writers: set[str]) -> list[str]:
    found = set()
    for path in sorted((top / "engine").rglob("*")):
        name = path.relative_to(top).as_posix()
        if path.suffix not in (".h", ".cpp") or name.startswith((FOLDER, *BENEATH)):
            continue
        if writes(path.read_text(encoding="utf-8")):
            found.add(name)
    return ([f"{name}: statements that write go to {FOLDER}" for name in sorted(found - writers)] +
            [f"{name}: is listed and writes nothing" for name in sorted(writers - found)])


INSERT = 'Query(db, "INSERT INTO part(id) VALUES(?1)", 1).Run();\n'
LISTED = "engine/store/A.cpp"
PLANTED = [
    ({}, set(), None),
    ({"engine/write/A.cpp": INSERT, "engine/sql/B.cpp": INSERT, "host/C.cpp": INSERT}, set(), None),
    ({LISTED: INSERT}, {LISTED}, None),
    ({LISTED: "// An INSERT for each row.\n"}, set(), None),
    ({LISTED: '// "INSERT INTO row VALUES(?1)"\n'}, set(), None),
    ({LISTED: INSERT}, set(), "A.cpp: statements that write"),
    ({LISTED: INSERT, "engine/store/A.h": INSERT}, {LISTED}, "A.h: statements that write"),
    ({LISTED: 'f("UPDATE part SET id = 1");\n'}, set(), "statements that write"),
    ({LISTED: 'f("DELETE FROM part");\n'}, set(), "statements that write"),
    ({"engine/A.cpp": 'db.InsertMany("part(id)", kFail);\n'}, set(), "statements that write"),
    ({"engine/A.cpp": 'f("INSERT OR REPLACE INTO log VALUES(1)");\n'}, set(),
     "statements that write"),
    ({}, {LISTED}, "writes nothing"),
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
