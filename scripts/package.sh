#!/usr/bin/env bash
# Builds the Debian package build/package/vantor_<version>_amd64.deb (both programs, the demo market,
# the chart pages and library, a desktop entry) and prints its path.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh default
(cd build && cpack -B package >&2)
ls build/package/vantor_*_amd64.deb
