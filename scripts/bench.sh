#!/usr/bin/env bash
# Builds the programs and measures them in a Wine prefix of their own:
#   scripts/bench.sh [--all-processors] [--quick] [--json] [latency] [framework] [database] [manager]
# Only the figures go to the standard output. Takes about a minute; --quick takes half of that.
# Everything, Wine's server included, runs on one processor, unless the first argument is --all-processors: on several
# processors a call into the server takes 4 or 60 us, depending on where the scheduler places the two processes.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
export WINEPREFIX="$root/build/bench-prefix"

{
    scripts/setup.sh
    cmake --preset windows
    cmake --build --preset windows --target bench
    scripts/wine.sh
} >&2

on_processors=(taskset -c 0)
if [ "${1:-}" = --all-processors ]; then
    on_processors=()
    shift
fi
# Wine's system processes would keep a pipe open, so the output goes to files.
wineserver -k || true
output=$(mktemp)
trap 'wineserver -k || true; rm -f "$output" "$output.log"' EXIT
"${on_processors[@]}" wineserver -p </dev/null >/dev/null 2>&1
code=0
"${on_processors[@]}" scripts/wine.sh build/windows/bin/bench.exe --erase-settings "$@" </dev/null >"$output" 2>"$output.log" || code=$?
cat "$output.log" >&2
cat "$output"
exit "$code"
