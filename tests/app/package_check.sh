#!/usr/bin/env bash
# The Debian package: made with CPack from this build, unpacked into a temporary root, its vantor-cli
# run there with a temporary home. An installed program keeps its data in the home's XDG folder and
# finds its chart pages in share/vantor/gallery.
# Usage: package_check.sh <build folder>
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "package: $*" >&2; exit 1; }

(cd "$build" && cpack -B "$work/out" >/dev/null)
deb=$(ls "$work"/out/vantor_*_amd64.deb) || fail "no vantor_<version>_amd64.deb"
dpkg-deb -x "$deb" "$work/root"
dpkg-deb -f "$deb" Depends | grep -q libsqlite3 || fail "dependencies not computed from the binaries"
# Debian's own checks: no error (warnings, such as the missing manual pages, are reported only).
lintian --fail-on error --suppress-tags no-manual-page "$deb" >"$work/lintian.txt" 2>&1 ||
    fail "lintian: $(grep '^E:' "$work/lintian.txt" | tr '\n' ' ')"

root=$work/root/usr
for file in bin/vantor bin/vantor-cli share/vantor/gallery/saleAnalyse.html share/vantor/gallery/echarts.min.js \
    share/icons/hicolor/scalable/apps/vantor.svg; do
    [ -e "$root/$file" ] || fail "missing $file"
done
grep -qx 'Name=Vantor专业版' "$root/share/applications/vantor.desktop" || fail "desktop entry without its name"
grep -qx 'Categories=Office;' "$root/share/applications/vantor.desktop" || fail "desktop entry not in Office"

version=$(dpkg-deb -f "$deb" Version)
[ "$(env -u VANTOR_DATA_DIR "$root/bin/vantor-cli" --version)" = "vantor-cli $version" ] || fail "--version"
home=$work/home
mkdir -p "$home"
env -u VANTOR_DATA_DIR -u XDG_DATA_HOME HOME="$home" "$root/bin/vantor-cli" config show >/dev/null
[ -f "$home/.local/share/vantor/config.ini" ] || fail "the data folder is not in the home"
env -u VANTOR_DATA_DIR XDG_DATA_HOME="$work/xdg" HOME="$home" "$root/bin/vantor-cli" config show >/dev/null
[ -f "$work/xdg/vantor/config.ini" ] || fail "XDG_DATA_HOME is not followed"
[ ! -e "$work/root/usr/data" ] || fail "data written beside the installed program"
echo "package: $(basename "$deb") holds both programs, the pages and the desktop entry; data lands in the home"
