#!/usr/bin/env bash
# Writes the player's seeds: short streams of a moving test picture, as small as they can be.
# Usage: make-streams.sh FOLDER
set -euo pipefail

folder=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# stream NAME SIZE CODEC FORMAT [more options of ffmpeg]
stream() {
  local name=$1 size=$2 codec=$3 format=$4
  shift 4
  ffmpeg -nostdin -loglevel error -y -f lavfi -i "testsrc2=size=$size:rate=25:duration=0.32" \
    -c:v "$codec" -g 4 -bf 0 -b:v 40k -threads 1 -fflags +bitexact -flags +bitexact "$@" \
    -f "$format" "$scratch/$name"
}

stream h264.ts 64x48 libx264 mpegts -preset ultrafast -pix_fmt yuv420p
stream h264-b.ts 64x48 libx264 mpegts -preset fast -pix_fmt yuv420p -bf 2
stream h264-large.ts 96x80 libx264 mpegts -preset ultrafast -pix_fmt yuv422p
stream h264-odd.h264 72x50 libx264 h264 -preset ultrafast -pix_fmt yuv420p
stream mpeg2.ts 64x48 mpeg2video mpegts
stream h264.h264 64x48 libx264 h264 -preset ultrafast -pix_fmt yuv420p
stream h264-slices.h264 64x96 libx264 h264 -preset ultrafast -pix_fmt yuv420p -slices 3
stream h264-large.h264 96x80 libx264 h264 -preset ultrafast -pix_fmt yuv444p
if [[ $(ffmpeg -hide_banner -encoders 2>/dev/null) == *libx265* ]]; then
  stream hevc.ts 64x64 libx265 mpegts -preset ultrafast -pix_fmt yuv420p -x265-params log-level=none:pools=1
  stream hevc.h265 64x64 libx265 hevc -preset ultrafast -pix_fmt yuv420p -x265-params log-level=none:pools=1
fi

mkdir -p "$folder"
cp "$scratch"/* "$folder"
# The picture changes its size, its format and its codec in mid-stream.
cat "$scratch"/h264.ts "$scratch"/h264-large.ts >"$folder/resize.ts"
cat "$scratch"/h264.h264 "$scratch"/h264-large.h264 >"$folder/resize.h264"
cat "$scratch"/h264.ts "$scratch"/mpeg2.ts >"$folder/codec-change.ts"
