#!/usr/bin/env bash
# Runs the whole fault matrix against the real console on a virtual display and writes the table
# docs/fault-matrix.md. As root it also cuts networks and fills disks.
# Usage: faults.sh [part of a row's name]     (then nothing is written)
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release --target faults
fly() {
  QT_QUICK_BACKEND=software xvfb-run -a -s "-screen 0 1280x800x24" build/release/tests/faults/faults "$@"
}
if (($# > 0)); then
  fly --only "$1"
  exit
fi

rows=$(mktemp)
trap 'rm "$rows"' EXIT
failed=0
fly | tee "$rows" || failed=1
{
  cat <<EOT
# Fault matrix

Written by \`scripts/faults.sh\`: the real console program and \`podsim\` under Xvfb, software rendering; input as from a mouse and a keyboard.

$(date +%F), $(nproc) processors, $(. /etc/os-release && echo "$PRETTY_NAME"); the run took $SECONDS s.

In every row: the process lives, every motion that the pod received got its stop (after a reconnection it is the first frame), a command reaches the pod within 1,000 ms during the fault or right after it (worst case given), resident memory (MiB) returns to within 12 MiB, and there are no more descriptors and threads than before (an idle thread of a pool ends after 30 s).

| fault | what must hold | outcome | shown to the operator | control (ms) | memory | descriptors | threads |
|---|---|---|---|---|---|---|---|
EOT
  sed -n 's/^ *[0-9.]* s  |/|/p' "$rows"
} >docs/fault-matrix.md
exit $failed
