#!/usr/bin/env bash
# Runs the tests of the windows build, which has to be built, in the Wine prefix build/wine:
# scripts/windows-tests.sh [CTEST OPTION...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export WINEPREFIX="$PWD/build/wine" WINEDEBUG=-all
scripts/wine.sh
trap 'wineserver -k || true' EXIT
# What an interrupted run left behind in the prefix goes first; then the server is kept running between the test
# programs, because starting one in a cold prefix takes seconds. Wine's system processes stay with it. They are brought up
# here, by a program without ctest's pipe, because they would keep that open and ctest waiting.
wineserver -k || true
wineserver -p </dev/null >/dev/null 2>&1
scripts/wine.sh cmd /c exit </dev/null >/dev/null 2>&1
ctest --preset windows --no-tests=error "$@"
