#!/usr/bin/env bash
# Starts the program on an empty data folder under the X server given in DISPLAY, saves a screenshot
# of the main window and fails when the program fails, a caption cannot be drawn, or the picture is
# not the window.
set -euo pipefail
program=$1
out=$2
data=$(mktemp -d)
trap 'rm -rf "$data"' EXIT
shot="$out/main-window.png"
rm -f "$shot"
"$program" --data-dir "$data" --screenshot "$shot"
[ -s "$shot" ] || { echo "no screenshot written"; exit 1; }
# PNG header: width and height are big-endian at bytes 16-23.
read -r width height < <(od -An -tu1 -j16 -N8 "$shot" | awk '{print $1*16777216+$2*65536+$3*256+$4, $5*16777216+$6*65536+$7*256+$8}')
echo "screenshot $shot: ${width}x${height}"
[ "$width" -ge 973 ] && [ "$height" -ge 647 ] || { echo "the window is smaller than 973x647"; exit 1; }
[ -s "$data/config.ini" ] && [ -s "$data/lmd_pin.db" ] || { echo "settings or database missing"; exit 1; }
