#!/usr/bin/env bash
# Makes the README's pictures of the program again: the demo marketplace on a fixed day, three shops
# gathered into a new data folder, and the program shot on a virtual 1280×800 screen on the sales data
# view, a gathering run in its window, and two charts. Writes into docs/pictures/ or the folder given.
# The programs come from build/bin/ unless VANTOR_BIN names another folder.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bin=${VANTOR_BIN:-$root/build/bin}
out=$(realpath -m "${1:-$root/docs/pictures}")

# Its own screen always, so the pictures do not depend on the desktop they are made on.
if [ -z "${VANTOR_PICTURES_SCREEN:-}" ]; then
  VANTOR_PICTURES_SCREEN=1 exec xvfb-run -a -s "-screen 0 1280x800x24" "$0" "$out"
fi

# A fixed day, so the market and with it the pictures stay the same from one run to the next.
today=2025-12-20
# The welcome and advertisement panes fall back to their bundled pages; no update is asked for.
export VANTOR_VENDOR_SITE=http://127.0.0.1:9 VANTOR_UPDATE_SERVICE=http://127.0.0.1:9/update
export QTWEBENGINE_DISABLE_SANDBOX=1

work=$(mktemp -d)
market=
cleanup() {
  [ -z "$market" ] || kill "$market" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

"$bin/vantor-demo-market" --port 0 --quiet --today "$today" >"$work/port" &
market=$!
for _ in $(seq 200); do [ -s "$work/port" ] && break; sleep 0.05; done
port=$(head -n 1 "$work/port")
[ -n "$port" ] || { echo "readme-pictures: the demo marketplace did not start" >&2; exit 1; }

data=$work/data
mkdir -p "$data" "$out"
"$bin/vantor-cli" --data-dir "$data" config proxy --server 127.0.0.1 --port "$port" >/dev/null 2>&1
"$bin/vantor-cli" --data-dir "$data" gather-sales --category 1 --pick 1,2,3 --items 3 >/dev/null 2>"$work/gather.log" ||
  { cat "$work/gather.log" >&2; exit 1; }

# NAME, then the program's options: the window as the screen shows it, in 128 colours (a third of the
# size, and the text stays sharp).
shoot() {
  local name=$1
  shift
  # The embedded browser's own console lines are no news; the log is shown when the shot fails.
  "$bin/vantor" --data-dir "$data" --screenshot "$work/$name.png" "$@" >/dev/null 2>"$work/$name.log" ||
    { cat "$work/$name.log" >&2; echo "readme-pictures: $name failed" >&2; exit 1; }
  convert "$work/$name.png" -strip -colors 128 "$out/$name.png"
  echo "$out/$name.png"
}
shoot main-window --show sales-view
shoot sales-trend --show sales-trend --analyse
shoot sales-distribution --show sales-distribution --analyse
# Last: this gathering changes the data the other pictures show.
shoot sales-gathering --show sales-gathering --gather
