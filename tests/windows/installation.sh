#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The archive, unpacked into a folder with a blank in its name, registers itself, draws, and leaves
# nothing in the registry, whichever DLL is missing. Run by tests/windows/run.sh.
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
engine=$'orvEngine.Database\norvError6.Error'

# fails SCRIPT TEXT...: ends with status 1 and says each of the texts.
fails() {
  local script=$1 status=0
  shift
  wine cmd /c "$script" /q >said.txt || status=$?
  expect "status of $script" 1 "$status"
  for text in "$@"; do
    grep -qF "$text" said.txt || { cat said.txt; echo "$script does not say: $text"; exit 1; }
  done
}

expect "before" "" "$(registered)"
trap 'wine cmd /c unregister.cmd /q >/dev/null' EXIT
wine cmd /c register.cmd /q
expect "after register.cmd" "$all" "$(registered)"
wine ./orvspc.exe demo "$(winepath -w ../demo)" >/dev/null
[ -s ../demo/index.html ] || { echo "no picture was drawn"; exit 1; }

# Where the component cannot be unregistered, the engine is all the same, and the other way round.
mv orvSPCAnalysis6.dll kept.dll
fails unregister.cmd 'could not be unregistered: orvSPCAnalysis6.dll'
expect "after unregister.cmd without the component" orvSPCAnalysis6.CCAnalysis "$(registered)"
mv kept.dll orvSPCAnalysis6.dll
wine cmd /c register.cmd /q
mv orvEngine.dll kept.dll
fails unregister.cmd 'could not be unregistered: orvEngine.dll'
expect "after unregister.cmd without the engine" "$engine" "$(registered)"
mv kept.dll orvEngine.dll
wine cmd /c register.cmd /q
expect "after register.cmd once more" "$all" "$(registered)"
wine cmd /c unregister.cmd /q
expect "after unregister.cmd" "" "$(registered)"

# Both are registered or none.
for missing in orvSPCAnalysis6.dll orvEngine.dll; do
  mv $missing kept.dll
  fails register.cmd 'could not be registered'
  expect "after register.cmd without $missing" "" "$(registered)"
  mv kept.dll $missing
done
trap - EXIT
