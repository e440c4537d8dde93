#!/usr/bin/env bash
# Installs what the build and the tests need, from Debian's packages and the
# npm registry only; a no-op when everything is already there.
# `scripts/setup.sh arm64` adds what scripts/prebuild-arm64.sh needs.
set -euo pipefail
cd "$(dirname "$0")/.."

# clang and its runtime libraries (libFuzzer, the sanitizers) build the fuzz
# targets; chromium runs the cluster page's browser test; libsystemd-dev gives
# the daemon its systemd support, systemd the systemd-socket-activate of its tests;
# Cyclone DDS (its library, and idlc and ddsperf) and OpenSSL's libcrypto the daemon's DDS bridge;
# clang-format and clang-tidy are scripts/lint.sh's.
packages=(cmake g++ make libgtest-dev libgmock-dev nlohmann-json3-dev binutils clang libclang-rt-14-dev
  chromium libsystemd-dev systemd cyclonedds-dev cyclonedds-tools libssl-dev clang-format clang-tidy)
# The linux-arm64 prebuild: Debian's cross toolchain, and qemu and file to
# check what it made on this machine.
if [ "${1:-}" = "arm64" ]; then
  packages+=(g++-aarch64-linux-gnu qemu-user file)
fi
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  echo "installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"
fi

# Without the package's own install step: scripts/build.sh builds here.
if ! [ -f node_modules/node-api-headers/include/node_api.h ] || ! [ -f node_modules/typescript/bin/tsc ] ||
   ! [ -f node_modules/@types/node/index.d.ts ] || ! [ -f node_modules/playwright-core/package.json ] ||
   ! [ -f node_modules/eslint/package.json ] || ! [ -f node_modules/@eslint/js/package.json ] ||
   ! [ -f node_modules/globals/package.json ]; then
  npm ci --ignore-scripts --no-audit --no-fund
fi

# The tools' own packages (route files, recordings: apps/package.json), which
# the module itself does not depend on.
if ! [ -f apps/node_modules/.package-lock.json ] || [ apps/package-lock.json -nt apps/node_modules/.package-lock.json ]; then
  npm ci --prefix apps --ignore-scripts --no-audit --no-fund
fi
