#!/usr/bin/env bash
# Runs the tests of a build folder and ends with the line "N passed, N failed".
# Usage: run-tests.sh BUILD_FOLDER [ctest options]
set -uo pipefail

build=$1
shift
export TSAN_OPTIONS="suppressions=$(realpath "$(dirname "$0")")/tsan-suppressions.txt ignore_noninstrumented_modules=1 halt_on_error=0 second_deadlock_stack=1 ${TSAN_OPTIONS:-}"
export LSAN_OPTIONS="suppressions=$(realpath "$(dirname "$0")")/lsan-suppressions.txt ${LSAN_OPTIONS:-}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT

# Two at a time, since most of a test's time is waiting; those of real streams one by one.
ctest --test-dir "$build" -j 2 --output-on-failure "$@" 2>&1 | tee "$log"
status=${PIPESTATUS[0]}

total=$(sed -n 's/.*tests failed out of \([0-9]*\)$/\1/p' "$log" | tail -n 1)
failed=$(sed -n 's/.*, \([0-9]*\) tests failed out of .*/\1/p' "$log" | tail -n 1)
if [[ -z $total || $total -eq 0 ]]; then
  echo "no test was run" >&2
  echo "0 passed, 1 failed"
  exit 1
fi
echo "$((total - failed)) passed, $failed failed"
exit "$status"
