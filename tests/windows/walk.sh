#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A stage of run.sh: a compiled host walks over every member of every class of the registered
# component. The same walk over the plain classes prints the same bytes under Wine, the texts of
# GetXML among them, and on Linux the same but for the last digits of some doubles, which come from
# another mathematical library.
set -euo pipefail
# shellcheck source=tests/windows/client/stage.sh
. tests/windows/client/stage.sh
client=tests/windows/client

"$client"/walk_plain.sh "$ORVSPC_LINUX/orvspc" "$ORVSPC_LINUX/walk_plain" "$ORVSPC_WORK/linux"
register "$ORVSPC_WINDOWS"
for program in walk walk_plain; do
  copy_samples "$ORVSPC_WORK/linux" "$ORVSPC_WORK/$program"
  (cd "$ORVSPC_WORK/$program" && on_wine 120 "$ORVSPC_WINDOWS/$program.exe" walk.txt)
done
one=$ORVSPC_WORK/walk/walk.txt
"$client"/compare_walks.py --self-test
"$client"/compare_walks.py "$one" "$ORVSPC_WORK/linux/walk.txt"
"$client"/compare_walks.py --exactly "$one" "$ORVSPC_WORK/walk_plain/walk.txt"
"$client"/make_members.py list "$ORVSPC_WORK/members.txt"
"$client"/compare_walks.py --called "$ORVSPC_WORK/members.txt" "$one"
