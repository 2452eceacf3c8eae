#!/usr/bin/env bash
# Installs every Debian package the build, the program and the tests need.
# Idempotent: installs only what is missing, so it costs a second on a ready machine.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build ccache pkg-config clang-format
  # core libraries
  libpcre2-dev libcurl4-openssl-dev libsqlite3-dev sqlite3 libcli11-dev libssl-dev
  # a shared store on a PostgreSQL server: libpq, and the server the tests start a cluster of
  libpq-dev postgresql
  # the Debian package: dependencies computed from the binaries, the package unpacked in its test
  dpkg-dev file openssl lintian
  # windows
  qt6-base-dev qt6-webengine-dev libqt6webenginecore6-bin qt6-tools-dev libgl-dev
  # Qt's own texts (buttons, dialogs, menus of text boxes) in Chinese
  qt6-translations-l10n
  # tests: unit tests, screen under Xvfb, Chinese fonts
  libgtest-dev libgmock-dev xvfb xauth x11-utils fonts-noto-cjk
  # the README's pictures: shrunk and checked
  imagemagick
  # download tests and benchmark: a proxy to go through, curl as the peer to measure against
  tinyproxy curl
  # chart page tests: the gallery pages in headless Chromium
  chromium
  # parser fuzz targets: libFuzzer with clang
  clang libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
# npm brings the chart library; Debian's Node.js serves where no other is installed.
command -v npm >/dev/null || missing+=(nodejs npm)

if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}" >&2
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -q
  "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

# The chart library of the gallery pages, at the version package-lock.json pins.
cd "$(dirname "$0")/.."
if [ ! -f node_modules/echarts/dist/echarts.min.js ]; then
  echo "setup: installing the chart library (npm ci)" >&2
  npm ci --no-audit --no-fund
fi
