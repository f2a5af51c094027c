#!/usr/bin/env bash
# The scripted operator: starts the console on a virtual display, connects it to the simulated pod,
# steers and zooms, and leaves screenshots under out/. Fails when the pod or the picture did not
# move. Called by run.sh, which prepares the settings file in run/.
# Usage: fly.sh CONSOLE FAULT_PORT
set -euo pipefail
cd "$(dirname "$0")/.."
console=$1
fault_port=$2

# Where the controls stand in the window of 1080 x 720, which lies at the display's origin.
settings_icon=(1055 44)
tcp_button=(1030 233)
connection_page=(650 60)
gimbal_page=(650 94)
data_button=(965 118)
upright_button=(784 192)
video_middle=(420 360)

display_file=$(mktemp)
Xvfb -displayfd 3 -screen 0 1080x720x24 -nolisten tcp 3>"$display_file" >/dev/null 2>&1 &
xvfb=$!
trap 'kill ${console_pid:-} $xvfb 2>/dev/null || true; rm -f "$display_file"' EXIT
for ((i = 0; i < 100; ++i)); do
  [[ -s $display_file ]] && break
  sleep 0.1
done
DISPLAY=:$(cat "$display_file")
export DISPLAY

(cd run && exec "$console") 2>run/console.log &
console_pid=$!

# Asks until the command succeeds; the limit is in tenths of a second.
wait_for() {
  local what=$1 limit=$2
  shift 2
  for ((i = 0; i < limit; ++i)); do
    "$@" && return
    kill -0 $console_pid 2>/dev/null || break
    sleep 0.1
  done
  echo "fly.sh: $what: not within $((limit / 10)) s" >&2
  tail -n 20 run/console.log >&2
  exit 1
}

pod() { # one line to the pod's fault port, its answer
  exec 4<>"/dev/tcp/127.0.0.1/$fault_port"
  echo "$1" >&4
  head -n 1 <&4
  exec 4>&-
}
attitude() { pod state | grep -o '"\(pitch\|yaw\|zoom[A-Za-z]*\)":[-0-9.]*' | tr '\n' ' '; }
logged() { grep -q -- "$1" run/console.log; }
click() { xdotool mousemove "$1" "$2" click 1 && sleep 0.5; }
hold() { xdotool keydown "$1" && sleep "$2" && xdotool keyup "$1"; }
shot() { import -window root "out/$1.png" && echo "out/$1.png"; }

window_id() { xdotool search --name KAVROControl 2>/dev/null | head -n 1; }
window_is_there() { [[ -n $(window_id) ]]; }
wait_for "window" 300 window_is_there
xdotool windowfocus "$(window_id)" || true
wait_for "video" 300 logged "播放开始成功"
sleep 1
shot 1-video

click "${settings_icon[@]}"
shot 2-drawer
click "${tcp_button[@]}"
wait_for "connection" 100 logged "TCP连接成功"
click "${gimbal_page[@]}"
click "${data_button[@]}"
shot 3-gimbal-page
xdotool mousemove "${video_middle[@]}"
sleep 1
click "${settings_icon[@]}"
xdotool mousemove "${video_middle[@]}"
sleep 1
before=$(attitude)
shot 4-before

hold d 0.7
hold s 0.6
hold e 1
sleep 1.5
after=$(attitude)
shot 5-after

# A recording on this computer, with the pod's telemetry beside the picture.
rm -rf run/recordings
xdotool key shift+r
sleep 2
hold a 0.7
shot 9-recording
xdotool key shift+r
recorded() { ffprobe -v error -show_entries stream=codec_name -of csv=p=0 run/recordings/*.ts 2>&1; }
holds_both() { [[ $(recorded | grep . | sort -u | tr '\n' ' ') == 'h264 klv ' ]]; }
wait_for "recording" 50 holds_both
click "${settings_icon[@]}"
click "${connection_page[@]}"
shot 10-recorded
click "${settings_icon[@]}"

# What the operator sees when something is wrong, and before something is dangerous.
pod "video stall" >/dev/null
sleep 1.3
shot 6-old-picture
pod "video resume" >/dev/null
click "${settings_icon[@]}"
click "${gimbal_page[@]}"
click "${upright_button[@]}"
shot 7-asked-first
xdotool key Escape
click "${settings_icon[@]}"
pod "control drop rst" >/dev/null
sleep 1.3
shot 8-lost-link

echo "pod before: $before"
echo "pod after:  $after"
[[ $before != "$after" ]] || {
  echo "fly.sh: the pod did not move" >&2
  exit 1
}
changed=$(compare -metric AE -fuzz 10% out/4-before.png out/5-after.png null: 2>&1 || true)
echo "pixels that changed: $changed of $((1080 * 720))"
[[ ${changed%%[.e]*} -gt 100000 || $changed == *e+* ]] || {
  echo "fly.sh: the picture did not move" >&2
  exit 1
}
