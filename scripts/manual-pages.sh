#!/usr/bin/env bash
# Makes the manual, in both languages, readable beside the program: web pages with their pictures.
# Usage: manual-pages.sh FOLDER
set -euo pipefail
folder=$(realpath -m "$1")
cd "$(dirname "$0")/../docs"

pages=(manual.md manual.zh.md models.md joystick.md)
style='body{max-width:60em;margin:2em auto;padding:0 1em;font:16px/1.5 sans-serif;color:#222}
img{max-width:100%}code{background:#eee;padding:0 .2em}
table{border-collapse:collapse}td,th{border:1px solid #bbb;padding:.3em .6em;text-align:left;vertical-align:top}'

# named_headings: gives each heading the name that links inside the page call it by.
named_headings() {
  perl -CSD -Mutf8 -pe 's{<h(\d)>(.*?)</h\d>}{
    my ($level, $name) = ($1, lc $2);
    $name =~ s/<[^>]*>//g;
    $name =~ s/[^\p{L}\p{N} -]//g;
    $name =~ tr/ /-/;
    "<h$level id=\"$name\">$2</h$level>"}e'
}

mkdir -p "$folder/images"
for page in "${pages[@]}"; do
  language=en
  [[ $page != *.zh.md ]] || language=zh-CN
  {
    printf '<!DOCTYPE html>\n<html lang="%s"><head><meta charset="utf-8"><title>%s</title><style>%s</style></head><body>\n' \
      "$language" "$(sed -n 's/^# //p;T;q' "$page")" "$style"
    cmark-gfm --extension table "$page" | sed -E 's/(href="[a-z.-]+)\.md/\1.html/g' | named_headings
    echo '</body></html>'
  } >"$folder/${page%.md}.html"
  grep -oE '\]\(images/[^)]+' "$page" | cut -c 3- | sort -u | xargs -r cp -t "$folder/images" || true
done

# A link that leads nowhere would be noticed by an operator in need only.
broken=0
while IFS=: read -r page target; do
  name=${target#*#}
  file=$folder/${target%%#*}
  [[ -n ${target%%#*} ]] || file=$page
  if [[ ! -e $file ]] || { [[ $target == *#* ]] && ! grep -qF "id=\"$name\"" "$file"; }; then
    echo "${page##*/} links to $target, which is not there" >&2
    broken=1
  fi
done < <(grep -oHE '(href|src)="[^":]+"' "$folder"/*.html | perl -pe 's/(?:href|src)="([^"]*)"/$1/; s/%([0-9A-F]{2})/chr hex $1/ge')
exit "$broken"
