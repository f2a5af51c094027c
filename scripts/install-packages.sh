#!/usr/bin/env bash
# Installs what building, running and testing need on Debian 12 and 13, and the packages given.
# Does nothing, and needs no network, when everything is there already.
# Usage: install-packages.sh [package ...]
set -euo pipefail

packages=(
  # build
  build-essential cmake ninja-build pkg-config ccache
  qt6-base-dev qt6-declarative-dev qt6-declarative-dev-tools qt6-serialport-dev libgl1-mesa-dev
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev libgstrtspserver-1.0-dev
  # the interface at run time
  qml6-module-qtcore qml6-module-qtqml qml6-module-qtqml-models qml6-module-qtqml-workerscript
  qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-dialogs
  qml6-module-qtquick-layouts qml6-module-qtquick-templates qml6-module-qtquick-window
  qml6-module-qt-labs-folderlistmodel qml6-module-qt-labs-settings
  fonts-noto-cjk fonts-dejavu-core
  # the simulator's video
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
  gstreamer1.0-plugins-ugly gstreamer1.0-libav
  # a real joystick, where one is present
  libsdl2-dev
  # tests, benchmarks, pictures, checks
  ffmpeg libimage-exiftool-perl lrzsz libbenchmark-dev xvfb xauth xdotool imagemagick librsvg2-bin iproute2
  clang-format clang-tidy cppcheck
  at-spi2-core dbus-daemon gir1.2-atspi-2.0 python3-gi
  # fuzzing
  clang llvm libclang-rt-dev
  "$@"
)
# The reader of SVG pictures is a package of its own from Debian 13 on.
if (($(. /etc/os-release && echo "${VERSION_ID:-13}") < 13)); then
  packages+=(libqt6svg6)
else
  packages+=(qt6-svg-plugins)
fi

missing=()
for package in "${packages[@]}"; do
  state=$(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null || true)
  [[ $state == ii* ]] || missing+=("$package")
done
if ((${#missing[@]} == 0)); then
  exit 0
fi

as_root=()
if ((EUID != 0)); then
  command -v sudo >/dev/null || {
    echo "install-packages: not root and no sudo; please install: ${missing[*]}" >&2
    exit 1
  }
  as_root=(sudo)
fi
echo "installing: ${missing[*]}"
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -q -y --no-install-recommends "${missing[@]}"
