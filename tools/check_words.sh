#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Refuses left-overs and tests that are switched off or cannot fail. Prints each place found.
set -uo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=tools/sources.sh
. tools/sources.sh

# The brackets keep this file from finding itself.
left_overs='\b(T[O]DO|F[I]XME|X[X]X|H[A]CK)\b'
switched_off='D[I]SABLED_|G[T]EST_SKIP|^[[:space:]]*#[[:space:]]*if[[:space:]]+0\b'
cannot_fail='(EXPECT|ASSERT)_(TRUE\(tru[e]|FALSE\(fals[e])\)'

found=0
while read -r file; do
  if grep -nHE "$left_overs|$switched_off|$cannot_fail" "$file"; then found=1; fi
done < <(our_files '*.cpp' '*.h' '*.py' '*.sh' '*.cmake' '*.md' '*.txt' '*.in' '*.json' 'run')

# Every source file opens with its licence.
while read -r file; do
  if ! head -n 2 "$file" | grep -q 'SPDX-License-Identifier: Apache-2.0'; then
    echo "$file: no licence line"
    found=1
  fi
done < <(our_files '*.cpp' '*.h' '*.py' '*.sh' '*.cmake')
exit $found
