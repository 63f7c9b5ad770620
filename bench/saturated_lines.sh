#!/usr/bin/env bash
# Processor time and memory of the server with saturated lines: simulated terminals fill every line
# at its full speed, and the server reads them all.
#
# Usage: bench/saturated_lines.sh [LINES] [SECONDS] [BAUD]      (32 lines, 10 s, 115200 baud)
set -euo pipefail
cd "$(dirname "$0")/.."
lines=${1:-32}
seconds=${2:-10}
baud=${3:-115200}
build=${BUILD:-build/linux}

declare -A indexes=([9600]=5 [19200]=6 [38400]=7 [57600]=8 [115200]=9)
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

"$build/tarnsim" continuous --port "$folder/line%d" --count "$lines" --line "$baud,n,8,1" \
  --rate max </dev/null >"$folder/simulator.log" 2>&1 &
simulator=$!
until [ "$(grep -c '^ready ' "$folder/simulator.log")" -ge "$lines" ]; do
  kill -0 "$simulator" 2>/dev/null || { cat "$folder/simulator.log" >&2; exit 1; }
  sleep 0.1
done

places=()
for n in $(seq 1 "$lines"); do places+=("$folder/line$n"); done
"$build/bench_lines" "$seconds" "${indexes[$baud]}" "$folder" "${places[@]}"
