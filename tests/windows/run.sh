#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs what was built for Windows under Wine: tests/windows/run.sh WINDOWS_BIN LINUX_BIN [STAGE...]
# Each *.sh of this folder but this one and exports.sh, which needs no Wine, is a stage; all of them run
# unless some are named, in the order of their names, each with a log of its own in build/logs. They share a fresh Wine prefix, so a stage
# unregisters what it registers. What a stage finds in its environment:
#   ORVSPC_WINDOWS   the folder of the DLLs and programs for Windows
#   ORVSPC_LINUX     the folder of the programs to compare with
#   ORVSPC_WORK      an empty folder that goes with the stage
#   WINEPREFIX, WINEDEBUG and what else keeps Wine quiet and to itself
set -uo pipefail
cd "$(dirname "$0")/../.."
windows=$(cd "${1:?the folder of the DLLs and programs for Windows}" && pwd) || exit 2
linux=$(cd "${2:?the folder of the programs to compare with}" && pwd) || exit 2
shift 2
seconds=300  # for a stage
logs=$PWD/build/logs
mkdir -p "$logs"

stages=("$@")
if [ ${#stages[@]} -eq 0 ]; then
  for file in tests/windows/*.sh; do
    name=$(basename "$file" .sh)
    case $name in
      run | exports) ;;
      *) stages+=("$name") ;;
    esac
  done
fi

work=$(mktemp -d)
export ORVSPC_WINDOWS=$windows ORVSPC_LINUX=$linux
export WINEPREFIX=$work/prefix WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
# Without it Wine takes the words of a command line for single bytes.
export LC_ALL=C.UTF-8
unset DISPLAY
finish() {
  timeout 30 wineserver -k
  rm -rf "$work"
}
trap finish EXIT

began=$SECONDS
if ! timeout 120 wineboot -i >"$logs/wine-prefix.log" 2>&1 </dev/null; then
  cat "$logs/wine-prefix.log"
  echo "No Wine prefix could be made"
  exit 1
fi
printf '%-30s %4s s\n' "Wine prefix" $((SECONDS - began))
# As long as one program runs, Wine keeps its services; otherwise each run of a program starts them
# anew and takes a second. This one waits for the end of its input, which is that of this script.
mkfifo "$work/never"
exec 9<>"$work/never"
keep_services() { wine cmd.exe <&9 >/dev/null 2>&1 & }
keep_services

failed=0
for name in "${stages[@]}"; do
  start=$SECONDS
  export ORVSPC_WORK=$work/$name
  mkdir "$ORVSPC_WORK"
  log=$logs/wine-$name.log
  timeout "$seconds" bash "tests/windows/$name.sh" >"$log" 2>&1 </dev/null
  status=$?
  rm -rf "$ORVSPC_WORK"
  if [ $status -ne 0 ]; then
    echo "==> $name"
    tail -n 60 "$log"
    if [ $status -eq 124 ]; then
      echo "stopped after $seconds seconds"
      timeout 30 wineserver -k  # what the stage left running
      keep_services
    fi
    failed=$((failed + 1))
  fi
  printf '%-30s %4s s %s\n' "$name" $((SECONDS - start)) "$([ $status -eq 0 ] || echo FAILED)"
done
if [ $failed -ne 0 ]; then
  echo "FAILED under Wine: $failed of ${#stages[@]} stages; output in build/logs/wine-*.log"
  exit 1
fi
