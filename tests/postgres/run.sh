#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The tests of the store, the selection, imports, analyses and the program against a PostgreSQL
# server of their own: tests/postgres/run.sh FOLDER_OF_THE_TEST_PROGRAMS [--slow]
set -euo pipefail
programs=$(cd "${1:?the folder of the test programs}" && pwd)
cd "$(dirname "$0")"
slow=${2:-}
of_files=$(sed '/^#/d; s/ .*//' of_files.txt | paste -sd:)

suites=(engine_sql engine_chunks engine_store engine engine_charts engine_capability engine_pareto
        engine_compliance engine_audit engine_write engine_write_chunks engine_write_log
        engine_write_import engine_write_record engine_write_change engine_write_alarms
        engine_write_limits engine_write_deliver threads host script)
run_all() {
  local failed=0 suite
  for suite in "${suites[@]}"; do
    timeout 300 "$programs/test_$suite" --gtest_brief=1 --gtest_filter="-$of_files" || failed=1
  done
  # Last, since it stops and starts the server.
  timeout 300 "$programs/test_postgres" --gtest_brief=1 || failed=1
  if [ "$slow" = --slow ]; then
    timeout 1800 "$programs/test_postgres_slow" --gtest_brief=1 || failed=1
  fi
  return $failed
}
export -f run_all
export programs of_files slow
# shellcheck disable=SC2016  # expanded by the inner shell
./cluster.sh bash -c "$(declare -p suites); run_all"
