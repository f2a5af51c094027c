#!/usr/bin/env bash
# Prints how much of the code tests are, in lines that are not blank, and fails outside a quarter to a third.
set -euo pipefail
cd "$(dirname "$0")/.."

lines() {
  local folders=()
  for folder in "$@"; do
    [[ -d $folder ]] && folders+=("$folder")
  done
  find "${folders[@]}" -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.qml' -o -name '*.py' \) -exec cat {} + |
    grep -c '[^[:space:]]'
}

code=$(lines src sim qml)
tests=$(lines tests fuzz)
awk -v code="$code" -v tests="$tests" 'BEGIN {
  share = 100 * tests / code
  printf "code %d lines, tests %d lines: %.1f %%\n", code, tests, share
  exit !(share >= 25 && 3 * tests <= code)
}'
