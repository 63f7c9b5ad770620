#!/usr/bin/env bash
# Makes the packages for Windows, and a newer one beside them, and tries them in a Wine prefix of their
# own, which is new each time.
set -euo pipefail
cd "$(dirname "$0")/../.."

old=$(scripts/package_windows.sh | grep 'msi$')
new=$(scripts/package_windows.sh --version 99.0.0 --to build/packages/next | grep 'msi$')
export TARN_WINE_PREFIX=package
WINEPREFIX=$PWD/build/wine/$TARN_WINE_PREFIX wineserver -k 2>/dev/null || true # of a run before
rm -rf "build/wine/$TARN_WINE_PREFIX"
tests/wine/run_under_wine.sh python3 tests/e2e/windows_package_test.py build/windows build/linux \
  "$old" "$new"
