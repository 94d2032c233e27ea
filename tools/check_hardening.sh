#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A release program has what guards it against overwritten memory: tools/check_hardening.sh PROGRAM
# Prints each guard that is missing.
set -euo pipefail
program=${1:?the program}
header=$(readelf -hW "$program")
segments=$(readelf -lW "$program")
dynamic=$(readelf -dW "$program")
symbols=$(readelf -W --dyn-syms "$program")
missing=0

has() {  # guard text pattern
  if ! grep -qE "$3" <<<"$2"; then
    echo "$program: without $1"
    missing=1
  fi
}

has "position-independent code (-pie)" "$header" 'Type: +DYN'
has "relocations made read-only (-z relro)" "$segments" 'GNU_RELRO'
has "all symbols bound at the start (-z now)" "$dynamic" 'FLAGS.*NOW'
has "a stack that is not executable" "$segments" 'GNU_STACK.* RW +0x'
has "-fstack-protector-strong" "$symbols" '__stack_chk_fail'
has "-D_FORTIFY_SOURCE" "$symbols" '__[a-z]+_chk(@|$)'
exit $missing
