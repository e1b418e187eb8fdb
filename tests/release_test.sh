#!/usr/bin/env bash
# What the release binary is: hardened, free of needless libraries, and hardly dearer to start than its floor.
# Usage: release_test.sh PROGRAM FLOOR PERCENT
#   FLOOR     the least program over the same shared libraries
#   PERCENT   the most that a request may cost of the floor's instructions
set -euo pipefail

program=$1
floor=$2
limit=$3
demo=$(dirname "$(readlink -f "$0")")/../demo
cluster=$PWD/${program##*/}.pgsql

check() {
  if "${@:2}"; then
    echo "ok: $1"
  else
    echo "FAILED: $1"
    exit 1
  fi
}

shows() { grep -qE "$2" <<<"$(readelf --wide "$1" "$program")"; }
needs_only_the_floor() { diff <(libraries "$program") <(libraries "$floor"); }
# The loader has a name of its own among them where thread-local data is looked up.
libraries() { readelf --dynamic "$1" | sed -n '/\[ld-/d; s/.*NEEDED.*\[\(.*\)\]/\1/p' | sort; }
instructions() {
  env -i REMOTE_USER=user QUERY_STRING=action=load_browsing_page \
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$1" 2>&1 >/dev/null | sed -n 's/.*Collected : //p'
}
starts_fast() {
  local of_program of_floor
  of_program=$(instructions "$program") of_floor=$(instructions "$floor")
  echo "instructions: $of_program, floor $of_floor, $((100 * of_program / of_floor)) %, at most $limit %"
  ((100 * of_program <= limit * of_floor))
}
# What is loaded, and what is answered, while collections are listed from the server in the given folder.
listing() {
  env -i LD_DEBUG=files PGHOST="$1" REMOTE_USER="$(id -un)" QUERY_STRING=action=loadCollection "$program" 2>&1 |
    sed -n 's/.*calling init: //p; /^{/p'
}
runtime() { grep -oE 'lib(stdc[+][+]|gcc_s|jsoncpp)\.so' | sort -u; }
# libpq comes with many libraries; the C++ runtime is linked in or shared, never both.
one_runtime() {
  local seen
  seen=$(listing "$1")
  grep -q 'libpq\.so' <<<"$seen" && grep -qE "$2" <<<"$seen" &&
    diff <(runtime <<<"$seen") <(libraries "$program" | runtime)
}
start_server() {
  socket=$("$demo/postgres.sh" start "$cluster") &&
    psql -Xq -h "$socket" -U postgres -d video_metadata -v uid="$(id -u)" -f "$demo/video_library.sql"
}
stop_server() {
  "$demo/postgres.sh" stop "$cluster"
  rm -rf "$cluster"
}

check 'position independent' shows --file-header 'Type: +DYN'
check 'relocations are read-only' shows --dynamic 'BIND_NOW|FLAGS.*NOW'
check 'has a RELRO segment' shows --segments GNU_RELRO
check 'stack protector' shows --dyn-syms __stack_chk_fail
check 'fortified' shows --dyn-syms '_chk@'
check 'no library beyond those of the floor' needs_only_the_floor
check 'serves nobody without a login' test -z "$(env -i "$program")"
check 'tells its version' grep -qxE 'mediaserv [0-9.]+' <("$program" --version)
check 'but not in CGI use' test -z "$(REQUEST_METHOD=POST "$program" --version)$(GATEWAY_INTERFACE=CGI/1.1 "$program" --version)"
check 'nor by other arguments' test -z "$("$program" --version x)$("$program" -v)"
check 'starts fast' starts_fast
check 'one C++ runtime without a database server' one_runtime "$PWD/nowhere" '"collections":\[\]'
trap stop_server EXIT
trap 'exit 1' INT TERM HUP
check 'a database server' start_server
check 'one C++ runtime with a database server' one_runtime "$socket" '"collections":\[\{'
