#!/usr/bin/env bash
# Makes a folder with Debian's arm64 Node.js and the shared libraries it
# needs (default build-arm64-sysroot/), so that qemu-aarch64 can run an arm64
# node on this machine and load the linux-arm64 prebuild in it:
#
#   qemu-aarch64 -L build-arm64-sysroot build-arm64-sysroot/usr/bin/node -e "require('./x.node')"
#
# The packages come from Debian with `apt-get download` and are unpacked into
# the folder; nothing is installed into the system. It needs the arm64
# architecture added to dpkg (done here, once) for apt to list those packages.
set -euo pipefail
cd "$(dirname "$0")/.."
SYSROOT=${SYSROOT:-build-arm64-sysroot}

if [ -x "$SYSROOT/usr/bin/node" ]; then
  echo "arm64 node already in $SYSROOT"
  exit 0
fi
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
if ! dpkg --print-foreign-architectures | grep -qx arm64; then
  $SUDO dpkg --add-architecture arm64
  $SUDO apt-get update -qq
fi

# The arm64 packages in the closure of nodejs:arm64 but the programs that
# are there for installing packages (dpkg, tar, install-info) or for other
# uses (openssl), and the JavaScript packages Debian's node loads some of its
# built-in modules from.
mapfile -t packages < <(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
  --no-replaces --no-enhances nodejs:arm64 | grep -E '^[a-z0-9][^ <]*:arm64$' |
  grep -vE '^(dpkg|tar|install-info|openssl):' | sort -u)
packages+=(node-acorn node-cjs-module-lexer node-undici node-busboy node-xtend)
if [ "${#packages[@]}" -lt 6 ]; then
  echo "apt-cache found no arm64 packages of nodejs: apt-get update after dpkg --add-architecture arm64?" >&2
  exit 1
fi

debs=$(mktemp -d)
trap 'rm -rf "$debs"' EXIT
(cd "$debs" && apt-get download -qq "${packages[@]}")
mkdir -p "$SYSROOT"
for deb in "$debs"/*.deb; do
  dpkg-deb -x "$deb" "$SYSROOT"
done
echo "arm64 node $(basename "$(readlink -f "$SYSROOT/usr/bin/node")") and ${#packages[@]} packages in $SYSROOT"
