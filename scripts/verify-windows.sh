#!/usr/bin/env bash
# Flies the packaged Windows console under Wine on a virtual display, beside the simulated pod of this
# machine: the scripted operator's flight, what is stored, two consoles at a time, a serial link, a
# firmware upgrade, and the end of a session. Screenshots lie under out/windows, to be looked at.
# Usage: verify-windows.sh [FOLDER]      (default: the folder that scripts/package-windows.sh made)
#        PODSIM=program                  (default: that of the build folder release)
set -euo pipefail
cd "$(dirname "$0")/.."
package=$(realpath "${1:-build/windows-mingw/package/podconsole}")
podsim=$(realpath "${PODSIM:-build/release/sim/podsim}")
for program in wine Xvfb xdotool import ffprobe; do
  command -v $program >/dev/null || {
    echo "verify-windows.sh: $program is missing; the packages: wine xvfb xdotool imagemagick ffmpeg" >&2
    exit 1
  }
done

# Names that no single-byte code page has.
# Outside this folder: Wine's drives lead everywhere, and builds search this folder for QML.
work=$(mktemp -d)
home="$work/吊舱 Ünder"
pictures=$PWD/out/windows
rm -rf "$pictures"
mkdir -p "$home/start" "$pictures"
cp -a "$package" "$home/podconsole"
export WINEPREFIX=$work/wine WINEDEBUG=${WINEDEBUG:--all} QT_QUICK_BACKEND=software
started=()
trap 'wineserver -k 2>/dev/null || true; kill "${started[@]}" 2>/dev/null || true' EXIT

log() { echo "$WINEPREFIX/drive_c/users/$(id -un)/AppData/Local/KAVRO/KAVROControl/log/${1:-podconsole}.log"; }
fail() {
  echo "verify-windows.sh: $*" >&2
  tail -n 15 "$(log)" >&2 2>/dev/null || true
  exit 1
}
# within SECONDS COMMAND ...: asks until it succeeds.
within() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    ((SECONDS < end)) || return 1
    sleep 0.1
  done
}
# simulate NAME [argument ...]: starts a simulated pod, which writes what it says to NAME.out.
simulate() {
  local name=$1
  shift
  "$podsim" --port 0 --rtsp-port 0 --fault-port 0 --log "$work/$name.log" "$@" >"$work/$name.out" 2>&1 &
  started+=($!)
  within 30 grep -q '^ready$' "$work/$name.out" || fail "the simulated pod did not start"
}
told() { sed -n "s/^$2//p" "$work/$1.out" | head -n 1; }
fault_port() { told "$1" 'faults .*:'; }
pod() { # one line to a pod's fault port, its answer
  exec 4<>"/dev/tcp/127.0.0.1/$(fault_port "$1")"
  echo "$2" >&4
  head -n 1 <&4
  exec 4>&-
}
yaw() { pod "$1" state | grep -o '"yaw":[-0-9.]*'; }
# line_is FILE LINE: the file has such a line, whatever its lines end with.
line_is() { tr -d '\r' <"$1" | grep -qx -- "$2"; }
windows() { [[ $(xdotool search --onlyvisible --name KAVROControl 2>/dev/null | wc -l) == "$1" ]]; }
logged() { grep -q -- "$1" "$(log "${2:-podconsole}")" 2>/dev/null; }
shot() { import -window root "$pictures/$1.png" && echo "out/windows/$1.png"; }
click() { xdotool mousemove "$1" "$2" click 1 && sleep 0.7; }
type_into() { xdotool mousemove "$1" "$2" click --repeat 3 1 key ctrl+a && xdotool type -- "$3" && xdotool key Tab && sleep 0.3; }
# flies POD KEY HOW: the pod turns while the key is down, and stands when it is up again.
flies() {
  local before after
  xdotool mousemove "${video_middle[@]}"
  before=$(yaw "$1")
  xdotool keydown "$2"
  sleep 0.8
  xdotool keyup "$2"
  sleep 1
  after=$(yaw "$1")
  [[ $before != "$after" ]] || fail "the pod did not turn over $3"
  sleep 0.5
  [[ $(yaw "$1") == "$after" ]] || fail "the pod did not stop over $3"
}
settings() { # VIDEO CONTROL_PORT: the file that the console starts with
  cat >"$home/start/device_config.ini" <<INI
[RTSP]
rtspIp=$1

[TCP]
deviceIp=127.0.0.1
devicePort=$2

[Recording]
folder=Aufnahmen 录像

[%General]
languageIndex=1
INI
}
launch() { # FOLDER: a console with that working folder
  mkdir -p "$home/$1"
  (cd "$home/$1" && exec wine "$home/podconsole/apppodconsole.exe" >>"$work/wine.err" 2>&1) &
  started+=($!)
}
start_console() {
  rm -f "$(log)"
  launch start
  within 60 windows 1 || fail "no window"
  sleep 1
}
end_console() {
  xdotool key alt+F4
  within 20 windows 0 || fail "the console does not close"
}

