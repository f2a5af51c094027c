#!/usr/bin/env bash
# Takes the pictures of docs/images anew: the real interface on the simulated pod, without a
# display. Everything in that folder is replaced, or with an argument what that names.
# Usage: screenshots.sh [window|states|drag|menus|drawer|upgrade|keys|recorder|scaled]
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release --target shoot podsim

taken=$(mktemp -d)
trap 'rm -rf "$taken"' EXIT
export QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software
shoot() {
  build/release/tools/shoot "$taken" "$@" 2>"$taken/log" || {
    tail -n 20 "$taken/log" >&2
    exit 1
  }
}
[[ ${1:-} == scaled ]] || shoot "$@"
[[ ${1:-scaled} != scaled ]] || QT_SCALE_FACTOR=2 shoot scaled

folder=docs/images
mkdir -p "$folder"
(($#)) || rm -f "$folder"/*.png
for picture in "$taken"/*.png; do
  # A picture of the interface has few colours; no dithering keeps its text clean.
  convert "$picture" -strip +dither -colors 256 "PNG8:$folder/${picture##*/}"
done
echo "$(ls "$folder" | wc -l) pictures, $(du -sh "$folder" | cut -f1), in $folder"
