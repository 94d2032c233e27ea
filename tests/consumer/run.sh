#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs a build into a folder of its own and uses it from outside: tests/consumer/run.sh BUILD_FOLDER
set -euo pipefail
source=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:?the build folder}" && pwd)
work=$build/consumer
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work"

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
# Elsewhere and away from the build, so that a path into either would show.
mv "$prefix" "$work/moved"
prefix=$work/moved
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
cmake -S "$source" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Debug
cmake --build "$work/build"

mkdir "$work/made"
"$work/build/draws_chart" "$work/made" "$source/subgroups.csv"
"$work/build/without_engine"
if [ -x "$work/build/opens_server" ]; then "$work/build/opens_server"; fi
if [ -x "$work/build/tells_hooks" ]; then "$work/build/tells_hooks" "$work/made"; fi

refused() {  # program, what the compiler says
  local log=$work/$1.log
  if cmake --build "$work/build" --target "$1" >"$log" 2>&1; then
    echo "$1 compiles, but must not" >&2
    exit 1
  fi
  if ! grep -qE "$2" "$log"; then
    cat "$log" >&2
    echo "$1 was refused for another reason than: $2" >&2
    exit 1
  fi
  echo "$1 is refused"
}
key="(invalid use of|initialization of) incomplete type .*orvspc::Friend"
refused makes_friend "$key"
refused braces_friend "$key"
refused makes_pabins "no matching (function for call to|constructor for initialization of) .*PABins"
for part in CABins CACurve CAStatistics; do
  refused "makes_$part" "$key"
  refused "copies_$part" "(use of deleted function|call to deleted constructor of) .*$part"
done
refused includes_friend "frame/Friend.h(: No such file|' file not found)"

# The commands that write, list and change data know nothing of the engine but what is installed.
top=$(cd "$source/../.." && pwd)
mkdir -p "$work/hosts"
ln -s "$top/host" "$top/system" "$work/hosts/"
commands=(Alarm Backup Check Comment Copy Edit Import Imports Limits List Log Phase Record Set)
printf '%s\n' "${commands[@]/#/$top/host/cli/}" | sed 's/$/Command.cpp/' |
  xargs -P "$(nproc)" -n 1 "$compiler" -std=c++20 -fsyntax-only -I"$prefix/include/orvSPCAnalysis6" \
        -I"$work/hosts" -I"$build/generated"
echo "${#commands[@]} commands compile against the installed headers"
