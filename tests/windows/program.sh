#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The program for Windows does what the one for Linux does: every command, the same text, status and
# files, numbers to 1e-12. Run by tests/windows/run.sh.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
linux=${ORVSPC_LINUX:?run by tests/windows/run.sh}/orvspc
windows=${ORVSPC_WINDOWS:?run by tests/windows/run.sh}/orvspc.exe

# What a build says of itself differs, but not its version.
version=$("$linux" --version | head -n 1)
found=$(wine "$windows" --version | head -n 1)
if [ "$found" != "$version" ]; then
  echo "--version: $version and $found"
  exit 1
fi
# An example that was broken into two lines is one command to the system's shell.
{ printf '@echo off\n'; wine "$windows" chart --help | sed '1,/^example:$/d; s/^  orvspc/echo/'; } |
  sed 's/$/\r/' >"$ORVSPC_WORK/example.cmd"
found=$(cd "$ORVSPC_WORK" && wine cmd.exe /c example.cmd | tr -s ' \r\n' ' ')
wanted=$("$linux" chart --help | sed '1,/^example:$/d; s/^  orvspc //; s/ \\$//' | tr -s ' \n' ' ')
if [ "$found" != "$wanted" ] || ! grep -q ' ^.$' "$ORVSPC_WORK/example.cmd"; then
  echo "The example of chart --help in the system's shell: $found"
  exit 1
fi
# What only this system has: devices in every folder, and another separator.
refuses() {  # DATABASE REASON
  local status=0 said
  said=$(cd "$ORVSPC_WORK" && wine "$windows" import "$here/data/flour.csv" --db "$1" 2>&1) || status=$?
  said=$(tr -d '\r' <<<"$said")
  if [ $status -ne 1 ] || [ "$said" != "orvspc import: $1: $2" ]; then
    echo "import --db $1: status $status, $said"
    exit 1
  fi
}
mkdir "$ORVSPC_WORK/folder"
refuses NUL "is no plain file"
refuses 'folder\nul.db' "is no plain file"
refuses 'folder\' "is a folder"
refuses 'folder\\' "is a folder"
refuses 'C:\' "is a folder"
refuses 'missing\' "there is no folder missing"
[ -z "$(ls "$ORVSPC_WORK/folder")" ]
"$here/compare_programs.py" --self-test
"$here/compare_programs.py" "$here/program/commands.txt" "$here/program" "$linux" -- \
                            wine "$windows"
