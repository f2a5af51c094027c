#!/usr/bin/env bash
# Compiles every source and header by itself, without making code: a missing include shows here,
# where a joined build or the order of a source's includes would hide it. A header that a source
# of its name includes first needs no run of its own.
# Usage: lint-alone.sh [files]
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
moc=$(mktemp -d)
trap 'rm -rf "$moc"' EXIT

if (($# == 0)); then
  mapfile -t files < <(git ls-files '*.cpp' '*.h')
  set -- "${files[@]}"
fi

# What moc would generate stands at a source's end and takes nothing from it.
while read -r name; do
  : >"$moc/$name"
done < <(git grep -ho '#include ".*\.moc"' | sed 's/.*"\(.*\)"/\1/')

# commands: a line for each source of the release build, its name from here, a tab, the compiler's
# call without file names.
commands() {
  sed -n 's/^ *"command": "\(.*\)",$/\1/p; s/^ *"file": "\(.*\)",\?$/\1/p' build/release/compile_commands.json |
    sed "s/\\\\\\(.\\)/\\1/g; s: -o .*::; s:^\\S*ccache ::; s:^$PWD/::" | paste -d '\t' - - |
    awk -F '\t' '{ print $2 "\t" $1 }'
}

# The call for each source, and the longest in each folder and each of those at the top.
declare -A call
while IFS=$'\t' read -r file command; do
  call[$file]=$command
  for folder in "${file%/*}" "${file%%/*}/"; do
    longest=${call[$folder]:-}
    ((${#command} <= ${#longest})) || call[$folder]=$command
  done
done < <(commands)
call[fuzz/]="${call[tests/]} -Isim" # which that build leaves to clang

# call_for FILE: what the build has none for is compiled as a source that includes it, or
# as its neighbours are, and finds what its top folder finds.
call_for() {
  local top=${call[${1%%/*}/]} user
  user=$(git grep -l "#include \"${1##*/}\"" -- "${1%/*}/*.cpp" "${1%%/*}/*.cpp" | head -n 1)
  echo "${call[$1]:-${call[${user:-${1%/*}}]:-$top} $(grep -oE -- '-(I|isystem )\S+' <<<"$top" | tr '\n' ' ')}"
}

is_first_of_its_source() {
  local source=${1%.h}.cpp
  [[ $1 == *.h && -f $source && $(grep -m 1 '^#include' "$source") == "#include \"${1##*/}\"" ]]
}

for file in "$@"; do
  is_first_of_its_source "$file" && continue
  subject=$file
  [[ $file == *.cpp ]] || subject="-include $file /dev/null"
  echo "$(call_for "$file") -I$moc -x c++ -fsyntax-only $subject ||" \
    "{ echo 'not by itself: $file' >&2; exit 1; }"
done | xargs -d '\n' -P "$(nproc)" -I COMMAND bash -c COMMAND
