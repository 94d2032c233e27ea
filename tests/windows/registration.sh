#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A stage of run.sh: registration makes the classes known that hosts can create, and no others;
# unregistration leaves the registry as it was; both can be repeated.
set -euo pipefail
# shellcheck source=tests/windows/client/stage.sh
. tests/windows/client/stage.sh
classes=$PWD/host/windows/tables/classes.tsv
cd "$ORVSPC_WORK"

# All classes of the machine and of the user, as text.
snapshot() {
  local branch
  for branch in 'HKLM\Software\Classes' 'HKCU\Software\Classes' 'HKLM\Software\orvSPC'; do
    rm -f export.reg
    on_wine 60 reg.exe export "$branch" export.reg /y >/dev/null 2>&1 || true
    [ ! -f export.reg ] || iconv -f UTF-16 -t UTF-8 export.reg | tr -d '\r'
  done >"$1"
  [ -s "$1" ]
}

known() { on_wine 30 reg.exe query "HKCR\\$1\\CLSID" >/dev/null 2>&1; }

snapshot before.txt
register "$ORVSPC_WINDOWS"
register "$ORVSPC_WINDOWS"
snapshot registered.txt
if cmp -s before.txt registered.txt; then
  echo "nothing was registered"
  exit 1
fi

model_of() {  # CLASS_ID
  on_wine 30 reg.exe query "HKCR\\CLSID\\{$1}\\InprocServer32" /v ThreadingModel | tr -d '\r' |
    awk '$1 == "ThreadingModel" { print tolower($3) }'
}

while IFS=$'\t' read -r library class _ class_id created prog_id _ _ _ threads _; do
  case $library in ''|\#*|library) continue ;; esac
  [ "$prog_id" != - ] || prog_id=$library.$class
  if [ "$created" = yes ]; then
    known "$prog_id" || { echo "$prog_id is not registered"; exit 1; }
    model=$(model_of "$class_id")
    [ "$model" = "$threads" ] || { echo "$prog_id: $model, not $threads"; exit 1; }
  else
    ! known "$prog_id" || { echo "$prog_id is registered"; exit 1; }
    ! grep -qi "CLSID.{$class_id}" registered.txt || { echo "$class_id is registered"; exit 1; }
  fi
done <"$classes"

unregister "$ORVSPC_WINDOWS"
snapshot after.txt
diff before.txt after.txt
# Once more: nothing to take away is no failure.
unregister "$ORVSPC_WINDOWS"
snapshot again.txt
diff before.txt again.txt

# As long as a class is registered for the other width, both widths find it by its name.
register "$ORVSPC_WINDOWS"
row=$(awk -F'\t' '$1 == "orvEngine" && $2 == "SpecLim"' "$classes")
other="HKLM\\Software\\Classes\\Wow6432Node\\CLSID\\{$(cut -f4 <<<"$row")}"
on_wine 30 reg.exe add "$other\\InprocServer32" /ve /d other.dll /f >/dev/null
unregister "$ORVSPC_WINDOWS"
for class in SpecLim CtrlLim; do
  left=no
  ! known orvEngine.$class || left=yes
  [ $class-$left = SpecLim-yes ] || [ $class-$left = CtrlLim-no ] ||
    { echo "orvEngine.$class is left: $left"; exit 1; }
done
on_wine 30 reg.exe delete "$other" /f >/dev/null
unregister "$ORVSPC_WINDOWS"
snapshot last.txt
diff before.txt last.txt
echo "$(diff before.txt registered.txt | grep -c '^>') lines were registered, and none is left"
