#!/usr/bin/env bash
# Builds and runs all tests headless. Arguments: the build preset (debug, release, ci, asan,
# tsan; default release), then options for ctest, for instance: ./test.sh asan -L video
set -euo pipefail
cd "$(dirname "$0")"

preset=release
if (($# > 0)) && [[ $1 != -* ]]; then
  preset=$1
  shift
fi

scripts/install-packages.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
scripts/run-tests.sh "build/$preset" "$@"
