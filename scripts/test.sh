#!/usr/bin/env bash
# Builds everything, then runs the native tests (GoogleTest through CTest),
# the JavaScript tests (node --test), the cluster page's browser test, and the
# check of the npm package (packed, installed into an empty application, used
# there). Fails if any fails.
set -uo pipefail
cd "$(dirname "$0")/.."
# The daemon's DDS bridge and its tests are part of every test run (setup.sh
# installs Cyclone DDS).
export NAVINFO_DDS_BRIDGE=${NAVINFO_DDS_BRIDGE:-1}
# The tests use the embedded service unless they start a daemon of their own:
# set and empty, NAVINFO_SERVICE_SOCKET keeps a navinfo-service left running
# at the default socket from being picked up (test/js/support/paths.js does
# the same for test files run alone).
export NAVINFO_SERVICE_SOCKET=
bash scripts/build.sh || exit 1
BUILD_DIR=${BUILD_DIR:-build}
export NAVINFO_BUILD_DIR="$PWD/$BUILD_DIR"

status=0
(cd "$BUILD_DIR" && ctest --output-on-failure -j2 --timeout 300) || status=1
# The typed examples of the client API must compile under --strict, with
# moduleResolution "node16" and with "node"; the latter finds the package
# only in node_modules (a link to this checkout, ignored by git).
node_modules/.bin/tsc -p examples/client/tsconfig.json || status=1
mkdir -p examples/client/node_modules && ln -sfn ../../.. examples/client/node_modules/navigation-info-mgr &&
  node_modules/.bin/tsc -p examples/client/tsconfig.node.json || status=1
node --test --test-concurrency=2 --test-timeout=120000 test/js/*.test.js || status=1
# The cluster page in headless Chromium, alone; its screenshots are kept in
# $BUILD_DIR/artifacts/.
node --test --test-timeout=180000 test/browser/*.test.js || status=1
# The package check builds the package from source once: alone, so that the
# build slows down no other test.
node --test --test-timeout=900000 test/package/*.test.js || status=1
exit $status
