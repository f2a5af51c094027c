#!/usr/bin/env bash
# Runs the whole fault matrix against the real console on a virtual display and writes the table
# docs/fault-matrix.md. As root it also cuts networks and fills disks.
# Usage: faults.sh [part of a row's name]     (then nothing is written)
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release --target faults
if (($# > 0)); then
  arguments=(--only "$1")
else
  arguments=(--report docs/fault-matrix.md)
fi
QT_QUICK_BACKEND=software xvfb-run -a -s "-screen 0 1280x800x24" \
  build/release/tests/faults/faults "${arguments[@]}"
