#!/usr/bin/env bash
# Builds the programs and starts the manager in a Wine prefix of its own, with its log on this console. Adds and starts
# a sample instance if there is none. Runs until Ctrl-C or "kivctl shutdown"; until then, scripts/kivctl.sh in another
# terminal talks to the manager. The exit code is the manager's.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
programs="$root/build/windows/bin"
export WINEPREFIX="$root/build/run-prefix"
start_limit=60 # seconds

scripts/setup.sh
echo "Building ..."
cmake --preset windows >/dev/null
cmake --build --preset windows --target KivProtocolManager KivProtocol kivctl

# Ctrl-C reaches every process of the terminal's foreground group, and would kill Wine's processes at once. So they run
# in a session of their own, and only this script reacts to Ctrl-C.
# The output goes through a file, because Wine would take over a terminal instead of just writing to it, and the system
# processes that Wine may start would keep a pipe open.
kivctl() {
    local code=0
    setsid --wait scripts/wine.sh "$programs/kivctl.exe" "$@" </dev/null >"$output" 2>&1 || code=$?
    cat "$output"
    return "$code"
}
output=$(mktemp)
trap 'rm -f "$output"' EXIT

scripts/wine.sh
kivctl log set console

setsid scripts/wine.sh "$programs/KivProtocolManager.exe" </dev/null > >(trap '' INT && exec cat) 2>&1 &
manager=$!

interrupted=
stop_manager() {
    interrupted=yes
    echo "Stopping ..."
    kivctl shutdown || kill "$manager" 2>/dev/null || true
}
trap stop_manager INT TERM

# A signal ends "wait" although the manager has not ended yet: then wait again.
wait_for_manager() {
    local code=0
    wait "$manager" || code=$?
    while [ -n "$interrupted" ]; do
        interrupted=
        code=0
        wait "$manager" || code=$?
    done
    return "$code"
}

is_running() { kill -0 "$manager" 2>/dev/null; }

SECONDS=0
until kivctl ping --count 1 >/dev/null 2>&1; do
    is_running || break
    if [ "$SECONDS" -ge "$start_limit" ]; then
        echo "run.sh: the manager does not answer after $start_limit s" >&2
        wineserver -k || true
        exit 1
    fi
    sleep 0.5
done

if is_running; then
    if ! kivctl list sampleprotocol >/dev/null 2>&1; then
        kivctl add Sample sampleprotocol
        kivctl start Sample
    fi
    kivctl status
    echo "Running. Ctrl-C stops the manager; scripts/kivctl.sh in another terminal talks to it."
fi
wait_for_manager
