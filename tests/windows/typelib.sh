#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A stage of run.sh: the type libraries in the two servers are what client/LIBRARY.typelib.txt says:
# classes, interfaces and members in their order with identifiers, kinds and types, enumerations and
# their values. After a wanted change: ORVSPC_WINDOWS/typelib_dump.exe makes the list anew.
set -euo pipefail
# shellcheck source=tests/windows/client/stage.sh
. tests/windows/client/stage.sh
expected=$PWD/tests/windows/client
status=0
cd "$ORVSPC_WORK"
for library in orvSPCAnalysis6 orvEngine; do
  on_wine 60 "$ORVSPC_WINDOWS/typelib_dump.exe" "$(windows_path "$ORVSPC_WINDOWS/$library.dll")" \
    "$library.txt"
  diff "$expected/$library.typelib.txt" "$library.txt" || status=1
  # The file beside the DLL is the same library.
  on_wine 60 "$ORVSPC_WINDOWS/typelib_dump.exe" "$(windows_path "$ORVSPC_WINDOWS/$library.tlb")" \
    "$library.tlb.txt"
  diff "$library.txt" "$library.tlb.txt" || status=1
done
exit $status
