#!/usr/bin/env bash
# Installs what is missing, checks the format, builds both ways (with and without Qt, so the core never
# comes to depend on the windows) and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/check-format.sh
scripts/build.sh core
scripts/build.sh default
ctest --preset default
