#!/usr/bin/env bash
# Processor time of a server for each weight that it publishes at a broker: a run without and one with
# MQTT, 32 scales with 20 readings a second each, whose difference counts.
#
# Usage: bench/mqtt_server.sh [SECONDS]      (20)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
build=${BUILD:-build/linux}
port=${PORT:-21898}

folder=$(mktemp -d)
children=()
cleanup() {
  for child in "${children[@]}"; do
    kill "$child" 2>/dev/null || true
    wait "$child" 2>/dev/null || true
  done
  rm -rf "$folder"
}
trap cleanup EXIT

printf 'listener %s 127.0.0.1\nallow_anonymous true\nlog_type error\nsys_interval 1\n' "$port" \
  >"$folder/broker.conf"
/usr/sbin/mosquitto -c "$folder/broker.conf" >"$folder/broker.log" 2>&1 &
children+=($!)
"$build/tarnsim" continuous --port "$folder/line%d" --count 32 --rate 20 --line 115200,n,8,1 \
  </dev/null >"$folder/simulator.log" 2>&1 &
children+=($!)
until [ "$(grep -c '^ready ' "$folder/simulator.log")" -ge 32 ]; do sleep 0.1; done
for n in $(seq 1 32); do
  "$build/tarnscale" set "$folder/plant.scl" "$n" -q --store "$folder/store.ini" alias="Line $n" \
    connection=serial port="$n" device="$folder/line$n" baud=115200 parity=none databits=8 \
    stopbits=1 bidirectional=yes protocol=continuous enabled=yes >/dev/null
done

# In milliseconds.
processor_time() {
  local TIMEFORMAT='%3U %3S'
  { time "$build/tarnscale" run "$folder/plant.scl" -q --store "$folder/store.ini" \
    --readings-only --every 1000000 --for "$seconds" "$@" >/dev/null 2>"$folder/server.log"; } 2>&1 |
    tr -d . | awk '{ print $1 + $2 }'
}
mosquitto_sub -p "$port" -t "bench/+/weight" >"$folder/weights" &
children+=($!)
without=$(processor_time)
with=$(processor_time --mqtt "mqtt://127.0.0.1:$port" --mqtt-root bench)
sleep 1
count=$(wc -l <"$folder/weights")
mosquitto_sub -p "$port" -t "bench/+/weight" -C 1 >"$folder/one"
echo "$count weights of $(wc -c <"$folder/one") bytes in $seconds s;" \
  "the server's processor time: $without ms without MQTT, $with ms with it," \
  "$(((with - without) * 1000 / count)) us a weight"
