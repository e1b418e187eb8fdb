#!/usr/bin/env bash
# Checks the form of the code: clang-format, clang-tidy and shellcheck, with the configurations kept here.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

scripts/packages.sh build lint
mapfile -t cpp < <(git ls-files '*.cpp' '*.h')
mapfile -t shell < <(git ls-files '*.sh' run test .ci/run)
clang-format --dry-run --Werror "${cpp[@]}"
shellcheck "${shell[@]}"
# The flags are GCC's; clang must not stumble over a warning that it lacks.
cmake --preset dev -DCMAKE_COMPILE_WARNING_AS_ERROR=ON >/dev/null
printf '%s\0' "${cpp[@]}" | grep -z '^\(src\|demo\)/.*\.cpp$' |
  xargs -0 -n 4 -P 2 clang-tidy --quiet -p build/dev --extra-arg=-Wno-unknown-warning-option 2> >(grep -v 'warnings generated' >&2)
echo "lint: clean"
