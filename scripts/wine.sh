#!/usr/bin/env bash
# Runs a Windows program in the build's own Wine prefix: scripts/wine.sh PROGRAM.exe [ARGUMENT...]
# Makes the prefix when it is not there yet. WINEPREFIX, when set, names another prefix.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX="${WINEPREFIX:-$root/build/wine}" WINEARCH=win64 WINEDEBUG="${WINEDEBUG:--all}"
unset DISPLAY
ready="$WINEPREFIX/.ready"

# Several programs may start at once in a prefix that is not there yet: one makes it, the others wait for it. The lock
# is not passed on to Wine, whose server would otherwise hold it for as long as it lives.
make_prefix() {
    mkdir -p "$WINEPREFIX"
    exec {lock}>"$WINEPREFIX/.lock"
    flock "$lock"
    if [ ! -e "$ready" ]; then
        # No .NET and no HTML engine: nothing here needs them, and a prefix without them is made sooner.
        WINEDLLOVERRIDES="mscoree=;mshtml=" wineboot -i </dev/null >/dev/null 2>&1 {lock}>&-
        # A prefix is whole only when its first server has ended; services fail to start before that.
        timeout 60 wineserver -w {lock}>&-
        touch "$ready"
    fi
    exec {lock}>&-
}

[ -e "$ready" ] || make_prefix
[ $# -gt 0 ] || exit 0
exec wine "$@"
