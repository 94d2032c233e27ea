#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A stage of run.sh: a compiled host walks over every member of every class of the registered
# component, and prints what the same walk prints over the plain classes on Linux.
set -euo pipefail
# shellcheck source=tests/windows/client/stage.sh
. tests/windows/client/stage.sh
client=tests/windows/client

"$client"/walk_plain.sh "$ORVSPC_LINUX/orvspc" "$ORVSPC_LINUX/walk_plain" "$ORVSPC_WORK/linux"
copy_samples "$ORVSPC_WORK/linux" "$ORVSPC_WORK/windows"
register "$ORVSPC_WINDOWS"
(cd "$ORVSPC_WORK/windows" && on_wine 120 "$ORVSPC_WINDOWS/walk.exe" walk.txt)
one=$ORVSPC_WORK/windows/walk.txt other=$ORVSPC_WORK/linux/walk.txt
"$client"/compare_walks.py --self-test
"$client"/compare_walks.py "$one" "$other"
"$client"/compare_walks.py --xml "$one" "$other"
"$client"/make_members.py list "$ORVSPC_WORK/members.txt"
"$client"/compare_walks.py --called "$ORVSPC_WORK/members.txt" "$one"
