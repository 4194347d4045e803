#!/usr/bin/env bash
# Runs every fuzz target: scripts/fuzz.sh [SECONDS], so long for each (20 by default). They start from the kept corpus
# in fuzz/corpus and from what earlier runs found, which is under build/fuzz. An input that breaks something is left
# there as NAME-crash-...; run the target with that file as its argument to see it again, mend the cause, and keep the
# file in fuzz/corpus/NAME.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
seconds=${1:-20}
longest_input=30 # seconds that one input may take
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
