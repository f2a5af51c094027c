#!/usr/bin/env bash
# Checks every source with clang-format, cppcheck, qmllint and clang-tidy, the includes between
# folders, the two manuals against each other and each file by itself; fails on any finding.
# clang-tidy's hardest work is Qt's headers, which it reads once for each library; benchmarks, tools
# and tests are one program each and take longer than all else together, so they are left to --all,
# which needs a built release preset.
# Usage: lint.sh [--all]
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)
mapfile -t sources < <(git ls-files '*.cpp' '*.h')
mapfile -t folders < <(printf '%s\n' "${sources[@]}" | cut -d / -f 1 | sort -u)
failed=()

# check NAME COMMAND ...: goes on after a finding, so that one run tells them all.
check() {
  local begin=$SECONDS name=$1
  shift
  "$@" || failed+=("$name")
  echo "$name: $((SECONDS - begin)) s"
}

run_cppcheck() {
  cppcheck --quiet -j "$jobs" --error-exitcode=1 --library=qt --std=c++20 --inline-suppr \
    --enable=warning,performance,portability,style \
    --suppressions-list=scripts/cppcheck-suppressions.txt "${folders[@]}"
}

# tidied_sources DATABASE PATTERN: what a build compiles of those folders, without generated code.
tidied_sources() {
  sed -n 's/^ *"file": "\(.*\)",\?$/\1/p' "$1/compile_commands.json" |
    sed -n "\\:^$PWD/\\($1/\\)\\?\\($2\\)/:p" | grep -Ev '_autogen/|/\.rcc/' | sort -u
}

# tidy DATABASE PATTERN: joined sources include their parts, which are to be looked at like headers.
tidy() {
  tidied_sources "$1" "$2" | xargs -P "$jobs" -n 1 \
    clang-tidy --quiet -p "$1" --checks=-bugprone-suspicious-include \
    "--header-filter=^$PWD/($(IFS='|' && echo "${folders[*]}"))/" 2> >(grep -v ' warnings\? generated\.$' >&2)
}

cmake --preset lint >/dev/null
check clang-format clang-format --dry-run -Werror "${sources[@]}"
check qmllint scripts/lint-qml.sh
check includes scripts/lint-includes.sh
check manuals scripts/lint-manuals.sh
check 'each file by itself' scripts/lint-alone.sh
check cppcheck run_cppcheck
check clang-tidy tidy build/lint 'src\|sim'
[[ ${1:-} != --all ]] || check 'clang-tidy of programs' tidy build/release 'bench\|tools\|tests'

if ((${#failed[@]} > 0)); then
  echo "lint: findings of ${failed[*]}" >&2
  exit 1
fi
