#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the commands of the pages of studies as they are printed, and draws their pictures anew:
#   tools/study_pages.sh PROGRAM [--check]
# With --check nothing is written: a command that fails, or a picture of a page whose words are not
# those of the picture that its command draws, is an error. Positions are not compared.
set -euo pipefail
cd "$(dirname "$0")/.."

program=$(realpath "${1:?the program orvspc}")
check=${2:-}
pages=$PWD/docs/how-to/studies
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$PWD
"$program" demo "$work/demo" >"$work/demo.txt"

orvspc() { "$program" "$@"; }
words() { grep -o '<text[^>]*>[^<]*\|<tspan[^>]*>[^<]*' "$1" | sed 's/^[^>]*>//'; }

failed=0
fail() { echo "$1" >&2; failed=1; }
for page in "$pages"/*.md; do
  name=${page##*/}
  mkdir "$work/$name"
  cd "$work/$name"  # its databases are its own
  ln -s "$root/host" ../demo .
  while read -r command; do
    eval "$command" >out.txt 2>err.txt ||
      { fail "$name: $command"; cat err.txt >&2; }
  done < <(sed -n 's/^    \(orvspc .*\)/\1/p' "$page")
  for picture in $(sed -n 's/^!\[.*\](\(.*\.svg\))$/\1/p' "$page"); do
    if [ ! -f "$picture" ]; then
      fail "$name: no command draws $picture"
    elif [ "$check" != --check ]; then
      cp "$picture" "$pages/$picture"
    elif ! diff <(words "$pages/$picture") <(words "$picture") >&2; then
      fail "$name: $picture is not what its command draws; run tools/study_pages.sh PROGRAM"
    fi
  done
done
exit $failed
