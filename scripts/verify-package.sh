#!/usr/bin/env bash
# Shows that the Debian packages install and run on a clean Debian: installs the console alone and
# starts its desktop entry's command as a plain user on a virtual display, then installs the
# simulator too and flies it. Leaves its pictures under out/.
# Usage: verify-package.sh [FOLDER [RELEASE [MIRROR]]]
#        (as root; default: what package.sh made, on this machine's release, from its mirror)
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/debian-root.sh
packages=${1:-build/package/packages}
release=${2:-$(. /etc/os-release && echo "$VERSION_CODENAME")}

scripts/install-packages.sh debootstrap
minimal=$(minimal_root "$release" "${3:-}")
root=$(mktemp -d "$roots/$release-clean.XXXX")
podsim=
trap 'kill $podsim 2>/dev/null || true; wait; rm -rf --one-file-system "$root"' EXIT
cp -a "$minimal/." "$root"
cp "$packages"/*.deb "$root/root"
in_root "$root" useradd --create-home --shell /bin/bash pilot
in_root "$root" apt-get update -q
add() { # the package alone, with nothing that is merely recommended
  in_root "$root" sh -c "DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends /root/$1_*.deb"
}

# The desktop entry's command, on the display of whoever calls it.
console=$root/root/console
cat >"$console" <<SCRIPT
#!/bin/sh
exec "$PWD/scripts/in-root.sh" "$root" su --login pilot --command \
  "DISPLAY=\$DISPLAY \$(sed -n 's/^Exec=//p' '$root/usr/share/applications/podconsole.desktop')"
SCRIPT
chmod +x "$console"
settings=$root/home/pilot/.config/podconsole/device_config.ini

mkdir -p out run
add podconsole
xvfb-run -a -s "-screen 0 1080x720x24 -ac" bash -c '
  "$1" 2>run/console.log &
  console=$!
  trap "kill $console" EXIT
  for ((i = 0; i < 300; ++i)); do
    [[ -n $(xdotool search --onlyvisible --name KAVROControl 2>/dev/null) ]] && break
    kill -0 $console || exit 1
    sleep 0.1
  done
  sleep 3
  import -window root out/package-console.png' verify "$console" || {
  cat run/console.log >&2
  exit 1
}
if grep -E "is not installed|is not a type|is not defined|Cannot open|Failed to" run/console.log; then
  echo "verify-package.sh: the installed console misses something" >&2
  exit 1
fi

add podconsole-sim
scripts/in-root.sh "$root" su --login pilot --command \
  "exec podsim --port 0 --rtsp-port 0 --fault-port 0 --model 1" >run/podsim.out &
podsim=$!
for ((i = 0; i < 300; ++i)); do
  grep -q '^ready$' run/podsim.out && break
  kill -0 $podsim
  sleep 0.1
done
mkdir -p "${settings%/*}"
cat >"$settings" <<INI
[RTSP]
rtspIp=$(sed -n 's/^video //p' run/podsim.out)

[TCP]
deviceIp=127.0.0.1
devicePort=$(sed -n 's/^control tcp .*:\([0-9]*\)$/\1/p' run/podsim.out)
INI
in_root "$root" chown -R pilot: /home/pilot
scripts/fly.sh "$console" "$(sed -n 's/^faults .*:\([0-9]*\)$/\1/p' run/podsim.out)"
echo "the packages install and run on a clean $release: $(cd "$packages" && echo *.deb)"
