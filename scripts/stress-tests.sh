#!/usr/bin/env bash
# Runs every test program many times in a row while all processors are kept busy, to find the test that holds only when
# the right thread runs first: scripts/stress-tests.sh [TIMES [CTEST OPTION...]], 20 times by default; the options go to
# every ctest. The three builds are tested at the same time, each beside the others. Takes more than an hour.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
repeat=(--repeat "until-fail:${1:-20}" "${@:2}")
logs=build/stress-logs # what each build's tests printed
mkdir -p "$logs"
scripts/setup.sh
scripts/wine.sh # makes the prefix before the processors are busy, as in test.sh
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

ctest --preset host-asan --no-tests=error "${repeat[@]}" </dev/null >"$logs/host-asan" 2>&1 &
asan=$!
ctest --preset host-tsan --no-tests=error "${repeat[@]}" </dev/null >"$logs/host-tsan" 2>&1 &
tsan=$!
scripts/windows-tests.sh "${repeat[@]}" </dev/null >"$logs/windows" 2>&1 &
windows=$!
failures=()
wait "$asan" || failures+=(host-asan)
wait "$tsan" || failures+=(host-tsan)
wait "$windows" || failures+=(windows)
tail -n 25 "$logs"/*
[ ${#failures[@]} -eq 0 ] || { echo "stress-tests.sh: FAILED: ${failures[*]}"; exit 1; }
echo "stress-tests.sh: passed"
