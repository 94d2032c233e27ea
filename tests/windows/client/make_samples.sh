#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# make_samples.sh PROGRAM FOLDER: FOLDER/sample.db with all sample data and the flour of data/, which
# has what the samples lack (comments, descriptors, serial numbers, net contents), and the files of
# data/ themselves. PROGRAM is orvspc.
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
