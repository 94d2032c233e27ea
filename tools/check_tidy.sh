#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# clang-tidy over our sources: tools/check_tidy.sh BUILD_FOLDER [FOLDER...]
# BUILD_FOLDER has the compile commands of a clang build without unity batches. Without a FOLDER all
# of src system engine host tests are looked at. A file that was clean is not looked at again until its
# preprocessed text or the settings change.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=tools/sources.sh
. tools/sources.sh
build=${1:?the build folder}
shift
folders=${*:-src system engine host tests}
export build
export clean_files=$build/tidy
mkdir -p "$clean_files"
config=$( { cat .clang-tidy; clang-tidy-14 --version; } | sha256sum)
export config

check() {
  local command key
  command=$(python3 -c '
import json, os, shlex, sys
for entry in json.load(open(os.environ["build"] + "/compile_commands.json")):
    if os.path.samefile(entry["file"], sys.argv[1]):
        words = shlex.split(entry["command"])
        if os.path.basename(words[0]) == "ccache":
            words = words[1:]
        words[words.index("-o") + 1] = "-"
        words[words.index("-c")] = "-E"
        print("cd", shlex.quote(entry["directory"]), "&&", shlex.join(words))
        break
' "$1")
  if [ -z "$command" ]; then
    case $1 in tests/hostile/fuzz/*) return 0 ;; esac  # built by the preset fuzz alone
    case $1 in */windows.cpp | */windows/*) return 0 ;; esac  # built for Windows alone
    echo "$1: no target compiles it" >&2
    return 1
  fi
  key=$( { echo "$config"; bash -c "$command"; } | sha256sum | cut -d' ' -f1)
  if [ -f "$clean_files/$key" ]; then return 0; fi
  clang-tidy-14 -p "$build" --quiet --warnings-as-errors='*' "$1" 2>/dev/null || return 1
  touch "$clean_files/$key"
}
export -f check

our_files '*.cpp' | grep -E "^(${folders// /|})/" | grep -v '^tests/consumer/' |
  xargs -r -P "$(nproc)" -I{} bash -c 'check {}'
