#!/usr/bin/env bash
# Runs the tests of the windows build, which must be built, in the Wine prefix build/wine:
# scripts/windows-tests.sh [CTEST OPTION...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export WINEPREFIX="$PWD/build/wine" WINEDEBUG=-all
scripts/wine.sh
trap 'wineserver -k || true' EXIT
# First end the programs that an interrupted run left behind in the prefix. Then keep Wine's server running between the
# test programs, because starting it takes seconds. Wine's system processes run as long as the server. Start them here
# and not under ctest: they would keep its pipe open, and ctest would wait for them.
wineserver -k || true
wineserver -p </dev/null >/dev/null 2>&1
scripts/wine.sh cmd /c exit </dev/null >/dev/null 2>&1
ctest --preset windows --no-tests=error "$@"
