#!/usr/bin/env bash
# Runs a Windows program in the build's own Wine prefix: scripts/wine.sh PROGRAM.exe [ARGUMENT...]
# Makes the prefix if it does not exist yet; without a program it does only that. WINEPREFIX, if set, names another
# prefix.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX="${WINEPREFIX:-$root/build/wine}" WINEARCH=win64 WINEDEBUG="${WINEDEBUG:--all}"
unset DISPLAY
ready="$WINEPREFIX/.ready"

# Several programs may start at once while the prefix does not exist yet: one makes it, the others wait. Wine does not
# inherit the lock, because its server would hold it for as long as it runs.
make_prefix() {
    mkdir -p "$WINEPREFIX"
    exec {lock}>"$WINEPREFIX/.lock"
    flock "$lock"
    if [ ! -e "$ready" ]; then
        # Without .NET and the HTML engine, which nothing here needs, the prefix is made faster.
        WINEDLLOVERRIDES="mscoree=;mshtml=" wineboot -i </dev/null >/dev/null 2>&1 {lock}>&-
        # The prefix is complete only when its first server has ended; before that, services fail to start.
        timeout 60 wineserver -w {lock}>&-
        touch "$ready"
    fi
    exec {lock}>&-
}

[ -e "$ready" ] || make_prefix
[ $# -gt 0 ] || exit 0
exec wine "$@"
