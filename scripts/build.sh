#!/usr/bin/env bash
# Configures and builds one preset: "default" (desktop program, command line, tests) or "core"
# (no Qt at all). Usage: scripts/build.sh [preset]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-default}
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)"
