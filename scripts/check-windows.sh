#!/usr/bin/env bash
# Compiles the sources of src/ for Windows, without linking: MinGW-w64 reads this machine's headers
# of Qt, FFmpeg and SDL, which choose their Windows side by the compiler. That finds what does not
# compile there, and names the Windows libraries that the objects need; it runs nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh g++-mingw-w64-x86-64-posix
out=build/windows-check
mkdir -p $out/include
headers=$(qmake6 -query QT_INSTALL_HEADERS)

# Apart from their neighbours in the system's include folders, which are Linux's.
for library in libavformat libavcodec libavutil libswscale; do
  ln -sfn "$(pkg-config --variable=includedir $library)/$library" $out/include/$library
done
ln -sfn /usr/include/SDL2 $out/include/SDL2

flags=(-std=c++20 -O1 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -DUNICODE -D_UNICODE
  -DQT_NO_CAST_FROM_ASCII -DQT_NO_CAST_TO_ASCII '-DPODCONSOLE_UPGRADE_SERVER="127.0.0.1"'
  -Isrc -isystem "$headers" -isystem $out/include -isystem $out/include/SDL2)
for module in Core Gui Qml QmlModels QmlIntegration Quick QuickControls2 Network SerialPort Concurrent OpenGL; do
  flags+=(-isystem "$headers/Qt$module")
done

compiler=(x86_64-w64-mingw32-g++-posix)
if command -v ccache >/dev/null; then
  compiler=(ccache "${compiler[@]}")
fi

failed=0 count=0
while read -r source; do
  object=$out/$(tr / _ <<<"${source%.cpp}").o
  "${compiler[@]}" "${flags[@]}" -c "$source" -o "$object" || failed=$((failed + 1))
  count=$((count + 1))
done < <(find src -name '*.cpp' | sort)
echo "$((count - failed)) of $count sources compile for Windows"
exit $((failed > 0))
