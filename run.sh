#!/usr/bin/env bash
# Builds the console, starts the simulated pod and opens the console on it. With a display it opens
# a window for a person; without one a scripted operator flies it on a virtual display and leaves
# screenshots under out/. Everything it writes lies under build/, run/ and out/.
set -euo pipefail
cd "$(dirname "$0")"

scripts/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target apppodconsole podsim

bin=$PWD/build/release
mkdir -p run out
rm -f run/podsim.log run/console.log

"$bin/sim/podsim" --port 0 --rtsp-port 0 --fault-port 0 --pty-link run/pod-serial --model 1 \
  --log run/podsim.log >run/podsim.out 2>run/podsim.err &
podsim=$!
trap 'kill $podsim 2>/dev/null || true' EXIT

for ((i = 0; i < 100; ++i)); do
  grep -q '^ready$' run/podsim.out && break
  kill -0 $podsim 2>/dev/null || break
  sleep 0.1
done
grep -q '^ready$' run/podsim.out || {
  cat run/podsim.out run/podsim.err >&2
  echo "run.sh: the simulated pod did not start" >&2
  exit 1
}
control=$(sed -n 's/^control tcp .*:\([0-9]*\)$/\1/p' run/podsim.out)
rtsp=$(sed -n 's/^video //p' run/podsim.out)
faults=$(sed -n 's/^faults .*:\([0-9]*\)$/\1/p' run/podsim.out)

cat >run/device_config.ini <<INI
[RTSP]
rtspIp=$rtsp

[TCP]
deviceIp=127.0.0.1
devicePort=$control

[Recording]
folder=$PWD/run/recordings

[%General]
languageIndex=${PODCONSOLE_LANGUAGE:-0}
INI

echo "simulated pod: TCP 127.0.0.1:$control, serial $PWD/run/pod-serial, video $rtsp"
if [[ -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} ]]; then
  (cd run && "$bin/apppodconsole") 2>run/console.log
else
  scripts/fly.sh "$bin/apppodconsole" "$faults"
fi
