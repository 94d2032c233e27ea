#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The tests of the store, the selection, imports, analyses and the program against a PostgreSQL
# server of their own: tests/postgres/run.sh FOLDER_OF_THE_TEST_PROGRAMS [--slow]
# Without --slow every third test of a program, since each makes a hundred tables, and all of those
# that are about a server.
set -euo pipefail
programs=$(cd "${1:?the folder of the test programs}" && pwd)
cd "$(dirname "$0")"
slow=${2:-}
of_files=$(sed '/^#/d; s/ .*//' of_files.txt | paste -sd:)

# Those that take longest come first.
suites=(host engine_write_change engine engine_write_record engine_write_limits engine_charts
        engine_write_import engine_write_alarms postgres script engine_write engine_store
        engine_write_log engine_chunks engine_write_chunks engine_capability engine_pareto
        engine_compliance engine_audit engine_sql engine_write_deliver threads)
if [ "$slow" = --slow ]; then suites=(postgres_slow "${suites[@]}"); fi

# Each beside a server of its own, since some stop theirs; two wait for theirs less than one does.
run_suite() {
  local limit=600 output result=0
  if [ "$1" = postgres_slow ]; then limit=1800; fi
  local -x GTEST_TOTAL_SHARDS=3 GTEST_SHARD_INDEX=0
  case $slow$1 in --slow* | postgres* | engine_sql) unset GTEST_TOTAL_SHARDS GTEST_SHARD_INDEX ;; esac
  output=$(./cluster.sh timeout $limit "$programs/test_$1" --gtest_brief=1 \
                        --gtest_filter="-$of_files" 2>&1) || result=1
  printf '%s\n%s\n' "$1" "$output"
  return $result
}
export -f run_suite
export programs of_files slow
printf '%s\n' "${suites[@]}" | xargs -P 2 -I{} bash -c 'run_suite {}'
