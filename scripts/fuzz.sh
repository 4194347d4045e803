#!/usr/bin/env bash
# Runs each fuzz target for SECONDS, by default 20: scripts/fuzz.sh [SECONDS]. The targets start from the kept inputs in
# fuzz/corpus and from the inputs that earlier runs found, which are in build/fuzz. An input that makes a target fail is
# saved there as NAME-crash-... To reproduce the failure, run the target with that file as its argument. Fix the cause,
# and keep the file in fuzz/corpus/NAME.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
seconds=${1:-20}
longest_input=30 # seconds; an input that takes longer is a failure
build=build/host-asan

cmake --preset host-asan >/dev/null
cmake --build --preset host-asan --target fuzz_targets
for target in stream commands store command_line; do
    found=build/fuzz/$target
    mkdir -p "$found"
    echo "== fuzz $target for $seconds s"
    "$build/bin/fuzz_$target" -max_total_time="$seconds" -timeout="$longest_input" -print_final_stats=1 \
        -artifact_prefix="build/fuzz/$target-" "$found" "fuzz/corpus/$target" >"$found.log" 2>&1 ||
        { tail -40 "$found.log"; exit 1; }
    grep -E '^Done|units_added|peak_rss' "$found.log"
done
