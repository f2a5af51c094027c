#!/usr/bin/env bash
# Prints how many lines of src/ the tests run, by file, the worst last.
# Usage: coverage.sh [ctest options]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh gcovr
cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
scripts/run-tests.sh build/coverage "$@" || echo "coverage.sh: tests failed; the numbers are theirs" >&2
gcovr --root . --object-directory build/coverage --filter src/ --sort-percentage build/coverage
