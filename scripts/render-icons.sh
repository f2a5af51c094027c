#!/usr/bin/env bash
# Renders the pictures of the interface: src/image/svg/NAME.svg becomes src/image/NAME.png. The
# same sources give the same bytes, so `git diff` shows what really changed.
set -euo pipefail
export LC_ALL=C

image_folder=$(realpath "$(dirname "$0")/../src/image")

# The icons stand at 12 to 30 px in the interface; four times that stays sharp on dense screens.
icon_size=96x96
declare -A sizes=([title]=276x48 [logo]=256x256)

for source in "$image_folder"/svg/*.svg; do
  name=$(basename "$source" .svg)
  size=${sizes[$name]:-$icon_size}
  rsvg-convert --format png --width "${size%x*}" --height "${size#*x}" \
    --output "$image_folder/$name.png" "$source"
done
