#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Prints a folder whose node_modules has DuckDB of one fixed release, which imports are measured
# against. Its library is checked against the sum below; the folder lies in build. Fails where npm
# cannot fetch it. To change the release, change both lines.
set -euo pipefail
version=1.5.6-r.1
library_sum=3f4962cdd266eab2b479a5b5a4a6d063d279b2954ae814ed00385d553b747633

folder=$(cd "$(dirname "$0")/.." && pwd)/build/duckdb-$version

is_sound() {  # folder
  printf '%s  %s\n' "$library_sum" "$1/node_modules/@duckdb/node-bindings-linux-x64/libduckdb.so" |
    sha256sum --check --status 2>/dev/null
}

if ! is_sound "$folder"; then
  mkdir -p "$folder"
  npm install --silent --no-audit --no-fund --no-save --ignore-scripts --prefix "$folder" \
      "@duckdb/node-api@$version" >&2
  if ! is_sound "$folder"; then
    echo "$0: what @duckdb/node-api@$version has is not what was expected" >&2
    exit 1
  fi
fi
echo "$folder"
