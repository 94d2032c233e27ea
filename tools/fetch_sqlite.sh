#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Prints a folder with sqlite3.c and sqlite3.h of one fixed release, for builds that have no SQLite of
# the system's. They come out of an npm package, are checked against the sums below, and stay in
# ~/.cache, so that they are fetched once a machine. To change the release, change all four lines.
set -euo pipefail
package=better-sqlite3
version=11.10.0  # SQLite 3.49.2
source_sum=e80215754ac6cfaefe272342efd581b6dbefdbdc21f96bd83fcb698bee9d36a5
header_sum=2198c66d4c59ae86421590c27fd53309ec14a595ae31c0c7143247444018a0bd

folder=${XDG_CACHE_HOME:-$HOME/.cache}/orvspc/$package-$version

is_sound() {  # folder
  printf '%s  %s\n' "$source_sum" "$1/sqlite3.c" "$header_sum" "$1/sqlite3.h" |
    sha256sum --check --status 2>/dev/null
}

if ! is_sound "$folder"; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  cd "$work"
  npm pack --silent "$package@$version" >&2
  tar -xzf "$package-$version.tgz" --wildcards --no-anchored --strip-components=3 \
      package/deps/sqlite3/sqlite3.c package/deps/sqlite3/sqlite3.h
  if ! is_sound "$work"; then
    echo "$0: what $package@$version has is not what was expected" >&2
    exit 1
  fi
  mkdir -p "$folder"
  mv sqlite3.c sqlite3.h "$folder"
fi
echo "$folder"
