#!/usr/bin/env bash
# Cross-builds the console for Windows and makes a folder of it that needs nothing but Windows, a ZIP
# file of that, and an installer. They lie under
# build/windows-mingw/package.
# Usage: WINDOWS_QT=prefix WINDOWS_FFMPEG=prefix [WINDOWS_SDL2=prefix] [HOST_QT=prefix] \
#        package-windows.sh                            (the prefixes: see cmake/MinGW.cmake)
set -euo pipefail
cd "$(dirname "$0")/.."
: "${WINDOWS_QT:?the prefix of a Qt for MinGW}" "${WINDOWS_FFMPEG:?the prefix of an FFmpeg for MinGW}"
fail() { echo "package-windows.sh: $*" >&2; exit 1; }

tool=x86_64-w64-mingw32
for program in cmake ninja $tool-g++-posix makensis zip jq cmark-gfm; do
  command -v $program >/dev/null || fail "$program is missing; the packages: cmake ninja-build" \
    "g++-mingw-w64-x86-64-posix nsis zip jq cmark-gfm"
done
build=build/windows-mingw
folder=$build/package/podconsole
rm -rf "$folder"
cmake --preset windows-mingw >/dev/null
cmake --build --preset windows-mingw --target apppodconsole
cmake --install $build --component console --strip >/dev/null
scripts/manual-pages.sh "$folder/manual"
cp LICENSE.md "$folder/LICENSE.txt"
printf '[Paths]\nPrefix=.\nPlugins=plugins\nQmlImports=qml\n' >"$folder/qt.conf"

# Plug-ins of Qt that the console cannot do without, and those it uses where there are any.
plugins=(platforms/qwindows imageformats/qsvg)
optional_plugins=(imageformats/qjpeg)
# Modules that Qt's libraries import from within, where no one who reads QML files sees it.
hidden_modules=(QtQuick.Dialogs.quickimpl Qt.labs.folderlistmodel)
# The console sets its style; Basic is what that falls back to.
styles='Basic|Material'

for plugin in "${plugins[@]}" "${optional_plugins[@]}"; do
  source=$WINDOWS_QT/plugins/$plugin.dll
  if [[ -e $source ]]; then
    install -D "$source" "$folder/plugins/$plugin.dll"
  elif [[ " ${plugins[*]} " == *" $plugin "* ]]; then
    fail "Qt's plug-in $plugin is missing"
  fi
done

