#!/usr/bin/env bash
# Instructions per publish of the typical records, per call of the publish
# floor (the same Node-API calls and nothing else: native/publish_floor.cpp)
# and per JSON.stringify of them, counted by callgrind (independent of the
# machine's load). Each figure is the difference between a run of 9,000 calls
# and one of 1,000, divided by 8,000, so that start-up cancels out; a publish
# and a floor call also get the inclusive count of the native method alone.
# Needs valgrind; NAVINFO_BUILD_DIR as for the other benchmarks.
set -euo pipefail
cd "$(dirname "$0")"
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
total() { grep -m1 'Collected' "$1" | awk '{gsub(",", "", $4); print $4}'; }
for what in metadata status floor-metadata floor-status json-metadata json-status; do
  for n in 1000 9000; do
    WHAT=$what N=$n valgrind --tool=callgrind --callgrind-out-file="$out/$what.$n" node publish_loop.js \
      2>"$out/$what.$n.log" >/dev/null
  done
  loop=$(( ($(total "$out/$what.9000.log") - $(total "$out/$what.1000.log")) / 8000 ))
  native=""
  [[ $what == json-* ]] || native=$(callgrind_annotate --inclusive=yes --auto=no --threshold=100 "$out/$what.9000" 2>/dev/null |
    awk '!found && /FunctionCallbackWrapper::Invoke/ {gsub(",", "", $1); print int($1 / 12000); found = 1}')
  echo "{\"what\":\"$what\",\"instructionsPerCall\":$loop${native:+,\"nativeMethodPerCall\":$native}}"
done
