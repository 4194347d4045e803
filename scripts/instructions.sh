#!/usr/bin/env bash
# Counts the instructions of one call, client and server together, over the in-memory transport. The figures do not
# depend on the machine's load, so a change of a few per cent is visible. Needs valgrind (Debian's package).
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
few=500
many=1500
command -v valgrind >/dev/null || { echo "instructions.sh: valgrind is missing: apt-get install valgrind" >&2; exit 1; }
cmake --preset host-bench >/dev/null
cmake --build --preset host-bench --target bench_native >/dev/null || { echo "instructions.sh: the build failed" >&2; exit 1; }

count() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null build/host-bench/bin/bench_native "$@" 2>&1 |
        sed -n 's/.*Collected : \([0-9]*\).*/\1/p'
}

echo "call   instructions"
for kind in alive get set add; do
    printf '%-6s %12d\n' "$kind" $((($(count $kind $many) - $(count $kind $few)) / (many - few)))
done
