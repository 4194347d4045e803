#!/usr/bin/env bash
# Installs the installer silently in a Wine prefix of its own, uses the service it registered, upgrades in place,
# uninstalls. Usage: installer.sh BUILD_FOLDER
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$(cd "$1" && pwd)
packages="$build/packages"
export WINEPREFIX="$build/installer-prefix"
wine="$root/scripts/wine.sh"

fail() {
    echo "installer test: $*" >&2
    exit 1
}
finish() {
    kill "$holder" 2>/dev/null || true
    wineserver -k || true
}

rm -rf "$packages" "$WINEPREFIX"
(cd "$build" && cpack -B packages >/dev/null)
installer=$(ls "$packages"/*.exe)
[ -s "$(ls "$packages"/*.zip)" ] || fail "no archive"

"$wine"
# Services live as long as an ordinary program of the prefix does.
"$wine" cmd /c "pause" < <(exec sleep 600 >/dev/null 2>&1) >/dev/null 2>&1 &
holder=$!
trap finish EXIT

"$wine" "$installer" /S
folder="$WINEPREFIX/drive_c/Program Files/KivProtocolManager"
kivctl() { "$wine" "$folder/kivctl.exe" "$@"; }
[ -e "$folder/KivProtocolManager.exe" ] || fail "the manager is not installed"
kivctl --version | grep -q "$(sed -n 's/^project(KivProtocolManager VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")" ||
    fail "kivctl says another version"

kivctl service start
kivctl service status | grep -q running || fail "the service does not run"
kivctl add Installed sampleprotocol
kivctl start Installed
kivctl status Installed | grep -q running || fail "the instance does not run"

# An upgrade in place: the same installer over a running service, and while somebody watches.
kivctl watch </dev/null >/dev/null 2>&1 &
"$wine" "$installer" /S
[ -e "$folder/kivctl.exe" ] || fail "the upgrade left no kivctl"
kivctl service start
kivctl wait Installed running --timeout 60 || fail "the instance does not run after the upgrade"

# The uninstaller goes on as a copy of itself, so its end shows in what it removes.
"$wine" "$folder/Uninstall.exe" /S
for ((waited = 0; waited < 120; ++waited)); do
    [ -e "$folder/KivProtocolManager.exe" ] || break
    sleep 0.5
done
[ ! -e "$folder/KivProtocolManager.exe" ] || fail "the manager is still there"
"$wine" sc query KivProtocolManager >/dev/null 2>&1 && fail "the service is still registered"
"$wine" reg query 'HKLM\Software\Quenlar\Torvik\Runtime\Settings\vexa\0' /v _kiv_name | grep -q Installed ||
    fail "the settings did not stay"
echo "installer test: passed"
