#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds and runs every bench and prints one table, goals beside figures:
#   ./bench.sh [--rounds N] [--subgroups N]
# Each program runs on one processor, or on two where that is said. The ratios are of N rounds (15) in
# which ours and another program take turns: medians, and "processor" of the least processor times.
# What the programs print is kept in build/bench. A goal that is missed is no failure.
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
# run NAME PROCESSORS COMMAND...: keeps what it prints as NAME; a mismatch of figures is a failure.
run() {
  local name=$1 processors=$2
  shift 2
  echo "==> $name" >&2
  if ! taskset -c "$processors" "$@" >"$folder/$name.txt" 2>"$folder/$name.err" ||
     grep -q MISMATCH "$folder/$name.txt"; then
    cat "$folder/$name.txt" "$folder/$name.err" >&2
    failed=1
  fi
}
# skip NAME REASON
skip() {
  echo "==> $1: $2" >&2
  echo "not measured: $2" >"$folder/$1.txt"
}

bin=$folder/bin/bench
data=(--subgroups "$subgroups" --dir build/bench-data)
turns=(--rounds "$rounds" --keep-memory 1)
few=(--rounds 3)  # of what takes seconds
run charts 0 "${bin}_charts" "${data[@]}" "${turns[@]}"
run capability 0 "${bin}_capability" "${data[@]}" "${turns[@]}"  # over the databases of charts, as below
run pareto 0 "${bin}_pareto" "${data[@]}" "${turns[@]}"
both=0,1  # where a second thread has a processor of its own
if taskset -c $both true 2>/dev/null; then
  run charts-2 $both "${bin}_charts" "${data[@]}" "${turns[@]}" --reuse 1
  run capability-2 $both "${bin}_capability" "${data[@]}" "${turns[@]}"
  run pareto-2 $both "${bin}_pareto" "${data[@]}" "${turns[@]}"
else
  for name in charts capability pareto; do skip $name-2 "there is one processor"; done
fi
run log 0 "${bin}_log" "${data[@]}" "${few[@]}"  # over the database of charts
run judge 0 "${bin}_judge" "${data[@]}" "${turns[@]}"
run migration 0 "${bin}_migration" "${data[@]}" "${few[@]}"
if duckdb=$(tools/fetch_duckdb.sh 2>"$folder/fetch.err"); then
  run columns 0 "${bin}_columns" "${data[@]}" "${few[@]}" --other "$duckdb"
else
  skip columns "npm cannot fetch DuckDB"
fi
if compgen -G "/usr/lib/postgresql/*/bin/initdb" >/dev/null && pkg-config --exists libpq; then
  # shellcheck disable=SC2016  # the address is known inside
  run server 0-1 env ORVSPC_CLUSTER_TOP="${TMPDIR:-/tmp}" tests/postgres/cluster.sh bash -c \
      '"$@" --other "$ORVSPC_TEST_STORE"' - "${bin}_server" "${data[@]}" "${turns[@]}"
else
  skip server "there is no PostgreSQL"
fi
run series 0 "${bin}_series" "${data[@]}"
run append 0 "${bin}_append" "${data[@]}" "${turns[@]}"  # to the database of series
run record 0-1 "${bin}_record" "${data[@]}" "${turns[@]}"  # also to a copy of it
if require "$peer_needs" >"$folder/peers.log" 2>&1; then
  run studies 0 "${bin}_studies" --dir build/bench-data "${few[@]}" --other Rscript
  run weighted 0 "${bin}_weighted" "${data[@]}" "${few[@]}"
else
  run studies 0 "${bin}_studies" --dir build/bench-data "${few[@]}"
  skip weighted "there is no scipy"
fi
run overhead 0 "${bin}_overhead"
run xml 0 "${bin}_xml"

# Each row of the goals picks the line of a program that begins with its name, and in it the number
# beside the name of the figure.
while IFS=$'\t' read -r program line figure must goal better meaning; do
  if [ "$program" = program ]; then
    printf '%-12s %-30s %-17s %9s %6s %6s  %-6s %s\n' \
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
      number = "-?[0-9.]+(e[+-]?[0-9]+)?"
      if (match(rest, figure "[ =]+" number) || match(rest, number "[ ]*" figure)) {
        text = substr(rest, RSTART, RLENGTH)
        gsub(figure, "", text)
        gsub(/[ =]/, "", text)
        value = text + 0
        found = 1
      }
    }
    /^not measured/ { skipped = 1 }
    END {
      verdict = reached(goal) ? "goal" : reached(must) ? "must" : "MISSED"
      if (must == "-") verdict = ""
      if (!found) verdict = skipped ? "none" : "NONE"
      printf "%-12s %-30s %-17s %9s %6s %6s  %-6s %s\n", program, job, figure,
             found ? value : "-", must, goal, verdict, meaning
      exit (!found && !skipped)
    }' "$folder/$program.txt" || failed=1
done <bench/goals.tsv
exit $failed
