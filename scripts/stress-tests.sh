#!/usr/bin/env bash
# Runs every test program many times in a row while all processors are kept busy, to find the test that holds only when
# the right thread runs first: scripts/stress-tests.sh [TIMES [CTEST OPTION...]], 20 times by default; the options go to
# every ctest. Takes more than an hour.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
repeat=(--repeat "until-fail:${1:-20}" "${@:2}")
scripts/setup.sh
for preset in host-asan host-tsan windows; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
done

busy=()
trap 'kill "${busy[@]}" || true' EXIT
for ((processor = 0; processor < $(nproc); ++processor)); do
    while :; do :; done &
    busy+=($!)
done

failures=()
ctest --preset host-asan --no-tests=error "${repeat[@]}" || failures+=(host-asan)
ctest --preset host-tsan --no-tests=error "${repeat[@]}" || failures+=(host-tsan)
# The two scripts among the tests start programs in an order of their own.
scripts/windows-tests.sh -E '^(installer|tour)$' "${repeat[@]}" || failures+=(windows)
[ ${#failures[@]} -eq 0 ] || { echo "stress-tests.sh: FAILED: ${failures[*]}"; exit 1; }
echo "stress-tests.sh: passed"
