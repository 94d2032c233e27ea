#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds and runs every bench and prints one table, goals beside figures:
#   ./bench.sh [--rounds N] [--subgroups N]
# Each program runs on one processor. The ratios are of the least processor times of N rounds (15) in
# which ours and the plain program take turns. What the programs print is kept in build/bench.
set -euo pipefail
cd "$(dirname "$0")"
# shellcheck source=tools/packages.sh
. tools/packages.sh

rounds=15
subgroups=1000000
while [ $# -gt 0 ]; do
  case $1 in
    --rounds) rounds=${2:?a number} ;;
    --subgroups) subgroups=${2:?a number} ;;
    *) echo "usage: ./bench.sh [--rounds N] [--subgroups N]" >&2; exit 2 ;;
  esac
  shift 2
done

require "$build_needs$bench_needs"
folder=build/bench
mkdir -p "$folder"
if ! { cmake --preset bench && cmake --build --preset bench; } >"$folder/build.log" 2>&1; then
  tail -n 40 "$folder/build.log" >&2
  exit 1
fi

failed=0
# run PROGRAM ARGUMENT...: a mismatch of the figures is a failure.
run() {
  local program=$1
  shift
  echo "==> $program" >&2
  if ! taskset -c 0 "$folder/bin/bench_$program" "$@" >"$folder/$program.txt" 2>"$folder/$program.err" ||
     grep -q MISMATCH "$folder/$program.txt"; then
    cat "$folder/$program.txt" "$folder/$program.err" >&2
    failed=1
  fi
}

data=(--rounds "$rounds" --subgroups "$subgroups" --dir build/bench-data --keep-memory 1)
run charts "${data[@]}"
run capability "${data[@]}"  # over the databases of charts
run pareto "${data[@]}"
run overhead
run xml

# Each row of the goals picks the line of a program that begins with its name, and in it the number
# beside the name of the figure.
while IFS=$'\t' read -r program line figure must goal better meaning; do
  if [ "$program" = program ]; then
    printf '%-11s %-30s %-17s %9s %6s %6s  %-6s %s\n' \
           program job figure is must goal "" meaning
    continue
  fi
  awk -v program="$program" -v job="$line" -v figure="$figure" -v must="$must" -v goal="$goal" \
      -v better="$better" -v meaning="$meaning" '
    function reached(limit) {
      return limit != "-" && (better == "<=" ? value <= limit + 0 : value >= limit + 0)
    }
    !found && index($0, job) == 1 && substr($0, length(job) + 1) ~ /^[ \/]/ {
      rest = substr($0, length(job) + 1)
      number = "[0-9.]+(e[+-]?[0-9]+)?"
      if (match(rest, figure "[ =]+" number) || match(rest, number "[ ]*" figure)) {
        text = substr(rest, RSTART, RLENGTH)
        gsub(figure, "", text)
        gsub(/[ =]/, "", text)
        value = text + 0
        found = 1
      }
    }
    END {
      verdict = !found ? "NONE" : must == "-" ? "" : reached(goal) ? "goal" :
                reached(must) ? "must" : "MISSED"
      printf "%-11s %-30s %-17s %9s %6s %6s  %-6s %s\n", program, job, figure,
             found ? value : "-", must, goal, verdict, meaning
      exit !found
    }' "$folder/$program.txt" || failed=1
done <bench/goals.tsv
exit $failed
