#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs a command beside a PostgreSQL server of its own: tests/postgres/cluster.sh COMMAND [ARGUMENT...]
# The server listens on a socket in a new folder alone, and both go when the command ends. The
# command finds in its environment
#   ORVSPC_TEST_SERVER  the folder of the socket; the server has a database "quality" and a role
#                       "postgres" that may do anything
#   ORVSPC_TEST_STORE   the address of that database
#   ORVSPC_TEST_START, ORVSPC_TEST_STOP  commands that start and stop the server
#   ORVSPC_TEST_HALT, ORVSPC_TEST_RESTART  commands that stop it, or stop and start it, without
#                       letting anything end (immediate)
#   ORVSPC_TEST_KILL, ORVSPC_TEST_CRASH  commands that kill its first process, or every one
#   ORVSPC_TEST_STANDBY  a command that makes a standby of it, whose socket is in the folder
#                        "standby" beside that of the server
set -euo pipefail

bin=$(find /usr/lib/postgresql -mindepth 2 -maxdepth 2 -name bin 2>/dev/null | sort -V | tail -n 1)
export PATH=${bin:+$bin:}$PATH

# In memory where there is room, since each test makes some hundred tables; ORVSPC_CLUSTER_TOP is
# another folder for it. A socket's path has at most 107 bytes.
top=${ORVSPC_CLUSTER_TOP:-/dev/shm}
[ -w "$top" ] || top=/tmp
[ ${#top} -le 60 ] || top=/tmp
folder=$(mktemp -d "$top/orvspc-pg-XXXXXX")

# The server refuses to run as root.
as=()
if [ "$(id -u)" -eq 0 ]; then
  as=(runuser -u postgres --)
  chown postgres "$folder"
fi
chmod 755 "$folder"

stop() {
  if [ -d "$folder/standby" ]; then
    (cd / && "${as[@]}" "$(command -v pg_ctl)" -D "$folder/standby" -m immediate -s stop) >/dev/null 2>&1 || true
  fi
  (cd / && "${as[@]}" "$(command -v pg_ctl)" -D "$folder/data" -m immediate -s stop) >/dev/null 2>&1 || true
  rm -rf "$folder"
}
trap stop EXIT
trap 'exit 130' INT TERM

cd_run() { (cd "$folder" && "${as[@]}" "$@"); }
cd_run "$(command -v initdb)" -D "$folder/data" -A trust -U postgres -E UTF8 --locale=C --no-instructions >"$folder/log"
cat >>"$folder/data/postgresql.conf" <<EOF
listen_addresses = ''
unix_socket_directories = '$folder'
max_connections = 200
dynamic_shared_memory_type = mmap
EOF
pg_ctl=$(command -v pg_ctl)
control="cd '$folder' && ${as[*]} '$pg_ctl' -D '$folder/data' -l '$folder/server.log' -s -w"
# What is left of a killed server goes by itself, a moment later.
export ORVSPC_TEST_START="for i in 1 2 3 4 5 6 7 8 9; do $control start && break || sleep 0.3; done"
export ORVSPC_TEST_STOP="$control -m fast stop"
export ORVSPC_TEST_HALT="$control -m immediate stop"
export ORVSPC_TEST_RESTART="$control -m immediate restart"
export ORVSPC_TEST_KILL="kill -9 \$(head -n 1 '$folder/data/postmaster.pid')"
export ORVSPC_TEST_CRASH="first=\$(head -n 1 '$folder/data/postmaster.pid')
  kill -9 \$first \$(cat /proc/[0-9]*/stat 2>/dev/null | awk -v first=\$first '\$4 == first { print \$1 }') || true"
export ORVSPC_TEST_STANDBY="cd '$folder' && ${as[*]} '$(command -v pg_basebackup)' -h '$folder' -U postgres \
  -D '$folder/standby' -R -c fast && echo \"unix_socket_directories = '$folder/standby'\" >>'$folder/standby/postgresql.conf' &&
  ${as[*]} '$pg_ctl' -D '$folder/standby' -l '$folder/standby.log' -s -w start && chmod 711 '$folder/standby'"
(eval "$ORVSPC_TEST_START")
psql -q -h "$folder" -U postgres -d postgres -c "CREATE DATABASE quality"
export ORVSPC_TEST_SERVER=$folder
export ORVSPC_TEST_STORE="postgresql://postgres@/quality?host=$folder"
"$@"
