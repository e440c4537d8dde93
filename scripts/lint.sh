#!/usr/bin/env bash
# Runs the linters and fails on any finding: clang-format (a check only; it
# changes nothing), clang-tidy over the project's own .cpp files and ESLint
# over all of its JavaScript. clang-tidy reads the compile commands of a tree
# configured in LINT_BUILD_DIR (default build-lint/; nothing is compiled there
# but the headers idlc generates). The checks are in .clang-format,
# .clang-tidy and eslint.config.mjs.
set -uo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh || exit 1
root=$PWD
build=${LINT_BUILD_DIR:-build-lint}
status=0
# Each step says how long it took: the whole must stay near two minutes in CI.
step() { echo "lint: $1 (${SECONDS}s in)"; }

step clang-format
git ls-files -z -- '*.cpp' '*.h' '*.c' | xargs -0 clang-format --dry-run --Werror || status=1

step clang-tidy
if cmake -S . -B "$build" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DNAVINFO_DDS_BRIDGE=ON >/dev/null &&
   cmake --build "$build" --target navinfo_bridge_types_generate >/dev/null; then
  # Our .cpp files, not the code generated into the build tree.
  node -e '
    const [root, build] = process.argv.slice(1);
    const path = require("node:path");
    const out = path.resolve(build) + path.sep;
    const files = new Set(require(path.resolve(build, "compile_commands.json")).map((c) => path.resolve(c.directory, c.file)));
    for (const f of files) if (f.startsWith(root + path.sep) && !f.startsWith(out) && f.endsWith(".cpp")) console.log(f);
  ' "$root" "$build" |
    xargs -d '\n' -n 2 -P "$(nproc)" clang-tidy -p "$build" --quiet \
      --header-filter="^$root/(bench|client|embedded|interfaces|platform|protocol|service|test|tools)/" \
      2> >(grep -vE '^[0-9]+ (warning|error)s? (and [0-9]+ (warning|error)s? )?generated\.$' >&2) || status=1
else
  echo "lint: configuring $build for clang-tidy failed" >&2
  status=1
fi

step eslint
node_modules/.bin/eslint . || status=1

step done
[ "$status" -eq 0 ] && echo "lint: clean"
exit $status
