#!/usr/bin/env bash
# Builds everything: the module, the client library, the service daemon, the
# test addons, the native tests and the benchmarks. BUILD_DIR (default build/)
# and CMAKE_ARGS can be set; NAVINFO_SANITIZE=1 builds with ASan and UBSan;
# NAVINFO_DDS_BRIDGE=1 builds the daemon with its DDS bridge.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
BUILD_DIR=${BUILD_DIR:-build}
extra=()
[ "${NAVINFO_SANITIZE:-0}" = "1" ] && extra+=(-DNAVINFO_SANITIZE=ON)
[ "${NAVINFO_DDS_BRIDGE:-0}" = "1" ] && extra+=(-DNAVINFO_DDS_BRIDGE=ON)
cmake -S . -B "$BUILD_DIR" ${CMAKE_ARGS:-} "${extra[@]}" >/dev/null
cmake --build "$BUILD_DIR" -j"$(nproc)"
