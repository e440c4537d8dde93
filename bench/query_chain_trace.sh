#!/usr/bin/env bash
# Checks the query's hand-over chain (bench/native/query_chain.cpp) against
# the query: counts, with strace, the system calls of N in-process queries
# and of N runs of the chain, one at a time, and prints both per call. The
# calls that are the hand-overs (thread starts, loop wake-ups, futex wakes
# and waits) must match: exits 1 when a thread start or a loop wake-up per
# call differs, or the futex calls per call differ by more than one. Needs
# strace; NAVINFO_BUILD_DIR as for the other benchmarks.
set -euo pipefail
cd "$(dirname "$0")"
count=${COUNT:-5000}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
for mode in query chain; do
  NAVINFO_SERVICE_SOCKET='' strace -f -c -o "$out/$mode" node query_chain_trace.js "$mode" "$count"
done
per_call() { # file syscall
  awk -v name="$2" -v n="$count" '$NF == name {print $4 / n; found = 1}
    END {if (!found) print 0}' "$1"
}
status=0
for call in clone3 write futex epoll_pwait read; do
  q=$(per_call "$out/query" "$call")
  c=$(per_call "$out/chain" "$call")
  printf '%-12s query %6.2f  chain %6.2f per call\n' "$call" "$q" "$c"
  case $call in
    clone3 | write) awk -v q="$q" -v c="$c" 'BEGIN {exit !(q - c > 0.1 || c - q > 0.1)}' && status=1 ;;
    futex) awk -v q="$q" -v c="$c" 'BEGIN {exit !(q - c > 1 || c - q > 1)}' && status=1 ;;
  esac
done
exit $status
