#!/usr/bin/env bash
# Checks a linux-arm64 prebuild on this x64 machine (scripts/prebuild-arm64.sh
# runs it):
#   1. every file is an aarch64 ELF needing no library but the C and C++
#      runtime and the prebuild's own;
#   2. the daemon runs under qemu-aarch64 (on the cross toolchain's C and C++
#      runtime) and says it has no DDS bridge;
#   3. with an x64 build of this checkout (NAVINFO_BUILD_DIR, default build/):
#      this machine's node publishes, follows and queries through that arm64
#      daemon;
#   4. with --with-node: in Debian's arm64 node under qemu
#      (scripts/arm64-node-sysroot.sh), the package's require() loads the
#      arm64 module and does the same, on its embedded service and through
#      the arm64 daemon.
set -euo pipefail
cd "$(dirname "$0")/.."
OUT=prebuilds/linux-arm64
WITH_NODE=0
[ "${1:-}" = "--with-node" ] && WITH_NODE=1
X64_BUILD=${NAVINFO_BUILD_DIR:-$PWD/build}
fail() {
  echo "check-arm64: FAILED: $*" >&2
  exit 1
}
say() { echo "check-arm64: $*"; }

runtime='^(libc\.so\.6|libm\.so\.6|libstdc\+\+\.so\.6|libgcc_s\.so\.1|ld-linux-aarch64\.so\.1)$'
count=0
for f in "$OUT"/*; do
  desc=$(file -b "$f")
  [[ $desc == "ELF 64-bit LSB "*"ARM aarch64"* ]] || fail "$f is not an aarch64 ELF: $desc"
  while read -r lib; do
    [[ $lib =~ $runtime ]] || [ -e "$OUT/$lib" ] || fail "$(basename "$f") needs $lib: not shipped, not the C or C++ runtime"
  done < <(aarch64-linux-gnu-readelf -d "$f" | sed -n 's/.*(NEEDED).*\[\(.*\)\]$/\1/p')
  count=$((count + 1))
done
for needed in navigationinfomgr.node navinfo-service; do
  [ -f "$OUT/$needed" ] || fail "$needed is missing in $OUT"
done
say "1. $count files, all aarch64 ELF, needing only the C and C++ runtime and each other"

tmp=$(mktemp -d)
daemon_pid=""
cleanup() {
  [ -n "$daemon_pid" ] && kill "$daemon_pid" 2>/dev/null && wait "$daemon_pid" 2>/dev/null
  rm -rf "$tmp"
}
trap cleanup EXIT
QEMU=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
version=$("${QEMU[@]}" "$OUT/navinfo-service" --version) || fail "navinfo-service --version under qemu"
[[ $version == *"DDS bridge: not built in"* ]] || fail "navinfo-service --version said: $version"
say "2. under qemu-aarch64: $(echo "$version" | tr '\n' ' ')"

bundle=com.example.navigation
expected='{"followed":["com.example.navigation",1,"Office"],"answer":{"code":0,"message":"navigationStatus","data":{"eta":12}}}'
printf '{"version":1,"defaultDeny":true,"bundles":{"%s":{"systemApp":true,"navigationPermission":true,"uids":[%s]}}}\n' \
  "$bundle" "$(id -u)" >"$tmp/policy.json"
# The round trip of the package test, run by node ($@) in an application
# whose navigation-info-mgr is this checkout.
mkdir -p "$tmp/app/node_modules"
ln -s "$PWD" "$tmp/app/node_modules/navigation-info-mgr"
cp test/package/app/roundtrip.mjs "$tmp/app/"
roundtrip() {
  local said
  said=$(cd "$tmp/app" && HILOG_LEVEL=warn "$@" roundtrip.mjs) || fail "round trip ($*): $said"
  [ "$said" = "$expected" ] || fail "round trip ($*) gave $said"
}

socket="$tmp/navinfo.sock"
"${QEMU[@]}" "$OUT/navinfo-service" --socket "$socket" --policy "$tmp/policy.json" >"$tmp/daemon.out" 2>&1 &
daemon_pid=$!
for _ in $(seq 100); do
  grep -q "listening on" "$tmp/daemon.out" && break
  kill -0 "$daemon_pid" 2>/dev/null || fail "the arm64 daemon ended: $(cat "$tmp/daemon.out")"
  sleep 0.1
done
grep -q "listening on" "$tmp/daemon.out" || fail "the arm64 daemon did not listen within 10 s"
if [ -f "$X64_BUILD/lib/navigationinfomgr.node" ]; then
  NAVINFO_BUILD_DIR=$X64_BUILD NAVINFO_SERVICE_SOCKET=$socket roundtrip node
  say "3. x64 node ($X64_BUILD) published, followed and queried through the arm64 daemon"
else
  say "3. not checked: no x64 build in $X64_BUILD for a client of the arm64 daemon"
fi

if [ "$WITH_NODE" = "1" ]; then
  bash scripts/arm64-node-sysroot.sh
  sysroot=$PWD/build-arm64-sysroot
  node_arm64=(qemu-aarch64 -L "$sysroot" "$sysroot/usr/bin/node")
  arch=$(env -u NAVINFO_BUILD_DIR "${node_arm64[@]}" -p 'process.arch + " node " + process.version') ||
    fail "the arm64 node does not run under qemu"
  (unset NAVINFO_BUILD_DIR && NAVINFO_SERVICE_SOCKET='' roundtrip "${node_arm64[@]}")
  (unset NAVINFO_BUILD_DIR && NAVINFO_SERVICE_SOCKET=$socket roundtrip "${node_arm64[@]}")
  say "4. $arch under qemu loaded prebuilds/linux-arm64 through require() and published, followed and" \
    "queried on its embedded service and through the arm64 daemon"
else
  say "4. not checked: the module in an arm64 node (--with-node)"
fi
