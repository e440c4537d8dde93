#!/usr/bin/env bash
# Checks the publish floor (bench/native/publish_floor.cpp) against the
# module: lists, with gdb, every Node-API function of Node entered during one
# updateNavigationStatus, one floor.status, one updateNavigationMetadata and
# one floor.metadata of the typical records (the calls napi_host's adapters
# make underneath included), and compares each publish's list with its
# floor's. Exits 1 when they differ. Needs gdb; NAVINFO_BUILD_DIR as for the
# other benchmarks.
set -euo pipefail
cd "$(dirname "$0")"
out=$(mktemp -d)
trap '[ -n "${KEEP_TRACE:-}" ] || rm -rf "$out"' EXIT
node_bin=$(command -v node)
nm -D "$node_bin" | awk '$2 == "T" && $3 ~ /^napi_/ {print $3}' >"$out/functions"
cat >"$out/trace.py" <<PY
import gdb
log = open("$out/calls", "w")
class Call(gdb.Breakpoint):
    def stop(self):
        log.write(self.location + "\n")
        log.flush()
        return False
for name in open("$out/functions").read().split():
    Call(name, internal=True)
PY
gdb -q -batch -x "$out/trace.py" -ex run --args "$node_bin" publish_floor_trace.js >"$out/gdb.log" 2>&1 || true
if ! grep -q 'exited normally' "$out/gdb.log"; then
  cat "$out/gdb.log" >&2
  exit 1
fi
# The calls between the marks: status, floor status, metadata, floor metadata.
awk -v dir="$out" '/^napi_get_version$/ {part++; next} part >= 1 && part <= 4 {print > (dir "/part" part)}' "$out/calls"
status=0
for kind in status:1:2 metadata:3:4; do
  IFS=: read -r name module floor <<<"$kind"
  if cmp -s "$out/part$module" "$out/part$floor"; then
    echo "{\"record\":\"$name\",\"nodeApiCalls\":$(wc -l <"$out/part$module"),\"floorMatches\":true}"
  else
    echo "{\"record\":\"$name\",\"nodeApiCalls\":$(wc -l <"$out/part$module"),\"floorCalls\":$(wc -l <"$out/part$floor"),\"floorMatches\":false}"
    diff "$out/part$module" "$out/part$floor" | head -40 >&2 || true
    status=1
  fi
done
exit $status
