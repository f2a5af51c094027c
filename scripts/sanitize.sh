#!/usr/bin/env bash
# Builds the tests of protocol, links, motions and input with the address and undefined-behaviour
# sanitizers, runs them and tells how long it took; --all does it with every test.
# Usage: sanitize.sh [--all]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=asan-unit
choice=(-L '^(unit|link)$' -LE '^ui$')
if [[ ${1:-} == --all ]]; then
  preset=asan
  choice=()
fi

cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
built=$SECONDS
status=0
scripts/run-tests.sh "build/$preset" "${choice[@]}" || status=$?
echo "sanitizers: built in $built s, run in $((SECONDS - built)) s"
exit "$status"
