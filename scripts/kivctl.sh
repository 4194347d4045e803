#!/usr/bin/env bash
# Runs kivctl against the manager that scripts/run.sh started: scripts/kivctl.sh status
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX="$root/build/run-prefix"
program="$root/build/windows/bin/kivctl.exe"
[ -e "$program" ] || { echo "kivctl.sh: not built yet; scripts/run.sh builds it" >&2; exit 3; }
exec "$root/scripts/wine.sh" "$program" "$@"
