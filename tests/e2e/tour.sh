#!/usr/bin/env bash
# Follows the tour of README.md exactly: starts scripts/run.sh in an empty Wine prefix, runs the tour's commands and
# compares their output. Usage: tour.sh BUILD_FOLDER
#
# In README.md the block after a line "<!-- tour: run -->" has lines that scripts/run.sh prints, in this order; other
# lines may stand between them. The blocks after "<!-- tour: commands -->" are the tour: a line that begins with "$ " is
# a command, the lines after it are its whole output. Process ids, times, durations and the width of columns may differ.
set -euo pipefail
# Limits the time of the whole run: timeout ends this script, and finish ends all that it started.
[ -n "${KIV_TOUR_BOUNDED:-}" ] || KIV_TOUR_BOUNDED=yes exec timeout --kill-after=30 240 "$0" "$@"

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work="$(cd "$1" && pwd)/tour"
cd "$root"
export WINEPREFIX="$root/build/run-prefix" # the one that scripts/run.sh and scripts/kivctl.sh use
run=

fail() {
    echo "tour: $*" >&2
    exit 1
}

# Waits until the command succeeds; fails after LIMIT seconds. Usage: await LIMIT COMMAND...
await() {
    local limit=$1
    shift
    SECONDS=0
    until "$@"; do
        [ "$SECONDS" -lt "$limit" ] || return 1
        sleep 0.2
    done
}

finish() {
    code=$?
    trap '' TERM INT
    [ -z "$run" ] || kill -KILL "$run" 2>/dev/null || true # its manager ends with the prefix
    wineserver -k </dev/null >/dev/null 2>&1 || true
    timeout 30 wineserver -w </dev/null >/dev/null 2>&1 || true
    rm -rf "$WINEPREFIX"
    [ ! -e "$WINEPREFIX.aside" ] || mv "$WINEPREFIX.aside" "$WINEPREFIX"
    [ "$code" -eq 0 ] || echo "tour: FAILED; what was printed is in $work" >&2
}

# Replaces all that may differ between two runs.
normalize() {
    sed -E -e 's/\r$//' \
        -e 's/^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:.]{12}\|[0-9]{5}:[0-9]{5}\|/TIME|PID:THREAD|/' \
        -e 's/[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3}/TIME/g' \
        -e 's/([0-9]+d )?[0-9]{2}:[0-9]{2}:[0-9]{2}/DURATION/g' \
        -e 's/[0-9]+\.[0-9]{3} ms/DURATION/g' \
        -e 's/(pid|process|"pid":) [0-9]+/\1 PID/g' \
        -e 's/[0-9]+ +KivProtocolManager/PID KivProtocolManager/' \
        -e 's/(running|not working) +[0-9]+ +DURATION/\1 PID DURATION/' \
        -e 's/ {2,}/  /g' -e 's/ +$//' "$1"
}

# Prints the fenced blocks that follow the marker.
block() {
    awk -v marker="<!-- tour: $1 -->" '
        $0 == marker { found = 1; next }
        found && /^```/ { if (inside) found = 0; inside = !inside; next }
        inside { print }' README.md
}

is_up() { grep -qs '^Running\.' "$work/run.txt"; }
has_ended() { ! kill -0 "$run" 2>/dev/null; }

rm -rf "$work"
mkdir -p "$work"
block run >"$work/run-expected.txt"
block commands >"$work/expected.txt"
commands=$(grep -c '^\$ ' "$work/expected.txt") && [ -s "$work/run-expected.txt" ] || fail "README.md has no tour"

# A prefix that is in use belongs to a running manager: then fail. Any other one is moved aside, and back at the end.
if [ -e "$WINEPREFIX" ] && [ ! -e "$WINEPREFIX.aside" ]; then
    timeout 30 wineserver -w </dev/null >/dev/null 2>&1 || fail "a program runs in $WINEPREFIX; end scripts/run.sh first"
    mv "$WINEPREFIX" "$WINEPREFIX.aside"
fi
rm -rf "$WINEPREFIX"
trap finish EXIT
trap 'exit 1' TERM INT

scripts/run.sh </dev/null >"$work/run.txt" 2>&1 &
run=$!
await 120 is_up || fail "scripts/run.sh did not come up: $(tail -20 "$work/run.txt")"

status=0
while IFS= read -r line; do
    [[ $line == '$ '* ]] || continue
    echo "$line"
    code=0
    # A command sees the exit code of the one before it as $?.
    { (exit "$status"); eval "${line#'$ '}"; } </dev/null 2>&1 || code=$?
    status=$code
done <"$work/expected.txt" >"$work/printed.txt"
await 30 has_ended || fail "scripts/run.sh still runs after the tour"
wait "$run" || fail "scripts/run.sh ended with exit code $?"

for file in expected printed run run-expected; do
    normalize "$work/$file.txt" >"$work/$file.normal.txt"
done
diff -u "$work/expected.normal.txt" "$work/printed.normal.txt" || fail "the commands print something else"
# Every line of the block has to come after the one before it.
awk 'NR == FNR { printed[++count] = $0; next }
    { while (++at <= count && printed[at] != $0); if (at > count) { print "scripts/run.sh did not print: " $0; exit 1 } }
    ' "$work/run.normal.txt" "$work/run-expected.normal.txt" || fail "scripts/run.sh prints something else"
echo "tour: $commands commands printed what README.md shows"
