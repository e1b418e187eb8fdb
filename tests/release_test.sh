#!/usr/bin/env bash
# What the release binary is: hardened, free of needless libraries, and hardly dearer to start than its floor.
# Usage: release_test.sh PROGRAM FLOOR
set -euo pipefail

program=$1
floor=$2
# The largest share over the floor's instructions, in percent.
limit=125

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
libraries() { readelf --dynamic "$1" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | sort; }
instructions() {
  env -i REMOTE_USER=user QUERY_STRING=action=load_browsing_page \
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$1" 2>&1 >/dev/null | sed -n 's/.*Collected : //p'
}
starts_fast() {
  local of_program of_floor
  of_program=$(instructions "$program") of_floor=$(instructions "$floor")
  echo "instructions: $of_program, floor $of_floor, $((100 * of_program / of_floor)) %"
  ((100 * of_program <= limit * of_floor))
}

check 'position independent' shows --file-header 'Type: +DYN'
check 'relocations are read-only' shows --dynamic 'BIND_NOW|FLAGS.*NOW'
check 'has a RELRO segment' shows --segments GNU_RELRO
check 'stack protector' shows --dyn-syms __stack_chk_fail
check 'fortified' shows --dyn-syms '_chk@'
check 'no library beyond those of the floor' needs_only_the_floor
check 'serves nobody without a login' test -z "$(env -i "$program")"
check 'starts fast' starts_fast
