#!/usr/bin/env bash
# Replays the corpus of every fuzz target, then fuzzes each: fuzz.sh [SECONDS each, 10 when not given; 0 replays alone]
# What is found is kept in build/fuzz/findings; new inputs stay in build/fuzz/corpus for the next time.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
readonly seconds=${1:-10}
# No permitted input of a few kilobytes takes more; a second is long on a busy machine, too.
readonly limits=(-timeout=10 -rss_limit_mb=512 -malloc_limit_mb=64)
# Memory that was given back doesn't count against the limit, however long a run is.
export ASAN_OPTIONS=quarantine_size_mb=16

scripts/packages.sh build fuzz
[[ -f build/fuzz/build.ninja ]] || cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -- --quiet
mkdir -p build/fuzz/findings

# Files that a target writes go where syncing them costs nothing, if there is such a place.
memory=/dev/shm
[[ -w $memory ]] || memory=${TMPDIR:-/tmp}
TMPDIR=$(mktemp -d "$memory/fuzz.XXXXXX")
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

# fuzz TARGET ARGUMENT...
fuzz() {
  local target=$1 log=build/fuzz/$1.log
  shift
  if ! "build/fuzz/fuzz/fuzz_$target" "${limits[@]}" -artifact_prefix="build/fuzz/findings/$target-" "$@" &>"$log"; then
    tail -n 40 "$log" >&2
    echo "fuzz: $target has a finding: its input is in build/fuzz/findings, its report in $log" >&2
    return 1
  fi
}

failed=0
for corpus in fuzz/corpus/*; do
  target=${corpus##*/}
  mkdir -p "build/fuzz/corpus/$target"
  fuzz "$target" "$corpus"/* || failed=1
  ((seconds == 0)) || fuzz "$target" -max_total_time="$seconds" -dict="fuzz/dictionaries/$target.dict" \
    "build/fuzz/corpus/$target" "$corpus" || failed=1
done
((failed)) || echo "fuzz: nothing found"
exit $failed
