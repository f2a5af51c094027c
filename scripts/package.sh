#!/usr/bin/env bash
# Makes the Debian packages of this machine's release, podconsole and podconsole-sim, and names
# them. They lie under build/package/packages.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh dpkg-dev file
cmake --preset package >/dev/null
cmake --build --preset package
rm -f build/package/packages/*.deb
cpack --config build/package/CPackConfig.cmake >build/package/cpack.log 2>&1 || {
  cat build/package/cpack.log >&2
  exit 1
}
ls build/package/packages/*.deb
