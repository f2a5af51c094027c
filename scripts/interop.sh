#!/usr/bin/env bash
# Plays streams that were encoded in unusual ways from servers that others wrote, and compares every
# picture that the player shows with FFmpeg's decoding of the file that is sent. Prints a table;
# fails when a picture is damaged or missing, and tells what FFmpeg makes of the same server then.
# Takes some minutes. Usage: interop.sh [STREAM ...]     (default: all)
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8

x264='libx264 -preset veryfast -threads 1 -b:v 900k -g 25'
x265='libx265 -preset ultrafast -b:v 900k -g 25 -x265-params log-level=none:pools=1:frame-threads=1:'
names=(plain slices slice-size refresh b-frames b-late sets small-gop ten-bit colour interlaced
  hevc hevc-slices hevc-refresh hevc-b-frames hevc-small-gop hevc-ten-bit gst-default gst-zerolatency)
declare -A encoders=(
  [plain]="$x264 -bf 0" [slices]="$x264 -bf 0 -slices 4"
  [slice-size]="$x264 -bf 0 -x264-params slice-max-size=700"
  [refresh]="$x264 -bf 0 -x264-params intra-refresh=1:repeat-headers=1" [b-frames]="$x264 -bf 3 -x264-params b-pyramid=normal"
  [b-late]="$x264 -bf 2 -slices 3 -x264-params open-gop=1:repeat-headers=1" [sets]="$x264 -bf 0 -slices 4 -bsf:v dump_extra=freq=all"
  [small-gop]="$x264 -bf 0 -g 3" [ten-bit]="$x264 -pix_fmt yuv420p10le" [colour]="$x264 -pix_fmt yuv422p -slices 2"
  [interlaced]="$x264 -flags +ilme+ildct" [hevc]="$x265:bframes=0" [hevc-slices]="$x265:bframes=0:slices=4"
  [hevc-refresh]="$x265:bframes=0:intra-refresh=1" [hevc-b-frames]="$x265:bframes=4"
  [hevc-small-gop]="$x265:bframes=0:keyint=3:min-keyint=3" [hevc-ten-bit]="$x265:bframes=2 -pix_fmt yuv420p10le"
  [gst-default]='x264enc' [gst-zerolatency]='x264enc tune=zerolatency'
)
# By the server that sends: how the player is to ask for it, and the way of the packets.
servers=(gstreamer-tcp gstreamer-udp vlc-rtsp vlc-http ffmpeg-udp ffmpeg-rtsp)
declare -A urls=(
  [gstreamer-tcp]='rtsp://127.0.0.1:18601/v' [gstreamer-udp]='rtsp://127.0.0.1:18601/v'
  [vlc-rtsp]='rtsp://127.0.0.1:18602/v' [vlc-http]='http://127.0.0.1:18603/v'
  [ffmpeg-udp]='udp://127.0.0.1:18604' [ffmpeg-rtsp]='rtsp://127.0.0.1:18605/v'
)
declare -A ways=([gstreamer-tcp]=tcp [vlc-http]=tcp)
# VLC's HTTP begins with a key picture, and here none comes after the first. What x265 refreshes is
# never quite the same as what came before it: only GStreamer sends a file to everyone from its start.
declare -A only=([refresh]='gstreamer-tcp gstreamer-udp vlc-rtsp ffmpeg-udp ffmpeg-rtsp'
  [hevc-refresh]='gstreamer-tcp gstreamer-udp')
pictures=150 seconds=30 # of each row; of each stream

scripts/install-packages.sh vlc-bin vlc-plugin-base rtsp-server-perl gstreamer1.0-tools \
  gir1.2-gst-rtsp-server-1.0 python3-gi
