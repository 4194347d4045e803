#!/usr/bin/env bash
# Every check there is: the unit tests natively under AddressSanitizer with UndefinedBehaviorSanitizer and under
# ThreadSanitizer, a short run of the fuzz targets, all tests of the Windows build under Wine, and static analysis. Stops
# at the first stage that fails; the last line counts the test programs.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
export WINEPREFIX="$root/build/wine" WINEDEBUG=-all
passed=0
failed=0
stage=setup

finish() {
    code=$?
    if [ -e "$WINEPREFIX/.ready" ]; then
        wineserver -k || true
    fi
    [ "$code" -eq 0 ] || echo "test.sh: FAILED at: $stage"
    echo "$passed passed, $failed failed"
}
trap finish EXIT

# Runs the tests of one preset and adds its counts to the sums.
run_tests() {
    local preset=$1 log="build/$1/ctest.log" code=0 counts
    shift
    ctest --preset "$preset" --no-tests=error "$@" 2>&1 | tee "$log" || code=$?
    # "90% tests passed, 1 tests failed out of 10"
    counts=$(sed -n 's/.*tests passed, \([0-9]*\) tests failed out of \([0-9]*\).*/\1 \2/p' "$log")
    read -r failures total <<<"${counts:-0 0}"
    passed=$((passed + total - failures))
    failed=$((failed + failures))
    return "$code"
}

check_preset() {
    local preset=$1
    stage="configure $preset"
    echo "== $stage"
    cmake --preset "$preset" >/dev/null
    stage="build $preset"
    echo "== $stage"
    cmake --build --preset "$preset"
    stage="test $preset"
    echo "== $stage"
    shift
    run_tests "$preset" "$@"
}

echo "== setup"
scripts/setup.sh
check_preset host-asan -j "$(nproc)"
check_preset host-tsan -j "$(nproc)"
stage="fuzz"
scripts/fuzz.sh 15

stage="Wine prefix"
scripts/wine.sh
# What an interrupted run left behind in the prefix goes first; then the server is kept running between the test
# programs, because starting one in a cold prefix takes seconds. Wine's system processes stay with it. They are brought up
# here, by a program without ctest's pipe, because they would keep that open and ctest waiting.
wineserver -k || true
wineserver -p </dev/null >/dev/null 2>&1
scripts/wine.sh cmd /c exit </dev/null >/dev/null 2>&1
check_preset windows

stage="lint"
scripts/lint.sh
