#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# make_samples.sh PROGRAM FOLDER: FOLDER/sample.db with all sample data and the flour of data/, which
# has what the samples lack (comments, descriptors, serial numbers, net contents), and the files of
# data/ themselves. FOLDER/damaged.db is the same with one damaged record of the flour. PROGRAM is
# orvspc.
set -euo pipefail
program=$1 folder=$2
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$folder"
mkdir -p "$folder"
"$program" demo "$folder/demo" >"$folder/demo.log"
mv "$folder/demo/sample.db" "$folder/sample.db"
rm -rf "$folder/demo"
cp "$here"/../data/*.csv "$folder"
cd "$folder"
"$program" import flour.csv --db sample.db
"$program" import flour-limits.csv --db sample.db --kind limits
"$program" import flour-net-contents.csv --db sample.db --kind net-contents
cp sample.db damaged.db
python3 -c '
import sqlite3
with sqlite3.connect("damaged.db") as db:
    changed = db.execute("""UPDATE measurement SET packed = zeroblob(64) WHERE subgroup =
        (SELECT min(m.subgroup) FROM measurement m JOIN stream s ON s.id = m.stream
         JOIN part p ON p.id = s.part WHERE p.name = ?)""", ("Flour 500 g",)).rowcount
if changed < 1: raise SystemExit("nothing was damaged")'
