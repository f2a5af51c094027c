#!/usr/bin/env bash
# Fails on an include between folders, and on a library linked to another, that the table of
# docs/architecture.md does not allow. The table is read as it stands: folders in its first column,
# what they may include in its last, both in backquotes; "anything" allows everything.
set -euo pipefail
cd "$(dirname "$0")/.."

# The table as lines FOLDER TAB ALLOWED, a line for each folder.
table() {
  awk -F '|' '/^\| `/ && NF == 5 {
    count = split($2, names, "`")
    gsub(/[^a-z\/ ]/, " ", $4)
    for (i = 2; i <= count; i += 2)
      if (names[i] ~ /\/$/)
        print substr(names[i], 1, length(names[i]) - 1) "\t" $4
  }' docs/architecture.md
}

declare -A allowed
while IFS=$'\t' read -r folder names; do
  allowed[$folder]=" $names "
done < <(table)
findings=0

finding() {
  echo "$*" >&2
  findings=$((findings + 1))
}

# row_of PATH: the longest folder of the table that holds it.
row_of() {
  local folder=$1
  until [[ -v allowed[$folder] ]]; do
    [[ $folder == */* ]] || return 0
    folder=${folder%/*}
  done
  echo "$folder"
}

# target_of ROW NAME: the row of the included file, by the place where the compiler finds it.
target_of() {
  local root
  for root in "${1%%/*}" src sim; do
    if [[ -f $root/$2 ]]; then
      row_of "$root/$2"
      return
    fi
  done
}

# may_use ROW OTHER
may_use() {
  [[ $1 == "$2" || ${allowed[$1]} == *" anything "* || ${allowed[$1]} == *" ${2#src/} "* ]]
}

check_includes() {
  local file line name row target
  while IFS=: read -r file line name; do
    row=$(row_of "$file")
    if [[ -z $row ]]; then
      finding "$file: its folder has no row in docs/architecture.md"
      continue
    fi
    name=${name#*\"}
    target=$(target_of "$row" "${name%\"*}")
    [[ -z $target ]] || may_use "$row" "$target" ||
      finding "$file:$line: $row may not include $target"
  done < <(git grep -nE '^ *#include ".*/.*"' -- '*.cpp' '*.h')
}

# links_of LIBRARY: the libraries of src/ that it links.
links_of() {
  tr '\n' ' ' <src/CMakeLists.txt | grep -oE "podconsole_library\\($1 [^)]*\\)" |
    sed 's/.* LINK //' | grep -oE '\bpod[a-z_]+\b' | grep -vx podconsole || true
}

# A library of src/ is named after its folder and links the libraries of what its row has.
check_links() {
  local folder expected
  for folder in "${!allowed[@]}"; do
    [[ $folder == src/* && -n $(git ls-files "$folder/*.h") ]] || continue
    expected=$(grep -vx nothing <<<"${allowed[$folder]// /$'\n'}" | sed '/./!d; s:/:_:; s:^:pod:' | sort)
    folder=${folder#src/}
    folder=pod${folder//\//_}
    [[ $expected == "$(links_of "$folder" | sort)" ]] ||
      finding "src/CMakeLists.txt: $folder is to link: ${expected//$'\n'/ }"
  done
}

check_includes
check_links
exit $((findings > 0))
