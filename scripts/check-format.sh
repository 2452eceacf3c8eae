#!/usr/bin/env bash
# Fails when a C++ source differs from the checked-in .clang-format style.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -co --exclude-standard -- '*.cpp' '*.h' | xargs -r clang-format --dry-run --Werror
echo "format: ok"
