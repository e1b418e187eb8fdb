#!/usr/bin/env bash
# Checks the release binary: it is hardened, needs no unnecessary library, and its start is fast.
# Usage: release_test.sh PROGRAM BASELINE PERCENT
#   BASELINE   a minimal program over the same shared libraries
#   PERCENT    a request executes at most this many percent of the baseline's instructions
set -euo pipefail

program=$1
baseline=$2
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
needs_only_the_libraries_of_the_baseline() { diff <(libraries "$program") <(libraries "$baseline"); }
# Omits the dynamic loader, which is also listed if a program uses thread-local data.
libraries() { readelf --dynamic "$1" | sed -n '/\[ld-/d; s/.*NEEDED.*\[\(.*\)\]/\1/p' | sort; }
instructions() {
  env -i REMOTE_USER=user QUERY_STRING=action=load_browsing_page \
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$1" 2>&1 >/dev/null | sed -n 's/.*Collected : //p'
}
starts_fast() {
  local of_program of_baseline
  of_program=$(instructions "$program") of_baseline=$(instructions "$baseline")
  echo "instructions: $of_program, baseline $of_baseline, $((100 * of_program / of_baseline)) %, at most $limit %"
  ((100 * of_program <= limit * of_baseline))
}
# Lists the collections of the database server in the given folder; prints the loaded libraries and the response.
list_collections() {
  env -i LD_DEBUG=files PGHOST="$1" REMOTE_USER="$(id -un)" QUERY_STRING=action=loadCollection "$program" 2>&1 |
    sed -n 's/.*calling init: //p; /^{/p'
}
runtime() { grep -oE 'lib(stdc[+][+]|gcc_s|jsoncpp)\.so' | sort -u; }
# libpq loads many libraries. The C++ runtime must be either part of the program or a shared library, never both.
one_runtime() {
  local output
  output=$(list_collections "$1")
  grep -q 'libpq\.so' <<<"$output" && grep -qE "$2" <<<"$output" &&
    diff <(runtime <<<"$output") <(libraries "$program" | runtime)
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
check 'needs no other libraries than the baseline' needs_only_the_libraries_of_the_baseline
check 'no response without a login' test -z "$(env -i "$program")"
check 'prints its version' grep -qxE 'mediaserv [0-9.]+' <("$program" --version)
check 'prints no version as a CGI program' test -z "$(REQUEST_METHOD=POST "$program" --version)$(GATEWAY_INTERFACE=CGI/1.1 "$program" --version)"
check 'prints no version with other arguments' test -z "$("$program" --version x)$("$program" -v)"
check 'starts fast' starts_fast
check 'one C++ runtime without a database server' one_runtime "$PWD/nowhere" '"collections":\[\]'
trap stop_server EXIT
trap 'exit 1' INT TERM HUP
check 'start of a database server' start_server
check 'one C++ runtime with a database server' one_runtime "$socket" '"collections":\[\{'
