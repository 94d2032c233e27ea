#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A stage of run.sh: failures, lifetime and conversions as a compiled host sees them.
set -euo pipefail
# shellcheck source=tests/windows/client/stage.sh
. tests/windows/client/stage.sh

tests/windows/client/make_samples.sh "$ORVSPC_LINUX/orvspc" "$ORVSPC_WORK/linux"
cd "$ORVSPC_WORK/linux"
register "$ORVSPC_WINDOWS"
on_wine 60 "$ORVSPC_WINDOWS/failures.exe"
unregister "$ORVSPC_WINDOWS"
incomplete_folder "$ORVSPC_WORK/incomplete"
register "$ORVSPC_WORK/incomplete"
# From another folder: the usual search begins beside the program.
cp "$ORVSPC_WINDOWS/failures.exe" .
on_wine 60 failures.exe missing