cmake --preset release >/dev/null
cmake --build --preset release --target interop >/dev/null
interop=build/release/tools/interop
folder=$(mktemp -d)
chmod a+rx "$folder"
started=()
stop() {
  ((${#started[@]} == 0)) || kill "${started[@]}" 2>/dev/null || true
  started=()
  wait
}
trap 'stop; rm -rf "$folder"' EXIT
start() {
  timeout 90 "$@" >>"$folder/servers.log" 2>&1 </dev/null &
  started+=($!)
}

# VLC refuses to run as root.
vlc() {
  local other=()
  ((EUID != 0)) || other=(setpriv --reuid=65534 --regid=65534 --clear-groups)
  start env HOME="$folder" "${other[@]}" cvlc -I dummy --no-audio "$folder/$1.mkv" --sout "$2" vlc://quit
}

# The values in the table above hold several words.
# shellcheck disable=SC2086
encode() {
  local name=$1 encoder=${encoders[$1]} raw=(-pix_fmt yuv420p)
  local source=(-f lavfi -i "testsrc2=size=320x240:rate=25:duration=$seconds" -vf noise=alls=6:allf=t)
  if [[ $name == gst-* ]]; then
    ffmpeg -nostdin -loglevel error "${source[@]}" "${raw[@]}" -f yuv4mpegpipe - |
      gst-launch-1.0 -q fdsrc ! y4mdec ! $encoder ! h264parse ! matroskamux ! filesink location="$folder/$name.mkv"
  else
    ffmpeg -nostdin -y -loglevel error "${source[@]}" "${raw[@]}" -c:v $encoder "$folder/$name.mkv"
  fi
}

# Waits for a server to listen.
await() {
  for ((i = 0; i < 100; ++i)); do
    ! (exec 4<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null || return 0
    sleep 0.1
  done
  echo "interop: nothing listens at port $1; the servers said:" >&2
  tail "$folder/servers.log" >&2
  exit 1
}

gstreamer="
import sys, gi
gi.require_version('Gst', '1.0')
gi.require_version('GstRtspServer', '1.0')
from gi.repository import GLib, Gst, GstRtspServer
Gst.init(None)
server = GstRtspServer.RTSPServer(address='127.0.0.1', service='18601')
factory = GstRtspServer.RTSPMediaFactory()
factory.set_launch(sys.argv[1])
server.get_mount_points().add_factory('/v', factory)
server.attach(None)
GLib.MainLoop().run()"

serve() {
  local file=$folder/$1.mkv kind=h264
  [[ $1 != hevc* ]] || kind=h265
  start /usr/bin/python3 -c "$gstreamer" \
    "( filesrc location=$file ! matroskademux ! ${kind}parse ! rtp${kind}pay name=pay0 config-interval=-1 )"
  start rtsp-server-perl -c 18605 -s 18606
  await 18601
  await 18606
  vlc "$1" '#rtp{sdp=rtsp://127.0.0.1:18602/v}'
  vlc "$1" '#std{access=http,mux=ts,dst=127.0.0.1:18603/v}'
  start ffmpeg -nostdin -loglevel error -re -i "$file" -c copy -f mpegts 'udp://127.0.0.1:18604?pkt_size=1316'
  start ffmpeg -nostdin -loglevel error -re -i "$file" -c copy -f rtsp rtsp://127.0.0.1:18606/v
  sleep 3 # RTSP::Server loses packets of its first pictures
}

# All servers at a time; each row into a file of its own, since they end in any order.
play() {
  local name=$1 server row chosen players=()
  read -ra chosen <<<"${only[$name]:-${servers[*]}}"
  for server in "${chosen[@]}"; do
    timeout 50 "$interop" "$folder/$name.mkv" "${urls[$server]}" "${ways[$server]:-udp}" "$pictures" \
      >"$folder/$server.row" || echo "$name from $server" >>"$folder/wrong" &
    players+=($!)
  done
  wait "${players[@]}"
  for server in "${chosen[@]}"; do
    row=$(cat "$folder/$server.row")
    printf '%-16s %-14s %s\n' "$name" "$server" "${row:-  nothing in 50 s  WRONG}"
  done
}

for name in "${@:-${names[@]}}"; do
  encode "$name"
  serve "$name"
  play "$name"
  stop
done
if [[ -s $folder/wrong ]]; then
  echo "wrong:" && cat "$folder/wrong"
  exit 1
fi
