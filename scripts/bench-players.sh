#!/usr/bin/env bash
# Compares the console with the players that a user would pick instead, on virtual displays, and
# writes tables and plots into docs/performance.md. Takes an hour and wants the machine for
# itself. Usage: bench-players.sh [quick]     (quick: some minutes, results only under out/)
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8

streams=(720p25-h264 1080p30-h264 1080p60-h264 2160p25-h264
  720p25-h265 1080p30-h265 1080p60-h265 2160p25-h265)
rounds=5 seconds=5
# Seconds of each third of a run under load.
declare -A thirds=([1080p60-h264]=400 [2160p60-h264]=60)
if [[ ${1:-} == quick ]]; then
  streams=(720p25-h264 1080p30-h264) rounds=1 thirds=([1080p60-h264]=20 [2160p60-h264]=20)
fi

scripts/install-packages.sh mpv gstreamer1.0-tools gstreamer1.0-x
cmake --preset release >/dev/null
cmake --build --preset release --target apppodconsole compare_players >/dev/null
compare=build/release/bench/compare_players
out=out/players
mkdir -p "$out"

for stream in "${streams[@]}"; do
  "$compare" --streams "$stream" --rounds "$rounds" --seconds "$seconds" | tee "$out/$stream.txt"
done
"$compare" --streams 720p25-h264 --players console --rounds "$rounds" --seconds 1 --recover |
  tee "$out/recovery.txt"

# The sender and the watcher have priority, where that is allowed, as if on a machine of their own.
# A third of the time without other work, a third with more of it than there are processors, and a
# third without again: the latency must come back.
load() {
  local third=$1
  sleep "$third"
  for ((i = 0; i < 2 * $(nproc); ++i)); do
    timeout "$third" sh -c 'while :; do :; done' &
  done
  wait
}
for stream in "${!thirds[@]}"; do
  load "${thirds[$stream]}" &
  nice -n -10 "$compare" --streams "$stream" --players console --rounds 1 --seconds $((3 * thirds[$stream])) \
    --trace "$out/load-$stream.trace" | tee "$out/load-$stream.txt"
  wait
done

[[ ${1:-} == quick ]] && exit
results=("${streams[@]/#/$out/}")
"$compare" --report "$(IFS=, && echo "${results[*]/%/.txt},$out/recovery.txt,$out"/load-*.trace | tr ' ' ,)"
