#!/usr/bin/env bash
# Signs an update package for the update service: writes PACKAGE.sig (Ed25519) beside it and prints the
# public key the program must be built with (VANTOR_UPDATE_PUBLIC_KEY), the package's SHA-256 and the
# getVerInfo reply line to publish. A key is made with: openssl genpkey -algorithm ed25519 -out KEYFILE
# Usage: scripts/sign-update.sh KEYFILE PACKAGE [CHANGES]
set -euo pipefail
key=$1
package=$2
changes=${3:-修复了若干问题}
openssl pkeyutl -sign -inkey "$key" -rawin -in "$package" -out "$package.sig"
public=$(openssl pkey -in "$key" -pubout -outform DER | tail -c 32 | od -An -tx1 | tr -d ' \n')
hash=$(sha256sum "$package" | cut -d' ' -f1)
version=$(dpkg-deb -f "$package" Version)
echo "public key (VANTOR_UPDATE_PUBLIC_KEY): $public"
echo "sha256: $hash"
echo "getVerInfo: $version|$(date +%Y-%m-%d)|$hash|$changes"
