#!/usr/bin/env bash
# Builds the Debian package build-release/package/vantor_<version>_amd64.deb (both programs, the demo
# market, the chart pages and library, a desktop entry) and prints its path.
#
# The release key decides whether the package can update itself. Give one of:
#   VANTOR_RELEASE_KEY=FILE         the Ed25519 private key (openssl genpkey -algorithm ed25519 -out FILE):
#                                   its public key is built in and the package is signed (FILE.sig beside it)
#   VANTOR_UPDATE_PUBLIC_KEY=HEX    the public key only (the package is signed elsewhere, scripts/sign-update.sh)
# Without either, the package neither checks for nor installs updates.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

public=${VANTOR_UPDATE_PUBLIC_KEY:-}
if [ -z "$public" ] && [ -n "${VANTOR_RELEASE_KEY:-}" ]; then
  public=$(openssl pkey -in "$VANTOR_RELEASE_KEY" -pubout -outform DER | tail -c 32 | od -An -tx1 | tr -d ' \n')
fi
[ -n "$public" ] || echo "package: no release key given: this package will not check for updates" >&2

# A folder of its own: the key never reaches the build the tests run on.
cmake --preset default -B build-release -DVANTOR_UPDATE_PUBLIC_KEY="$public" >/dev/null
cmake --build build-release -j "$(nproc)" --target vantor vantor-cli vantor-demo-market >&2
(cd build-release && cpack -B package >&2)
deb=$(ls build-release/package/vantor_*_amd64.deb)
if [ -n "${VANTOR_RELEASE_KEY:-}" ]; then
  scripts/sign-update.sh "$VANTOR_RELEASE_KEY" "$deb" >&2
fi
echo "$deb"
