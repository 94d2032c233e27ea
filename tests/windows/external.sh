#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A stage of run.sh: the external objects of the component, over the registered engine and without.
set -euo pipefail
# shellcheck source=tests/windows/client/stage.sh
. tests/windows/client/stage.sh
cd "$ORVSPC_WORK"
"$ORVSPC_LINUX/orvspc" demo . --no-pictures

holds() {
  on_wine 60 "$ORVSPC_WINDOWS/external.exe" "$1" | tr -d '\r' | tee external.txt
  [ "$(tail -n 1 external.txt)" = "external: all claims hold" ]
}

holds --unregistered
register "$ORVSPC_WINDOWS"
holds "$(windows_path "$PWD/sample.db")"
