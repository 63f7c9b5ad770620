#!/usr/bin/env bash
# 32 scales at ten readings a second, one client that answers at once, and 16 further ones that come,
# subscribe, are slow, hang, are stopped and killed at random, under Wine in a prefix of its own: what
# the first one gets, and what the server holds meanwhile.
#
# Usage: bench/clients_soak.sh [SECONDS]             (1800 s)
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/wine.sh
prepare_wine "$PWD/build/wine" bench || { echo "clients_soak: Wine does not start" >&2; exit 1; }
exec python3 bench/clients_soak.py "${BUILD:-build/windows}" "${NATIVE:-build/linux}" "${1:-1800}"
