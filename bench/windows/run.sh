#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs bench_component.exe under Wine with the component registered, and sets the ratios beside what
# they may be: bench/windows/run.sh [BIN [ROUNDS]]; BIN is build/windows-64/bin.
set -euo pipefail
cd "$(dirname "$0")/../.."
bin=$(cd "${1:-build/windows-64/bin}" && pwd)
rounds=${2:-25}

work=$(mktemp -d)
export WINEPREFIX=$work/prefix WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY
finish() {
  timeout 30 wineserver -k || true
  rm -rf "$work"
}
trap finish EXIT
timeout 120 wineboot -i >/dev/null 2>&1
cd "$bin"
for dll in orvEngine orvSPCAnalysis6; do timeout 60 wine regsvr32.exe /s $dll.dll; done

timeout 600 wine bench_component.exe "$rounds" | tr -d '\r' >"$work/figures"
awk '/MISMATCH/ { missed = 1 }
     /ratio/ {
       limit = /^property/ ? 1.5 : 1.3
       match($0, /ratio [0-9.]+/)
       ratio = substr($0, RSTART + 6, RLENGTH - 6) + 0
       $0 = $0 "   at most " limit (ratio <= limit ? "" : " MISSED")
       if (ratio > limit) missed = 1
       lines++
     }
     { print }
     END { exit missed || lines != 3 }' "$work/figures"
