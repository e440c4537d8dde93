#!/usr/bin/env bash
# Builds everything with AddressSanitizer and UndefinedBehaviorSanitizer into
# build-asan/ and runs both test suites there. Node itself is not
# instrumented: the sanitizer runtimes are preloaded into it, and leak
# detection is left to the native tests (Node keeps memory until exit).
set -uo pipefail
cd "$(dirname "$0")/.."
export BUILD_DIR=build-asan NAVINFO_SANITIZE=1 NAVINFO_DDS_BRIDGE=${NAVINFO_DDS_BRIDGE:-1}
CMAKE_ARGS="${CMAKE_ARGS:-} -DNAVINFO_BUILD_BENCH=OFF" bash scripts/build.sh || exit 1
export NAVINFO_BUILD_DIR="$PWD/build-asan" UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

status=0
(cd build-asan && ASAN_OPTIONS=detect_leaks=1 ctest --output-on-failure -j2 --timeout 600) || status=1
LD_PRELOAD="$(g++ -print-file-name=libasan.so) $(g++ -print-file-name=libubsan.so)" \
  ASAN_OPTIONS=detect_leaks=0:handle_segv=0:allow_user_segv_handler=1 \
  node --test --test-concurrency=1 --test-timeout=300000 test/js/*.test.js || status=1
exit $status
