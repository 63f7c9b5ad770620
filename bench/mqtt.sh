#!/usr/bin/env bash
# Processor time of a broker (Debian's mosquitto) for the weights of many servers, and their delay.
#
# Usage: bench/mqtt.sh [SERVERS] [SCALES] [RATE] [SECONDS] [SUBSCRIBERS]
#                                        (100 servers, 32 scales, 5 a second, 10 s, 1 subscriber)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD:-build/linux}
port=${PORT:-21899}

folder=$(mktemp -d)
broker=
cleanup() {
  if [ -n "$broker" ]; then
    kill "$broker" 2>/dev/null || true
    wait "$broker" 2>/dev/null || true
  fi
  rm -rf "$folder"
}
trap cleanup EXIT

printf 'listener %s 127.0.0.1\nallow_anonymous true\nlog_type error\nmax_queued_messages 100000\n' \
  "$port" >"$folder/broker.conf"
/usr/sbin/mosquitto -c "$folder/broker.conf" >"$folder/broker.log" 2>&1 &
broker=$!
for _ in $(seq 1 100); do
  (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break
  sleep 0.1
done
"$build/bench_mqtt" "$port" "$broker" "$@"
