#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks what the DLLs of a build export and import against exports.txt beside this script:
#   tests/windows/exports.sh BIN OBJDUMP
#   tests/windows/exports.sh build/windows-32/bin i686-w64-mingw32-objdump
# Each DLL exports just its names, without decoration; a forwarder forwards to orvEngine.dll. Beside
# what the list says, only DLLs that every Windows has are imported.
set -euo pipefail
bin=${1:?the folder of the DLLs}
objdump=${2:?the objdump of the width}
list=$(dirname "$0")/exports.txt
system='advapi32|kernel32|msvcrt|ole32|oleaut32|shell32|user32'

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
grep -v '^#' "$list" | sort >"$work/expected"
cut -d' ' -f1 "$work/expected" | sort -u >"$work/dlls"
while read -r dll; do
  if [ ! -f "$bin/$dll" ]; then
    echo "$dll missing"
    continue
  fi
  "$objdump" -p "$bin/$dll" | tr -d '\r' | awk -v dll="$dll" -v own="^($system)\\.dll$" '
    /^\tDLL Name:/ { if (tolower($3) !~ own) print dll, "import", $3 }
    /Forwarder RVA -- / { print dll, "forward", $NF }
    /^\[Ordinal\/Name Pointer\] Table/ { names = 1; next }
    /^[^\t]/ { names = 0 }
    names && /^\t\[/ { print dll, "export", $NF }'
done <"$work/dlls" | sort -u >"$work/found"
if ! diff "$work/expected" "$work/found"; then
  echo "$bin: the DLLs do not export or import what $list says (< expected, > found)" >&2
  exit 1
fi
echo "$bin: exports and imports of $(wc -l <"$work/dlls") DLLs are right"
