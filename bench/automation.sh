#!/usr/bin/env bash
# Properties and events of the Automation server across processes, with 1, 4 and 16 clients, under
# Wine in a prefix of its own.
#
# Usage: bench/automation.sh [SECONDS]             (3 s for each figure)
#        bench/automation.sh fetch [SECONDS]       what it costs to fetch objects anew
#        bench/automation.sh memory [ACCESSES]     what 18000 accesses leave behind in the server
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD:-build/windows}

. scripts/wine.sh
prepare_wine "$PWD/build/wine" bench || { echo "automation: Wine does not start" >&2; exit 1; }
wine "$build/TarnSclServer.exe" /RegServer >/dev/null 2>&1
trap 'wine "$build/TarnSclServer.exe" /UnregServer >/dev/null 2>&1' EXIT
timeout 1200 wine "$build/bench_automation.exe" "${@:-3}" </dev/null 2>/dev/null
