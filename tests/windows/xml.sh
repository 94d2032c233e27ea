#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# msxml3 and the documents of the embedded engine write the same texts, for every class and stream of
# the sample database. Run by tests/windows/run.sh.
#
# - What Linux wrote is read and written again by both, by documents and by new objects: the same
#   bytes.
# - What both systems make of the database: the same but for the last digits of figures.
# - Single texts, values and operations: the same but for the pairs of lines in xml/differences.txt,
#   which are texts that the library never writes.
# - Ten times as many siblings take some ten times as long to read, walk and write, not a hundred
#   times.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
linux=${ORVSPC_LINUX:?run by tests/windows/run.sh}
windows=${ORVSPC_WINDOWS:?run by tests/windows/run.sh}
cd "${ORVSPC_WORK:?run by tests/windows/run.sh}"

"$linux/orvspc" demo . --no-pictures
"$linux/windows_xml" sample.db linux.txt
wine "$windows/windows_xml.exe" sample.db windows.txt
"$here/xml/compare.py" linux.txt windows.txt "$here/xml/differences.txt"

"$linux/windows_xml" --read linux.txt linux-again.txt
wine "$windows/windows_xml.exe" --read linux.txt windows-again.txt
cmp linux-again.txt windows-again.txt
if grep "not the same" linux-again.txt; then exit 1; fi
[ "$(grep -c ": the same$" linux-again.txt)" -ge 100 ]

for count in 10000 100000; do
  wine "$windows/windows_xml.exe" --walk $count | tr -d '\r' >"$count.txt"
done
cat 10000.txt 100000.txt
# read, walk, descend, build and their milliseconds
paste 10000.txt 100000.txt | awk '
  $1 != $3 || $4 > 40 * ($2 + 1) { print "not in proportion: " $0; failed = 1 }
  END { exit failed || NR != 4 }'
