#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Refuses what only SQLite knows outside engine/sql/sqlite: its library, its pragmas, its own words
# of SQL. Prints each place found. The .sql files of engine/schema are SQLite's own, and a released
# one never changes.
set -uo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=tools/sources.sh
. tools/sources.sh

of_sqlite='sqlite3_|sqlite3\.h|sqlite_master|last_insert_rowid|PRAGMA |INSERT OR |\b(ifnull|iif)\('

found=0
while read -r file; do
  case $file in
    engine/sql/sqlite/*) ;;
    src/* | engine/* | host/*)
      if grep -nHE "$of_sqlite" "$file"; then found=1; fi
      ;;
  esac
done < <(our_files '*.cpp' '*.h')
exit $found
