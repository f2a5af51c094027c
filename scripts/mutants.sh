#!/usr/bin/env bash
# Plants one fault after another into a copy of the sources, builds it, runs the tests of its area and
# tells which faults no test noticed. Takes up where an earlier run of the same area and seed ended.
# Usage: mutants.sh [AREA|all] [COUNT] [SEED] [--minutes N] [--again] [--list]
set -euo pipefail
cd "$(dirname "$0")/.."

{ command -v rsync && command -v ld.lld; } >/dev/null || apt-get install -y -qq rsync lld
exec python3 tools/mutants/mutants.py "$@"
