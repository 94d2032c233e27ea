#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# msxml3 gives and takes the same texts as the documents of the embedded engine, byte for byte, for
# every class on the sample database; so do single texts and operations but for the lines of
# xml/differences.diff. Many siblings take time in proportion. Run by tests/windows/run.sh.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
linux=${ORVSPC_LINUX:?run by tests/windows/run.sh}
windows=${ORVSPC_WINDOWS:?run by tests/windows/run.sh}
cd "${ORVSPC_WORK:?run by tests/windows/run.sh}"

"$linux/orvspc" demo . >/dev/null
"$linux/windows_xml" sample.db linux.txt
wine "$windows/windows_xml.exe" sample.db windows.txt
for file in linux.txt windows.txt; do
  [ "$(tail -n 1 "$file")" = end ] || { echo "$file has no end"; exit 1; }
done
grep -c '^CCResults' linux.txt >/dev/null || { echo "nothing was compared"; exit 1; }
diff -U 0 linux.txt windows.txt | grep '^[-+]' | sed 1,2d >differences || true
diff "$here/xml/differences.diff" differences

# Ten times as many siblings take some ten times as long, not a hundred times.
walk() { wine "$windows/windows_xml.exe" --walk "$1" | tr -d '\r' | awk '$1 == "walk" { print $2 }'; }
few=$(walk 10000)
many=$(walk 100000)
echo "10000 siblings: $few ms, 100000: $many ms"
awk -v few="$few" -v many="$many" 'BEGIN { exit !(few > 0 && many < 30 * few) }'
