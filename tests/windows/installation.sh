#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The archive, unpacked into a folder with a blank in its name, registers itself, draws, and leaves
# nothing in the registry. Run by tests/windows/run.sh.
set -euo pipefail
: "${ORVSPC_WORK:?run by tests/windows/run.sh}"
archives=("$(dirname "${ORVSPC_WINDOWS:?run by tests/windows/run.sh}")"/orvSPCAnalysis6-*-win64.zip)
if [ ${#archives[@]} -ne 1 ] || [ ! -f "${archives[0]}" ]; then
  echo "not one archive: ${archives[*]}"
  exit 1
fi
cd "$ORVSPC_WORK"
python3 -m zipfile -e "${archives[0]}" "Program Files"
cd "Program Files"/*

# Each class with its server; the path is the one that the archive was unpacked to.
registered() {
  local class
  for class in orvSPCAnalysis6.CCAnalysis orvEngine.Database orvError6.Error; do
    wine reg query "HKCR\\$class\\CLSID" >/dev/null 2>&1 && echo "$class"
  done
  return 0
}
expect() {  # what expected found
  if [ "$2" != "$3" ]; then
    printf '%s: expected\n%s\nfound\n%s\n' "$1" "$2" "$3"
    exit 1
  fi
}
all=$'orvSPCAnalysis6.CCAnalysis\norvEngine.Database\norvError6.Error'

expect "before" "" "$(registered)"
trap 'wine cmd /c unregister.cmd >/dev/null' EXIT
wine cmd /c register.cmd
expect "after register.cmd" "$all" "$(registered)"
wine ./orvspc.exe demo "$(winepath -w ../demo)" >/dev/null
[ -s ../demo/index.html ] || { echo "no picture was drawn"; exit 1; }
wine cmd /c unregister.cmd
expect "after unregister.cmd" "" "$(registered)"

# Without its engine there is nothing to register: the script says so and fails.
trap - EXIT
rm orvEngine.dll
if wine cmd /c register.cmd >said.txt; then
  echo "register.cmd ends well without orvEngine.dll"
  exit 1
fi
grep -q 'could not be registered' said.txt