# The modules of Qt that the interface imports, and that those import in turn: a line each of name,
# folder below qml/, plug-in ("-" for none) and whether that may be missing.
hidden=$(mktemp -d)
trap 'rm -rf "$hidden"' EXIT
printf 'import %s\n' "${hidden_modules[@]}" >"$hidden/Hidden.qml"
echo 'QtObject {}' >>"$hidden/Hidden.qml"
host_tools=$(find "${HOST_QT:-/usr}"/{lib/qt6/libexec,libexec,bin} -name qmlimportscanner -print -quit 2>/dev/null || true)
[[ -n $host_tools ]] || fail "no qmlimportscanner in ${HOST_QT:-/usr}"
modules=$("$host_tools" -rootPath qml -rootPath "$hidden" -importPath "$WINDOWS_QT/qml" |
  jq -r '.[] | select(.type == "module")
    | [.name, .relativePath // "-", .plugin // "-", .pluginIsOptional // false] | @tsv')
ours=$(grep -ohE 'qmlRegisterType<.*>\("[A-Za-z]+"' src/app/*.cpp | sed 's/.*"\(.*\)"/\1/')
while IFS=$'\t' read -r name path plugin is_optional; do
  if [[ $name == QtQuick.Controls.* && ! $name =~ ^QtQuick\.Controls\.(impl|$styles)(\.|$) ]]; then
    continue # a style that is not ours
  fi
  if [[ $path == - ]]; then
    grep -qx "$name" <<<"$ours" || fail "the QML module $name is in no folder"
    continue
  fi
  source=$WINDOWS_QT/qml/$path
  mkdir -p "$folder/qml/$path"
  # A folder below that is a module of its own comes by its own name.
  (cd "$source" && find . -mindepth 1 -type d -exec test -e '{}/qmldir' \; -prune -o -type f \
    ! -name '*.a' ! -name '*.prl' ! -name '*.qmltypes' ! -name '*.debug' -print0 |
    xargs -0 -r cp --parents -t "$OLDPWD/$folder/qml/$path")
  if [[ $plugin != - && $is_optional == false && ! -e $folder/qml/$path/$plugin.dll ]]; then
    fail "the QML module $name has no $plugin.dll"
  fi
done <<<"$modules"

# What every supported Windows (10 and later) has itself.
windows_own=' advapi32 authz avrt bcrypt bcryptprimitives cfgmgr32 comctl32 comdlg32 crypt32 d2d1 d3d11 d3d12 d3d9
  dcomp dnsapi dwmapi dwrite dxgi gdi32 hid imm32 iphlpapi kernel32 mfplat mpr msvcrt ncrypt netapi32 ntdll
  ole32 oleaut32 opengl32 powrprof propsys rpcrt4 secur32 setupapi shcore shell32 shlwapi ucrtbase
  uiautomationcore user32 userenv usp10 uxtheme version winhttp winmm winspool.drv ws2_32 wtsapi32 '
is_windows_own() {
  [[ $1 == api-ms-win-* ]] || grep -qwF -- "${1%.dll}" <<<"$windows_own"
}

declare -A supply
run_time=()
for library in libstdc++-6 libgcc_s_seh-1 libwinpthread-1; do
  run_time+=("$($tool-g++-posix -print-file-name=$library.dll)")
done
for library in "$WINDOWS_QT"/bin/*.dll "$WINDOWS_FFMPEG"/bin/*.dll ${WINDOWS_SDL2:+"$WINDOWS_SDL2"/bin/*.dll} "${run_time[@]}"; do
  [[ ! -e $library ]] || supply[$(basename "${library,,}")]=$library
done

# needs FILE: the libraries in its import table, in lower case.
needs() { $tool-objdump -p "$1" | awk '/DLL Name:/ { print tolower($3) }'; }

declare -A seen
missing=0
mapfile -t queue < <(find "$folder" -iname '*.exe' -o -iname '*.dll')
while ((${#queue[@]})); do
  file=${queue[0]}
  queue=("${queue[@]:1}")
  for library in $(needs "$file"); do
    [[ -z ${seen[$library]:-} ]] || continue
    seen[$library]=1
    if [[ -n ${supply[$library]:-} ]]; then
      cp -L "${supply[$library]}" "$folder/"
      queue+=("$folder/$(basename "${supply[$library]}")")
    elif ! is_windows_own "$library"; then
      echo "package-windows.sh: $(basename "$file") needs $library, which is nowhere" >&2
      missing=1
    fi
  done
done
((missing == 0)) || exit 1

version=$(sed -nE 's/^project\(podconsole VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
name=$build/package/podconsole-$version-windows-x86_64
rm -f "$name".zip "$name"-setup.exe
(cd $build/package && zip -qr "${name##*/}.zip" podconsole)

# The uninstaller takes away what was installed and nothing else.
list=$build/package/uninstall.nsh
(cd "$folder" && find . -type f -printf '  Delete "$INSTDIR/%P"\n' &&
  find . -mindepth 1 -depth -type d -printf '  RMDir "$INSTDIR/%P"\n') | tr / '\\' >$list
makensis -V2 -NOCD "-DVERSION=$version" "-DFOLDER=$PWD/$folder" "-DLIST=$PWD/$list" \
  "-DTARGET=$PWD/$name-setup.exe" packaging/podconsole.nsi
ls "$name".zip "$name"-setup.exe
