#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A stage of run.sh: VBScript drives the registered component. What walk.vbs prints is compared with
# the walk of a compiled host over the plain classes, what the other scripts print with the files
# beside them. Each script runs in a script host of our own, which names errors and looks for objects
# that are left, and once in that of the system.
set -euo pipefail
# shellcheck source=tests/windows/client/stage.sh
. tests/windows/client/stage.sh
client=tests/windows/client scripts=tests/windows/scripts

"$client"/walk_plain.sh "$ORVSPC_LINUX/orvspc" "$ORVSPC_LINUX/walk_plain" "$ORVSPC_WORK/linux"
"$client"/make_members.py script "$ORVSPC_WORK/members.vbs"

# run_script NAME HOST: leaves what it printed in ORVSPC_WORK/NAME-HOST.txt.
run_script() {
  local folder=$ORVSPC_WORK/$1-$2
  copy_samples "$ORVSPC_WORK/linux" "$folder"
  # Script files are single bytes; one file, since the system's host takes one.
  { printf 'Option Explicit\r\nConst OUTPUT = "out.txt"\r\n'; cat "$scripts/prelude.vbs" "$ORVSPC_WORK/members.vbs" \
    "$scripts/$1.vbs"; } | LC_ALL=C sed 's/\r*$/\r/' >"$folder/script.vbs"
  case $2 in
    # Away from the DLLs: the usual search begins beside the program.
    own)
      cp "$ORVSPC_WINDOWS/script_host.exe" "$folder"
      (cd "$folder" && on_wine 120 script_host.exe script.vbs) ;;
    cscript) (cd "$folder" && on_wine 120 cscript.exe //nologo script.vbs) ;;
  esac
  iconv -f UTF-16 -t UTF-8 "$folder/out.txt" | tr -d '\r' >"$ORVSPC_WORK/$1-$2.txt"
  # Without its last line it stopped somewhere: the system's host does not say so.
  tail -n 1 "$ORVSPC_WORK/$1-$2.txt" | grep -qxF '[end]'
}

# run_scripts NAME: in both hosts, with the same results.
run_scripts() {
  run_script "$1" own
  run_script "$1" cscript
  # The system's host sets the processor's older registers to 53 bits: the last digits may differ.
  "$client"/compare_walks.py "$ORVSPC_WORK/$1-own.txt" "$ORVSPC_WORK/$1-cscript.txt"
}

register "$ORVSPC_WINDOWS"
run_scripts walk
"$client"/compare_walks.py --script "$ORVSPC_WORK/walk-own.txt" "$ORVSPC_WORK/linux/walk.txt"
run_scripts host
diff "$scripts/host.txt" "$ORVSPC_WORK/host-own.txt"
unregister "$ORVSPC_WINDOWS"

incomplete_folder "$ORVSPC_WORK/incomplete"
register "$ORVSPC_WORK/incomplete"
run_scripts missing
diff "$scripts/missing.txt" "$ORVSPC_WORK/missing-own.txt"
unregister "$ORVSPC_WORK/incomplete"

# The script of the documentation draws what it says.
register "$ORVSPC_WINDOWS"
folder=$ORVSPC_WORK/documented
copy_samples "$ORVSPC_WORK/linux" "$folder"
# shellcheck disable=SC2016
sed -n '/^```vbscript$/,/^```$/p' docs/how-to/windows.md | sed '/^```/d; s/$/\r/' >"$folder/wafer.vbs"
[ -s "$folder/wafer.vbs" ]
(cd "$folder" && on_wine 60 "$ORVSPC_WINDOWS/script_host.exe" wafer.vbs)
[ "$(grep -c '<circle' "$folder/wafer.svg")" = 25 ]
[ "$(grep -c '<path' "$folder/wafer.svg")" = 75 ]
grep -q '</svg>' "$folder/wafer.svg"