: >"$work/display"
Xvfb -displayfd 3 -screen 0 1080x720x24 -nolisten tcp 3>"$work/display" >/dev/null 2>&1 &
started+=($!)
within 10 test -s "$work/display" || fail "no virtual display"
DISPLAY=:$(cat "$work/display")
export DISPLAY
wineboot --init >"$work/wineboot.log" 2>&1

# Where the controls stand in the window of 1080 x 720, which lies at the display's origin.
settings_icon=(1055 44)
pages=(50 93 139 182 226 270 314) # each page's entry, downwards at 650
tcp_button=(1015 245)
serial_field=(750 331)
serial_button=(1015 331)
file_field=(880 274)
upgrade_port_field=(900 312)
upgrade_button=(1015 417)
video_middle=(300 360)

# 1. What the operator does on Linux, in a console that writes its log where an operator finds it.
simulate pod --model 1 --pty-link "$work/pod-serial"
settings "$(told pod 'video ')" "$(told pod 'control tcp .*:')"
start_console
within 30 logged "播放开始成功" || fail "no video"
sleep 2
shot 1-video
click "${settings_icon[@]}"
click "${tcp_button[@]}"
within 10 logged "TCP连接成功" || fail "no connection over TCP"
for page in "${!pages[@]}"; do
  click 650 "${pages[page]}"
  shot "2-page-$page"
done
click "${settings_icon[@]}"
flies pod d TCP
shot 3-turned
xdotool key shift+r
sleep 3
shot 4-recording
xdotool key shift+r
recorded() { ffprobe -v error -show_entries stream=codec_name -of csv=p=0 "$home"/start/Aufnahmen*/*.ts 2>/dev/null; }
holds_both() { [[ $(recorded | grep . | sort -u | tr '\n' ' ') == 'h264 klv ' ]]; }
within 10 holds_both || fail "no recording with picture and telemetry"

# 2. What was changed is stored, and found again at the next start: a switch goes on from there.
stored=$home/start/device_config.ini
xdotool key F3
within 5 line_is "$stored" headUpLine=0 || fail "nothing was stored"

# 3. A second console at the same time has a log of its own.
launch second
within 60 windows 2 || fail "no second console"
within 10 logged "podconsole starts" podconsole-2 || fail "the second console has no log of its own"
shot 5-two-consoles
xdotool key alt+F4
within 20 windows 1 || fail "the second console does not close"
end_console
start_console
xdotool key F3
within 5 line_is "$stored" headUpLine=1 || fail "what was stored was not read"
within 30 logged "播放开始成功" || fail "no video at the second start"
shot 6-second-start

# 4. The end of the session while the pod turns: stopped before the process is ended.
click "${settings_icon[@]}"
click "${tcp_button[@]}"
within 10 logged "TCP连接成功" || fail "no connection at the second start"
click "${settings_icon[@]}"
xdotool mousemove "${video_middle[@]}" keydown d
sleep 0.5
wineboot --end-session >>"$work/wineboot.log" 2>&1 || true
within 20 windows 0 || fail "the console outlives its session"
xdotool keyup d
after=$(yaw pod)
sleep 1
[[ $(yaw pod) == "$after" ]] || fail "the pod turns on after the end of the session"
wineserver -k || true

# 5. A serial port with a number of two digits. Wine gives a device such a name by its registry.
link_port() {
  wine reg add 'HKLM\Software\Wine\Ports' /v "$1" /t REG_SZ /d "$(readlink -f "$2")" /f >/dev/null 2>&1
  wineserver -k || true
}
link_port COM12 "$work/pod-serial"
start_console
click "${settings_icon[@]}"
type_into "${serial_field[@]}" COM12
click "${serial_button[@]}"
within 10 logged "串口连接成功: \"COM12\"" || { shot 7-serial; fail "no serial connection"; }
shot 7-serial
click "${settings_icon[@]}"
flies pod a "the serial port"
end_console

# 6. A firmware upgrade over such a port.
head -c 60000 /dev/urandom >"$home/firmware 固件.bin"
"$podsim" --bootloader --pty-link "$work/bootloader" --image "$work/received.bin" >"$work/bootloader.out" 2>&1 &
started+=($!)
within 30 grep -q '^ready$' "$work/bootloader.out" || fail "the simulated bootloader did not start"
link_port COM12 "$work/bootloader"
start_console
click "${settings_icon[@]}"
click 650 "${pages[6]}"
cp "$home/firmware 固件.bin" "$home/start/firmware.bin"
type_into "${file_field[@]}" firmware.bin
type_into "${upgrade_port_field[@]}" COM12
click "${upgrade_button[@]}"
shot 8-upgrade-asked
xdotool key Return
received() { cmp -s "$home/firmware 固件.bin" "$work/received.bin"; }
within 120 received || { shot 9-upgrade; fail "the firmware did not arrive"; }
sleep 1
shot 9-upgrade
end_console

if [[ -n $(find "$WINEPREFIX"/drive_c/users -name 'podconsole*.log' -exec grep -lE 'is not installed|is not a type|is not defined|Cannot open|Failed to' {} +) ]]; then
  fail "the packaged console misses something"
fi
echo "the packaged console flies under $(wine --version)"
