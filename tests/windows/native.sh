#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A stage of run.sh: the DLLs of the closed libraries against the engine called directly, on the
# sample database; nothing is registered.
set -euo pipefail
linux=${ORVSPC_LINUX:?run by tests/windows/run.sh}
windows=${ORVSPC_WINDOWS:?run by tests/windows/run.sh}
cd "${ORVSPC_WORK:?run by tests/windows/run.sh}"

"$linux/orvspc" demo . --no-pictures
timeout 120 wine "$windows/native_client.exe" sample.db | tr -d '\r' | tee native.txt
[ "$(tail -n 1 native.txt)" = "native: all checks hold" ]
