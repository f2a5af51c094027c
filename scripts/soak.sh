#!/usr/bin/env bash
# Flies the real console on a virtual display with random input and random faults, and fails when
# its memory, descriptors or threads grow or a motion is left without its stop. What the process
# held, second by second, is left in out/soak.csv.
# Usage: soak.sh [minutes] [seed]     (default: 30 and 1)
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release --target soak
mkdir -p out
QT_QUICK_BACKEND=software xvfb-run -a -s "-screen 0 1280x800x24" \
  build/release/tests/faults/soak --minutes "${1:-30}" --seed "${2:-1}" --csv out/soak.csv
