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
# - Ten times as many siblings take some ten times as long to walk, not a hundred times.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
linux=${ORVSPC_LINUX:?run by tests/windows/run.sh}
windows=${ORVSPC_WINDOWS:?run by tests/windows/run.sh}
cd "${ORVSPC_WORK:?run by tests/windows/run.sh}"

"$linux/orvspc" demo . >/dev/null
"$linux/windows_xml" sample.db linux.txt
wine "$windows/windows_xml.exe" sample.db windows.txt
"$here/xml/compare.py" linux.txt windows.txt "$here/xml/differences.txt"

"$linux/windows_xml" --read linux.txt linux-again.txt
wine "$windows/windows_xml.exe" --read linux.txt windows-again.txt
cmp linux-again.txt windows-again.txt
if grep "not the same" linux-again.txt; then exit 1; fi
[ "$(grep -c ": the same$" linux-again.txt)" -ge 100 ]

walk() {
  wine "$windows/windows_xml.exe" --walk "$1" | tr -d '\r' | awk '$1 == "walk" { print $2 }'
}
few=$(walk 10000)
many=$(walk 100000)
echo "10000 siblings: $few ms, 100000: $many ms"
awk -v few="$few" -v many="$many" 'BEGIN { exit !(few > 0 && many < 40 * few) }'
