#!/usr/bin/env bash
# Read cycles of shared-data terminals over the loopback network: simulated terminals answer as fast
# as they can, the server begins each cycle as soon as the last one is published.
#
# Usage: bench/shared_data.sh [TERMINALS] [SECONDS]      (32 terminals, 5 s)
set -euo pipefail
cd "$(dirname "$0")/.."
terminals=${1:-32}
seconds=${2:-5}
build=${BUILD:-build/linux}

folder=$(mktemp -d)
simulator=
cleanup() {
  if [ -n "$simulator" ]; then
    kill "$simulator" 2>/dev/null || true
    wait "$simulator" 2>/dev/null || true
  fi
  rm -rf "$folder"
}
trap cleanup EXIT

: >"$folder/simulator.log"
"$build/tarnsim" shareddata --address 127.0.1.%d --count "$terminals" --load "load 12.5" \
  </dev/null >"$folder/simulator.log" 2>&1 &
simulator=$!
until [ "$(grep -c '^ready ' "$folder/simulator.log")" -ge "$terminals" ]; do
  kill -0 "$simulator" 2>/dev/null || { cat "$folder/simulator.log" >&2; exit 1; }
  sleep 0.1
done

"$build/bench_cycles" "$seconds" "$terminals" "$folder"
