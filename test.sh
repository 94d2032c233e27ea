#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Every check of the project: ./test.sh [--slow], then ./test.sh --windows [--slow]
# --slow also runs the tests with the label "slow" and generators that take minutes, compiles each
# source by itself and the release with its benches, links everything at once, runs all tests on a
# server and under the sanitizers where otherwise every third of the program's is run, and looks at
# all sources and tests with clang-tidy where otherwise it looks at a third. --windows runs something else: it builds the component and the program for
# Windows, and checks them under Wine; with --slow as optimised as they are delivered.
# Each stage's output goes to build/logs; what fails is shown, and at the end the time of each stage
# beside its processor time. Exit status 0 when every stage passed.
set -uo pipefail
cd "$(dirname "$0")"
# shellcheck source=tools/packages.sh
. tools/packages.sh

labels=(-LE slow)
tidied=(src system engine host)
third=(--third)
slow=()
windows=no
for argument in "$@"; do
  case $argument in
    --slow) labels=(); slow=(--slow); tidied+=(tests); third=() ;;
    --windows) windows=yes ;;
    *) echo "usage: ./test.sh [--windows] [--slow]" >&2; exit 2 ;;
  esac
done

logs=$PWD/build/logs
mkdir -p "$logs"
jobs=$(nproc)
table=()
failed=()
began=$SECONDS

line() { printf '%-34s %-7s %5d s %5d s' "$@"; }
row() { table+=("$(line "$@")"); }

# Sets `spent` to the processor seconds of all stages so far.
spent=0
measure() {
  times >"$logs/times"
  spent=$(awk 'END { split($1 $2, t, /[ms]/); printf "%d", 60 * (t[1] + t[3]) + t[2] + t[4] }' \
              "$logs/times")
}

# stage NAME LOG COMMAND...: runs the command, keeps its output, notes result and time.
stage() {
  local name=$1 log=$logs/$2.log start=$SECONDS before=$spent result=passed
  shift 2
  printf '==> %s\n' "$name"
  if ! "$@" >"$log" 2>&1 </dev/null; then
    result=FAILED
    tail -n 80 "$log"
    failed+=("$name")
  fi
  measure
  row "$name" $result $((SECONDS - start)) $((spent - before))
  [ $result = passed ]
}

# A stage that cannot be run because an earlier one failed counts as failed.
not_run() { row "$1" "not run" 0 0; failed+=("$1"); }

build() {  # preset, options of CMake
  cmake --preset "$@" && cmake --build --preset "$1" -- -k 0
}

run_tests() {  # preset
  ctest --test-dir "build/$1" --output-on-failure --no-tests=error -j "$jobs" \
        ${labels[@]+"${labels[@]}"}
}

closing_summary() { sed -n '/tests passed/,$p' "$logs/$1.log"; }  # log

build_and_test() {  # preset, what it is
  if stage "build, $2" "build-$1" build "$1" "-DORVSPC_SLOW_TESTS=${slow:+ON}"; then
    stage "tests, $2" "tests-$1" run_tests "$1"
    closing_summary "tests-$1"
  else
    not_run "tests, $2"
  fi
}

floors() {
  tools/check_floors.py --self-test && tools/check_floors.py && tools/check_sql.sh &&
    tools/check_writes.py --self-test && tools/check_writes.py
}

# What runs on several threads; the rest of the tests says nothing to the thread sanitizer.
build_threads() {
  cmake --preset tsan "-DORVSPC_SLOW_TESTS=${slow:+ON}" &&
    cmake --build --preset tsan --target test_threads test_engine_store ${slow:+test_threads_slow} \
          -- -k 0
}

