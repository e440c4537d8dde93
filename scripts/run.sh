#!/usr/bin/env bash
# Builds everything and runs the main example.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
export NAVINFO_BUILD_DIR="$PWD/${BUILD_DIR:-build}"
exec node examples/main.js
