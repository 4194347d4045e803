#!/usr/bin/env bash
# Every check there is: the unit tests natively under AddressSanitizer with UndefinedBehaviorSanitizer and under
# ThreadSanitizer, a short run of the fuzz targets, all tests of the Windows build under Wine, and static analysis. Ten
# minutes on two processors, from nothing. A build that fails ends it; of the checks each runs to its end. The last line
# counts the test programs.
#
# The Windows build compiles each file of a room by itself, which shows an include that is missing; kivctl, the tests and
# everything native are compiled many files at once, which takes a third of the time.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
logs=build/test-logs # what each check printed
rm -rf "$logs"
mkdir -p "$logs"
doing=setup
checks=()
jobs=()

finish() {
    local code=$? passed=0 failed=0 failures total job
    trap '' INT TERM
    for job in $(jobs -p); do
        kill -- "-$job" 2>/dev/null || true # with all that it started
    done
    # "90% tests passed, 1 tests failed out of 10"
    while read -r failures total; do
        passed=$((passed + total - failures))
        failed=$((failed + failures))
    done < <(sed -n 's/.*tests passed, \([0-9]*\) tests failed out of \([0-9]*\).*/\1 \2/p' "$logs"/*)
    [ "$code" -eq 0 ] || echo "test.sh: FAILED at: $doing"
    echo "$passed passed, $failed failed"
}
trap finish EXIT
trap 'exit 1' INT TERM

build() {
    doing="build $1"
    echo "== $doing"
    cmake --preset "$1" >/dev/null
    nice cmake --build --preset "$1"
}

# Starts a check beside the others, in a process group of its own.
start() {
    checks+=("$1")
    set -m
    "${@:2}" </dev/null >"$logs/$1" 2>&1 &
    set +m
    jobs+=($!)
}

echo "== setup"
scripts/setup.sh
scripts/wine.sh # makes the prefix while nothing else runs: on a busy machine Wine gives up before it is whole
build windows
# The tests mostly wait, so the processors have time for the other builds meanwhile; but the tests go first.
start windows-tests scripts/windows-tests.sh
build host-asan
start host-asan-tests ctest --preset host-asan --no-tests=error
start fuzz scripts/fuzz.sh 15
build host-tsan
start host-tsan-tests ctest --preset host-tsan --no-tests=error
start lint nice scripts/lint.sh

failures=()
for index in "${!checks[@]}"; do
    doing=${checks[index]}
    code=0
    wait "${jobs[index]}" || code=$?
    echo "== $doing"
    cat "$logs/$doing"
    [ "$code" -eq 0 ] || failures+=("$doing")
done
doing=${failures[*]}
[ ${#failures[@]} -eq 0 ]
