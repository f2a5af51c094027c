#!/usr/bin/env bash
# Describes anew, from the classes, the types that C++ registers by hand, for qmllint. ./test.sh fails
# while a description differs. QtCore's Settings, which our own file gives to older releases of Qt, is
# described by hand.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release --target qml_types
build/release/tools/qml_types scripts/qmltypes
git diff --stat -- scripts/qmltypes
