#!/usr/bin/env bash
# tarnscale killed again and again while four terminals print fifty records a second each: after each
# kill the journal is verified, in the end its numbers have no gap.
#
# Usage: bench/journal_kills.sh [KILLS]      (200)
set -euo pipefail
cd "$(dirname "$0")/.."
TARN_KILLS=${1:-200} exec python3 tests/e2e/journal_test.py "${BUILD:-build/linux}" \
  JournalTest.test_killed_at_any_moment_it_keeps_every_number
