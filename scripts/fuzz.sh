#!/usr/bin/env bash
# Builds the libFuzzer targets of tools/fuzz with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer into build-fuzz/, and runs each one for
# FUZZ_SECONDS (default 30) from its committed seed corpus
# (tools/fuzz/corpus/<target>). Fails if any target finds a crash, a leak or
# a hang; the input that did it is kept as build-fuzz/findings/<target>/crash-*
# (or leak-*, timeout-*), with the whole output in build-fuzz/findings/<target>.log.
#
#   scripts/fuzz.sh                                      every target, 30 s each
#   FUZZ_SECONDS=3600 scripts/fuzz.sh ipc_connection_fuzz  one target, an hour
set -uo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh || exit 1
BUILD_DIR=build-fuzz
seconds=${FUZZ_SECONDS:-30}
targets=("$@")
[ "${#targets[@]}" -gt 0 ] || targets=(ipc_wire_fuzz ipc_connection_fuzz record_codec_fuzz want_params_fuzz access_policy_fuzz)

cmake -S . -B "$BUILD_DIR" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DNAVINFO_FUZZ=ON \
  -DNAVINFO_BUILD_TESTS=OFF -DNAVINFO_BUILD_BENCH=OFF >/dev/null || exit 1
cmake --build "$BUILD_DIR" -j"$(nproc)" --target fuzzers || exit 1

status=0
for target in "${targets[@]}"; do
  corpus="$BUILD_DIR/corpus/$target"   # grows as the fuzzer finds new inputs
  findings="$BUILD_DIR/findings/$target"
  mkdir -p "$corpus" "$findings"
  echo "fuzz: $target for ${seconds}s"
  if HILOG_LEVEL=off ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
      "$BUILD_DIR/bin/$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -max_len=65536 \
      -print_final_stats=1 -artifact_prefix="$findings/" "$corpus" "tools/fuzz/corpus/$target" \
      >"$findings.log" 2>&1; then
    grep -E 'DONE' "$findings.log" | sed "s/^/fuzz: $target: /"
  else
    echo "fuzz: $target FAILED; input in $findings/, output in $findings.log:"
    grep -E -A40 'ERROR: (AddressSanitizer|LeakSanitizer|libFuzzer)|runtime error|deadly signal' "$findings.log" | head -60
    status=1
  fi
done
exit $status
