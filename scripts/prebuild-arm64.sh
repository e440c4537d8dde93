#!/usr/bin/env bash
# Cross-builds the package's binaries for linux-arm64 (aarch64 head units)
# with Debian's cross toolchain into prebuilds/linux-arm64/, where `npm pack`
# picks them up beside linux-x64's: the module, its libraries and the daemon,
# without the DDS bridge and without systemd support (neither library is in
# the cross toolchain's tree; on the head unit the install step can build the
# bridge from source: docs/api.md#installing).
#
#   scripts/prebuild-arm64.sh             build, then check what it made
#   scripts/prebuild-arm64.sh --with-node also load the module in Debian's arm64
#                                         Node.js under qemu (scripts/arm64-node-sysroot.sh)
#
# The checks: every binary is an aarch64 ELF that needs no library but the C
# and C++ runtime and its own; the daemon runs under qemu-aarch64 (--version,
# then serving this machine's x64 node over its socket); with --with-node,
# the package's own require() loads the module in an arm64 node and runs a
# publish and follow in it. BUILD_DIR (default build-arm64) and CMAKE_ARGS can
# be set.
set -euo pipefail
cd "$(dirname "$0")/.."
with_node=0
case "${1:-}" in
  --with-node) with_node=1 ;;
  "") ;;
  *) echo "usage: scripts/prebuild-arm64.sh [--with-node]" >&2; exit 2 ;;
esac

bash scripts/setup.sh arm64
BUILD_DIR=${BUILD_DIR:-build-arm64}
OUT=prebuilds/linux-arm64
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
# shellcheck disable=SC2086 # CMAKE_ARGS is a list of arguments
cmake -S . -B "$BUILD_DIR" --no-warn-unused-cli --toolchain cmake/aarch64-linux-gnu.cmake -DCMAKE_BUILD_TYPE=Release \
  -DNAVINFO_BUILD_TESTS=OFF -DNAVINFO_BUILD_BENCH=OFF -DNAVINFO_DDS_BRIDGE=OFF "${launcher[@]}" ${CMAKE_ARGS:-} >/dev/null
cmake --build "$BUILD_DIR" -j"${JOBS:-$(nproc)}"
rm -rf "$OUT"
cmake --install "$BUILD_DIR" --component runtime --strip --prefix "$OUT" >/dev/null
echo "prebuild-arm64: $(cd "$OUT" && echo *)"

if [ "$with_node" = 1 ]; then
  bash scripts/check-arm64-prebuild.sh --with-node
else
  bash scripts/check-arm64-prebuild.sh
fi
