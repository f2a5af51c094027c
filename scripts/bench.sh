#!/usr/bin/env bash
# Builds release and runs benchmarks, after a word on the machine.
# Usage: bench.sh [program ...]     (names in build/release/bench; default: all)
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
if ! log=$(cmake --build --preset release 2>&1); then
  echo "$log" >&2
  exit 1
fi

programs=("$@")
if ((${#programs[@]} == 0)); then
  mapfile -t programs < <(find build/release/bench -maxdepth 1 -type f -executable -name 'bench_*' -printf '%f\n' | sort)
fi

echo "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1), $(nproc) processors," \
  "$(awk '/^MemTotal/ {printf "%.1f GiB", $2 / 1048576}' /proc/meminfo), Linux $(uname -r)"
echo "load before: $(cut -d ' ' -f 1-3 /proc/loadavg); commit $(git rev-parse --short HEAD 2>/dev/null || echo none)"
for program in "${programs[@]}"; do
  echo
  "build/release/bench/$program"
done
