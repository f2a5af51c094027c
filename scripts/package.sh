#!/usr/bin/env bash
# Makes the Debian packages of this machine's release, podconsole and podconsole-sim, and names
# them. They lie under build/package/packages.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh dpkg-dev file lintian cmark-gfm
cmake --preset package >/dev/null
cmake --build --preset package

# The simulator's manual page is written by hand: it must know every option.
for option in $(QT_QPA_PLATFORM=offscreen build/package/sim/podsim --help | grep -oE '^ .*--[a-z0-9-]+' | grep -oE '[-]-[a-z0-9-]+'); do
  tr -d '\\' <packaging/man/podsim.1 | grep -qE -- "$option( |\$|\")" || {
    echo "package.sh: podsim.1 does not tell of $option" >&2
    exit 1
  }
done

rm -f build/package/packages/*.deb
cpack --config build/package/CPackConfig.cmake >build/package/cpack.log 2>&1 || {
  cat build/package/cpack.log >&2
  exit 1
}
ls build/package/packages/*.deb
lintian --no-tag-display-limit --fail-on error,warning build/package/packages/*.deb
