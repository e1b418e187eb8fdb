#!/usr/bin/env bash
# Replays the corpus of every fuzz target, then fuzzes each target for some seconds: fuzz.sh [SECONDS]
#   SECONDS   for each target, 10 by default; 0 only replays the corpus
# Inputs that make a target fail are kept in build/fuzz/findings, and new inputs in build/fuzz/corpus for the next run.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
readonly seconds=${1:-10}
# A valid input of a few kilobytes stays far below these limits, even on a busy machine.
readonly limits=(-timeout=10 -rss_limit_mb=512 -malloc_limit_mb=64)
# By default AddressSanitizer keeps up to 256 MiB of freed memory, which a long run would add to its memory limit.
export ASAN_OPTIONS=quarantine_size_mb=16

scripts/packages.sh build fuzz
[[ -f build/fuzz/build.ninja ]] || cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -- --quiet
mkdir -p build/fuzz/findings

# Targets write files and sync them. This takes no time in memory, so use /dev/shm if it exists.
memory=/dev/shm
[[ -w $memory ]] || memory=${TMPDIR:-/tmp}
TMPDIR=$(mktemp -d "$memory/fuzz.XXXXXX")
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

# fuzz TARGET ARGUMENT...: runs the target and reports a failure.
fuzz() {
  local target=$1 log=build/fuzz/$1.log
  shift
  if ! "build/fuzz/fuzz/fuzz_$target" "${limits[@]}" -artifact_prefix="build/fuzz/findings/$target-" "$@" &>"$log"; then
    tail -n 40 "$log" >&2
    echo "fuzz: $target failed. The input is in build/fuzz/findings, the report in $log" >&2
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
((failed)) || echo "fuzz: no target failed"
exit $failed
