#!/usr/bin/env bash
# Compares the two manuals: as many headings of each level in the same order, the same pictures (each
# in its own language) and as many table rows, and every picture and page that either names exists.
set -euo pipefail
cd "$(dirname "$0")/../docs"

# skeleton MANUAL: what both languages must have in common, a line each.
skeleton() {
  sed -nE 's/^(#+) .*/heading \1/p; s/^\| ?-.*/table/p; t
    s/^\|.*/row/p; t
    s/^[0-9]+\. .*/step/p; t
    /!\[/{s/!\[[^]]*\]\(([^)]*)\)/\n\1\n/g; s/-(en|zh)\.png/.png/g; p}' "$1" |
    grep -E '^(heading|table|row|step|images/)'
}

failed=0
diff <(skeleton manual.md) <(skeleton manual.zh.md) || {
  echo 'the manuals differ in what they hold (< manual.md, > manual.zh.md)' >&2
  failed=1
}
for manual in manual.md manual.zh.md; do
  while read -r target; do
    [[ -e $target ]] || {
      echo "$manual names $target, which is missing" >&2
      failed=1
    }
  done < <(grep -oE '\]\([^)#:]+\)' "$manual" | sed -E 's/^\]\((.*)\)$/\1/')
done
exit "$failed"
