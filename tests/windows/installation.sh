#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The archive, unpacked into a folder with a blank in its name, registers itself, draws, and leaves
# nothing in the registry, whichever DLL is missing; what was registered before from another folder
# then stays. Run by tests/windows/run.sh.
set -euo pipefail
: "${ORVSPC_WORK:?run by tests/windows/run.sh}"
archives=("$(dirname "${ORVSPC_WINDOWS:?run by tests/windows/run.sh}")"/orvSPCAnalysis6-*-win64.zip)
if [ ${#archives[@]} -ne 1 ] || [ ! -f "${archives[0]}" ]; then
  echo "not one archive: ${archives[*]}"
  exit 1
fi
cd "$ORVSPC_WORK"
python3 -m zipfile -e "${archives[0]}" "Program Files"
cp -r "Program Files" older
cd "Program Files"/*

# Each class with its server; the path is the one that the archive was unpacked to.
registered() {
  local class
  for class in orvSPCAnalysis6.CCAnalysis orvEngine.Database orvError6.Error; do
    wine reg query "HKCR\\$class\\CLSID" >/dev/null 2>&1 && echo "$class"
  done
  return 0
}
# The paths of the two servers.
servers() {
  local class id
  for class in orvSPCAnalysis6.CCAnalysis orvEngine.Database; do
    id=$(wine reg query "HKCR\\$class\\CLSID" /ve | tr -d '\r' | grep -o '{.*}')
    wine reg query "HKCR\\CLSID\\$id\\InprocServer32" /ve | tr -d '\r' | sed -n 's/.*REG_SZ *//p'
  done
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
for missing in orvSPCAnalysis6.dll orvEngine.dll orwDBLib6.dll orwSReqCompliance.dll; do
  mv $missing kept.dll
  fails register.cmd 'could not be registered' " $missing"
  expect "after register.cmd without $missing" "" "$(registered)"
  mv kept.dll $missing
done
# An engine that loads, but cannot be registered.
mv orvEngine.dll kept.dll
cp "$ORVSPC_WINDOWS/empty_library.dll" orvEngine.dll
fails register.cmd 'orvEngine.dll could not be registered'
grep -q 'registered before' said.txt && { echo "speaks of a folder registered before"; exit 1; }
expect "after register.cmd with an engine that cannot be registered" "" "$(registered)"
# One that ends the program that registers it, which is no success either.
cp "$ORVSPC_WINDOWS/dying_library.dll" orvEngine.dll
fails register.cmd 'orvEngine.dll could not be registered'
expect "after register.cmd with an engine that ends it" "" "$(registered)"
fails unregister.cmd 'orvEngine.dll'
mv kept.dll orvEngine.dll

# What was registered before, of another folder, stays as it is.
trap '(cd "$ORVSPC_WORK"/older/* && wine cmd /c unregister.cmd /q >/dev/null)' EXIT
(cd ../../older/* && wine cmd /c register.cmd /q)
before=$(servers)
[ "$(grep -c 'older' <<<"$before")" = 2 ] || { echo "not the older ones: $before"; exit 1; }
for broken in orvSPCAnalysis6 orvEngine orwDBLib6 orwCtrlChrt6 orwCapAna6 orwPareto6 \
  orwSReqCompliance; do
  mv $broken.dll kept.dll
  case $broken in orv*)
    fails register.cmd 'could not be registered. Nothing was changed.' " $broken.dll"
    expect "the older ones after register.cmd without $broken.dll" "$before" "$(servers)"
    ;;
  esac
  echo "no DLL" >$broken.dll
  fails register.cmd 'could not be registered. Nothing was changed.' " $broken.dll"
  expect "the older ones after register.cmd with a damaged $broken.dll" "$before" "$(servers)"
  named=$(grep -o 'or[vw][A-Za-z0-9]*\.dll' said.txt | sort -u)
  expect "what register.cmd says of a damaged $broken.dll" "$broken.dll" "$named"
  mv kept.dll $broken.dll
done
mv orvEngine.dll kept.dll
cp "$ORVSPC_WINDOWS/empty_library.dll" orvEngine.dll
fails register.cmd 'orvEngine.dll could not be registered' \
  'run the register.cmd of the folder that was'
mv kept.dll orvEngine.dll
(cd ../../older/* && wine cmd /c register.cmd /q)
expect "the older ones again" "$before" "$(servers)"
(cd ../../older/* && wine cmd /c unregister.cmd /q)
expect "after unregister.cmd of the older ones" "" "$(registered)"
trap - EXIT
