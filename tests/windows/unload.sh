#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A stage of run.sh: the component goes when nothing of it lives, and threads that used it end.
set -euo pipefail
# shellcheck source=tests/windows/client/stage.sh
. tests/windows/client/stage.sh
cd "$ORVSPC_WORK"
"$ORVSPC_LINUX/orvspc" demo . --no-pictures
register "$ORVSPC_WINDOWS"
for mode in "" forget; do
  on_wine 100 "$ORVSPC_WINDOWS/unload.exe" "$(windows_path "$PWD/sample.db")" \
          "$(windows_path "$ORVSPC_WINDOWS/orvSPCAnalysis6.dll")" ${mode:+"$mode"} |
    tr -d '\r' | tee unload.txt
  [ "$(tail -n 1 unload.txt)" = "unload: all claims hold" ]
done