run_threads() {
  local -x TSAN_OPTIONS="suppressions='$PWD/tests/threads/sanitizer.supp'"
  build/tsan/bin/test_threads &&
    build/tsan/bin/test_engine_store --gtest_filter='TwoThreadsTest.*:Halves.*' &&
    { [ ${#slow[@]} = 0 ] || build/tsan/bin/test_threads_slow; }
}

# Nothing of this preset is built, but what a source includes of the build folder is made.
tidy() {
  local made=build/tidy/made/members maker=tests/windows/client/make_members.py
  cmake --preset tidy && mkdir -p $made && $maker headers $made/plain_headers.inc &&
    $maker plain $made/plain_members.inc && $maker plain-creators $made/plain_creators.inc &&
    tools/check_tidy.py build/tidy ${third[@]+"${third[@]}"} "${tidied[@]}"
}

# The table of all stages, and the exit status.
report() {
  printf '\n'
  printf '%-34s %-7s %7s %7s\n' stage result time processor
  printf '%s\n' "${table[@]}"
  printf '%s\n' "$(line all "" $((SECONDS - began)) "$spent")"
  if [ ${#failed[@]} -gt 0 ]; then
    printf 'FAILED: %s of %s stages; output in build/logs\n' "${#failed[@]}" "${#table[@]}"
    exit 1
  fi
  printf 'PASSED: all %s stages\n' "${#table[@]}"
  exit 0
}

# What the component and the program for Windows are compared with.
build_compared() { cmake --preset ci && cmake --build --preset ci --target orvspc windows_compared; }

# The archive has what an installation needs, and nothing that was only built with it. One of an
# earlier version goes before: there is one archive in the folder.
archive() {
  rm -f build/windows-64/orvSPCAnalysis6-*-win64.zip
  (cd build/windows-64 && cpack -G ZIP >&2) &&
    python3 -m zipfile -l build/windows-64/orvSPCAnalysis6-*-win64.zip | awk 'NR > 1 { print $1 }' |
    sed 's|^[^/]*/||; /^$/d; /\/$/d' | LC_ALL=C sort | diff tests/windows/archive.txt -
}

if [ $windows = yes ]; then
  stage "packages" packages require "$build_needs$test_needs" || report
  require "$windows_needs" >"$logs/packages-windows.log" 2>&1
  case $? in
    0) ;;
    2) cat "$logs/packages-windows.log"; echo "skipped"; exit 0 ;;
    *) cat "$logs/packages-windows.log"; exit 1 ;;
  esac
  stage "build, what is compared with" build-compared build_compared
  quick=(-DCMAKE_CXX_FLAGS_RELEASE="-O0 -DNDEBUG")
  if [ ${#slow[@]} -gt 0 ]; then quick=(-UCMAKE_CXX_FLAGS_RELEASE); fi
  for bits in 64 32; do
    prefix=x86_64-w64-mingw32
    if [ $bits = 32 ]; then prefix=i686-w64-mingw32; fi
    if stage "build, Windows, $bits bits" "build-windows-$bits" \
             build windows-$bits "${quick[@]}"; then
      stage "exports and imports, $bits bits" "dlls-$bits" \
            tests/windows/exports.sh build/windows-$bits/bin $prefix-objdump
    else
      not_run "exports and imports, $bits bits"
    fi
  done
  if [ ${#failed[@]} -gt 0 ]; then
    not_run "archive"
    not_run "under Wine"
    report
  fi
  stage "archive" archive archive
  stage "under Wine" wine tests/windows/run.sh build/windows-64/bin build/ci/bin
  cat "$logs/wine.log"
  report
fi

stage "packages" packages require "$build_needs$test_needs$bench_needs" || exit 1

export UBSAN_OPTIONS=print_stacktrace=1
stage "floors of the includes" floors floors
stage "left-overs and licence lines" words tools/check_words.sh
stage "formatting" format tools/check_format.sh
stage "generated files are current" generated tools/check_generated.sh ${slow[@]+"${slow[@]}"}
if [ ${#slow[@]} -gt 0 ]; then stage "build, file by file" build-dev build dev; fi
build_and_test ci "g++"
stage "tests, PostgreSQL" postgres tests/postgres/run.sh build/ci/bin ${slow[@]+"${slow[@]}"}
stage "pages of studies" pages tools/study_pages.sh build/ci/bin/orvspc --check
stage "each public header alone" headers \
      cmake --build --preset ci --target all_verify_interface_header_sets
stage "package, used from outside" consumer tests/consumer/run.sh build/ci
if [ ${#slow[@]} -gt 0 ]; then
  stage "one definition of each name" odr build odr
  # The release with its benches, which nothing else compiles.
  if stage "build, release" build-bench build bench; then
    stage "hardening of the release" hardening tools/check_hardening.sh build/bench/bin/orvspc
  else
    not_run "hardening of the release"
  fi
fi
build_and_test asan "clang, address and undefined"
if stage "build, clang, thread" build-tsan build_threads; then
  stage "tests, clang, thread" tests-tsan run_threads
else
  not_run "tests, clang, thread"
fi
stage "clang-tidy" tidy tidy

report
