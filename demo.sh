#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the program and draws charts of shipped sample data: ./demo.sh
set -euo pipefail
cd "$(dirname "$0")"
# shellcheck source=tools/packages.sh
. tools/packages.sh

require "$build_needs"
log=build/demo-build.log
mkdir -p build
if ! { cmake --preset release && cmake --build --preset release --target orvspc; } >"$log" 2>&1; then
  tail -n 40 "$log" >&2
  echo "The build failed; all of its output is in $log" >&2
  exit 1
fi
exec build/release/bin/orvspc demo build/demo
