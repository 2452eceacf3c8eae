#!/usr/bin/env bash
# Makes the README's pictures again into a temporary folder with the programs of this build, and fails
# when one is missing, differs in size from the one checked in, is too big to check in, shows a blank
# or uniform screen, or shows an analysis without its chart; and when an image the README links is
# not in the repository, or a picture the script makes is not linked.
set -euo pipefail
source_dir=$1
bin=$2
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
VANTOR_BIN=$bin "$source_dir/scripts/readme-pictures.sh" "$out" >/dev/null

fail=0
complain() {
  echo "$*"
  fail=1
}
pictures=(main-window sales-gathering sales-trend sales-distribution)
for name in "${pictures[@]}"; do
  made=$out/$name.png
  kept=$source_dir/docs/pictures/$name.png
  [ -s "$made" ] || { complain "$name: not made"; continue; }
  [ -s "$kept" ] || { complain "$name: not checked in under docs/pictures/"; continue; }
  size=$(identify -format '%wx%h' "$made")
  [ "$size" = "$(identify -format '%wx%h' "$kept")" ] || complain "$name: $size, the checked-in one is not"
  bytes=$(stat -c %s "$made")
  [ "$bytes" -lt 153600 ] || complain "$name: $bytes bytes, too big for the README"
  colours=$(identify -format '%k' "$made")
  [ "$colours" -ge 32 ] || complain "$name: only $colours colours, a blank screen"
  echo "$name: $size, $bytes bytes, $colours colours"
done
# The charts are the only strong colour in the working area right of the navigation: bars and lines,
# where a page without its chart library shows grey text on white.
for name in sales-trend sales-distribution; do
  [ -s "$out/$name.png" ] || continue
  coloured=$(convert "$out/$name.png" -crop 880x620+200+60 +repage -colorspace HSB -channel G -separate \
    +channel -threshold 50% -format '%[fx:mean]' info:)
  echo "$name: a share of $coloured in strong colour"
  awk -v c="$coloured" 'BEGIN { exit !(c > 0.02) }' || complain "$name: no chart drawn"
done

# Every image the README links is in the repository, and every picture made is linked.
readme=$source_dir/README.md
links=$(grep -o '!\[[^]]*\]([^)]*)' "$readme" | sed 's/.*](\([^)]*\))/\1/' || true)
for link in $links; do
  [ -f "$source_dir/$link" ] || complain "README links $link, which is not there"
done
for name in "${pictures[@]}"; do
  grep -qx "docs/pictures/$name.png" <<<"$links" || complain "README does not show docs/pictures/$name.png"
done
exit "$fail"
