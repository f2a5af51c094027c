#!/usr/bin/env bash
# Renders the pictures of the interface, src/image/svg/NAME.svg to src/image/NAME.png, and the
# program's icons for desktops. The same sources give the same bytes, so `git diff` shows what really
# changed.
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

icons=$image_folder/../../packaging/icons
mkdir -p "$icons"
for size in 16 24 32 48 64 128 256; do
  rsvg-convert --format png --width $size --height $size --output "$icons/$size.png" \
    "$image_folder/svg/logo.svg"
done
convert "$icons"/{16,24,32,48,64,256}.png "$icons/podconsole.ico"
