#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# make_samples.sh PROGRAM FOLDER: FOLDER/sample.db with all sample data and the flour of data/, which
# has what the samples lack (comments, descriptors, serial numbers, net contents), and the files of
# data/ themselves. FOLDER/damaged.db is the same with a damaged page of values. PROGRAM is
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
# The last byte of the root of the table of values: a part of the checksum of that page.
python3 -c '
import sqlite3
db = sqlite3.connect("file:damaged.db?immutable=1", uri=True)
size = db.execute("PRAGMA page_size").fetchone()[0]
root = db.execute("SELECT rootpage FROM sqlite_master WHERE name = ?", ("measurement",)).fetchone()[0]
db.close()
with open("damaged.db", "r+b") as file:
    file.seek(root * size - 1)
    byte = file.read(1)[0]
    file.seek(root * size - 1)
    file.write(bytes([byte ^ 0x10]))'
