#!/usr/bin/env bash
# Builds and tests the last commit as CI does, from a bare clone in a Debian of its own, then makes
# the packages there and verifies them on a clean one.
# Usage: verify-release.sh bookworm|trixie [MIRROR]     (as root; MIRROR: default this machine's)
# The root is kept for the next time, with its packages and compiler cache.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/debian-root.sh
release=${1:?usage: verify-release.sh bookworm|trixie [MIRROR]}

scripts/install-packages.sh debootstrap
minimal=$(minimal_root "$release" "${2:-}")
root=$roots/$release-build
if [[ ! -e $root/.prepared ]]; then
  rm -rf --one-file-system "$root"
  cp -a "$minimal" "$root"
  in_root "$root" sh -c "apt-get update -q && apt-get install -q -y --no-install-recommends git"
  touch "$root/.prepared"
fi
rm -rf "$root/root/podconsole.git" "$root/root/podconsole"
git clone -q --bare --single-branch --no-hardlinks . "$root/root/podconsole.git"

# What the checks find depends on their version; the code is kept clean for the baseline's.
tests='./test.sh ci'
[[ $release != bookworm ]] || tests='bash .ci/run'
in_root "$root" bash -c '
  set -euo pipefail
  cd /root
  git clone -q podconsole.git podconsole
  cd podconsole
  CI=true $1 </dev/null
  scripts/package.sh' verify "$tests"
scripts/verify-package.sh "$root/root/podconsole/build/package/packages" "$release" "${2:-}"
