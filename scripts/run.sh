#!/usr/bin/env bash
# Builds everything and runs the test drive: the route simulator and the live
# cluster page (apps/testdrive/main.js; --daemon for three processes on the
# navinfo-service daemon, --help for the options). Prints the page's URL;
# Ctrl-C or SIGTERM stops everything.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
export NAVINFO_BUILD_DIR="$PWD/${BUILD_DIR:-build}"
exec node apps/testdrive/main.js "$@"
