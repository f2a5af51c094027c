#!/usr/bin/env bash
# Writes the byte tables of docs/protocol.md anew from the code. ./test.sh fails while they differ.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release --target protocol_tables
build/release/tools/protocol_tables docs/protocol.md
git diff --stat -- docs/protocol.md
