#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# walk_plain.sh ORVSPC WALK [FOLDER]: the walk over the plain classes on fresh sample data. Fails
# unless it comes to its end with every member called. The walk stays in FOLDER/walk.txt.
set -euo pipefail
orvspc=$1 walk=$2
folder=${3:-}
if [ -z "$folder" ]; then
  folder=$(mktemp -d)
  trap 'rm -rf "$folder"' EXIT
fi
"$(dirname "$0")"/make_samples.sh "$orvspc" "$folder"
cd "$folder"
"$walk" walk.txt
tail -n 1 walk.txt | grep -qxF '[end]'
never=$(sed -n '/^\[never called\]$/,$p' walk.txt | sed '1d;/^$/d;/^\[end\]$/d')
[ -z "$never" ] || { printf 'never called:\n%s\n' "$never"; exit 1; }
