#!/usr/bin/env bash
# Checks the interface's QML files, or those given. The types that C++ registers by hand are
# described in scripts/qmltypes; scripts/qml-types.sh brings that up to date.
# Usage: lint-qml.sh [files]
set -euo pipefail
cd "$(dirname "$0")/.."

tools=$(qmake6 -query QT_INSTALL_BINS)
modules=$(qmake6 -query QT_INSTALL_QML)
if (($# == 0)); then
  mapfile -t files < <(find qml -name '*.qml' | sort)
  set -- "${files[@]}"
fi
"$tools/qmllint" --bare -I scripts/qmltypes -I "$modules" "$@"
