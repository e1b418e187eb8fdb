#!/usr/bin/env bash
# Checks the style of the code with clang-format, clang-tidy, shellcheck, pycodestyle and pyflakes, and that of the page
# with ESLint, stylelint and html-validate. lint/ has the configurations and versions of the page's linters.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

scripts/packages.sh build lint
mapfile -t cpp < <(git ls-files '*.cpp' '*.h')
mapfile -t shell < <(git ls-files '*.sh' run test .ci/run bench/run 'packaging/*/p*' 'packaging/files/*.init' \
  packaging/files/mediaserv-user)
clang-format --dry-run --Werror "${cpp[@]}"
shellcheck "${shell[@]}"
mapfile -t python < <(git ls-files '*.py')
pycodestyle --max-line-length=120 "${python[@]}"
pyflakes3 "${python[@]}"

type -P npm >/dev/null || scripts/packages.sh npm
mkdir -p build/lint
cp scripts/lint/* build/lint
if ! cmp --silent scripts/lint/package-lock.json build/lint/installed.json; then
  npm ci --prefix build/lint --ignore-scripts --no-audit --no-fund >/dev/null
  cp scripts/lint/package-lock.json build/lint/installed.json
fi
tools=build/lint/node_modules/.bin
"$tools/eslint" --config build/lint/eslint.config.js web minidlna/page
"$tools/stylelint" --config build/lint/stylelint.config.js 'web/*.css' 'minidlna/page/*.css'
"$tools/html-validate" --config build/lint/html-validate.json web/index.html
# The other linters don't check the length of these lines. A text in JSON may be longer.
mapfile -t page < <(git ls-files web/ minidlna/ | grep -E '\.(html|css|svg|json)$')
if LC_ALL=C.UTF-8 grep -nE '.{121}' "${page[@]}" | grep -vE '\.json:[0-9]+:[^"]*"[^"]*": "'; then
  echo "lint: lines of more than 120 characters" >&2
  exit 1
fi

# The flags are those of GCC. clang must not report a warning option that it does not know.
cmake --preset dev -DCMAKE_COMPILE_WARNING_AS_ERROR=ON >/dev/null
printf '%s\0' "${cpp[@]}" | grep -z '^\(src\|minidlna\)/.*\.cpp$' |
  xargs -0 -n 4 -P 2 clang-tidy --quiet -p build/dev --extra-arg=-Wno-unknown-warning-option 2> >(grep -v 'warnings generated' >&2)
echo "lint: clean"
