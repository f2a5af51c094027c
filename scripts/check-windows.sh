#!/usr/bin/env bash
# Compiles the sources of src/ for Windows, without linking: MinGW-w64 reads this machine's headers
# of Qt, FFmpeg and SDL, which choose their Windows side by the compiler. That finds what does not
# compile there, and names the Windows libraries that the objects need; it runs nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh g++-mingw-w64-x86-64-posix
out=build/windows-check
mkdir -p $out/include $out/sdl/SDL2
headers=$(qmake6 -query QT_INSTALL_HEADERS)

# Apart from their neighbours in the system's include folders, which are Linux's.
for library in libavformat libavcodec libavutil libswscale; do
  ln -sfn "$(pkg-config --variable=includedir $library)/$library" $out/include/$library
done
ln -sfn /usr/include/SDL2 $out/include/SDL2
# Debian's SDL reads what its system has from this file; these hold for Windows.
printf '#define HAVE_%s_H 1\n' STDARG STDDEF STDINT STRING >$out/sdl/SDL2/_real_SDL_config.h

flags=(-std=c++20 -O1 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -DUNICODE -D_UNICODE
  -DQT_NO_CAST_FROM_ASCII -DQT_NO_CAST_TO_ASCII '-DPODCONSOLE_UPGRADE_SERVER="127.0.0.1"'
  '-DPODCONSOLE_MANUAL_FOLDER="manual"'
  -Isrc -isystem "$headers" -isystem $out/include -isystem $out/include/SDL2 -isystem $out/sdl)
for module in Core Gui Qml QmlModels QmlIntegration Quick QuickControls2 Network SerialPort Concurrent OpenGL; do
  flags+=(-isystem "$headers/Qt$module")
done

compiler=(x86_64-w64-mingw32-g++-posix)
if command -v ccache >/dev/null; then
  compiler=(ccache "${compiler[@]}")
fi

failed=0 count=0
compile() { # SOURCE FOLDER [flag ...]
  local source=$1 object=$2/$(tr / _ <<<"${1%.cpp}").o
  shift 2
  "${compiler[@]}" "$@" "${flags[@]}" -c "$source" -o "$object" || failed=$((failed + 1))
  count=$((count + 1))
}

while read -r source; do
  compile "$source" $out
done < <(find src -name '*.cpp' | sort)

# Qt for Windows is often built without OpenGL, for Direct3D alone.
mkdir -p $out/no-opengl/QtGui
sed -E 's/(QT_FEATURE_opengl) +1/\1 -1/' "$headers/QtGui/qtgui-config.h" \
  >$out/no-opengl/QtGui/qtgui-config.h
for source in $(grep -rlE 'opengl|OpenGL' src --include='*.cpp'); do
  compile "$source" $out/no-opengl -isystem $out/no-opengl
done
echo "$((count - failed)) of $count sources compile for Windows"
exit $((failed > 0))
