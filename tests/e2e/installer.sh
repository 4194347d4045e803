#!/usr/bin/env bash
# Tests the installer and the archive in their own Wine prefix: installs, uses the service, upgrades, uninstalls.
# Usage: installer.sh BUILD_FOLDER
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$(cd "$1" && pwd)
packages="$build/packages"
export WINEPREFIX="$build/installer-prefix"
wine="$root/scripts/wine.sh"
umask 022 # Wine makes the permissions of files from it
settings='HKLM\Software\Quenlar\Torvik\Runtime\Settings\vexa'
environment='HKLM\System\CurrentControlSet\Control\Session Manager\Environment'
uninstall='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\KivProtocolManager'
service='HKLM\System\CurrentControlSet\Services\KivProtocolManager'

fail() {
    echo "installer test: $*" >&2
    exit 1
}
exits() { # CODE COMMAND...
    local code=0
    "${@:2}" || code=$?
    [ "$code" -eq "$1" ] || fail "${*:2} ended with $code, not $1"
}
expect() { # KEY VALUE_NAME TEXT
    local found
    found=$("$wine" reg query "$1" /v "$2" | tr -d '\r' | sed -n "s/^ *$2 *REG_[A-Z_]* *//p")
    [ "$found" = "$3" ] || fail "$2 is \"$found\", not \"$3\""
}
finish() {
    kill "$holder" 2>/dev/null || true
    wineserver -k || true
}

rm -rf "$packages" "$WINEPREFIX"
(cd "$build" && cpack -B packages >/dev/null)
installer=$(ls "$packages"/*.exe)
archive=$(ls "$packages"/*.zip)

"$wine"
# Wine ends the services with the last ordinary program of the prefix, so keep one running.
"$wine" cmd /c "pause" < <(exec sleep 600 >/dev/null 2>&1) >/dev/null 2>&1 &
holder=$!
trap finish EXIT

path='%SystemRoot%\system32;%SystemRoot%;"C:\a;b";' # not expanded: its variables have to stay
"$wine" reg add "$environment" /v PATH /t REG_EXPAND_SZ /d "$path" /f
"$wine" reg add "$settings" /v logkeep /t REG_DWORD /d 9 /f
"$wine" "$installer" /S
folder="$WINEPREFIX/drive_c/Program Files/KivProtocolManager"
installed='C:\Program Files\KivProtocolManager'
kivctl() { "$wine" "$folder/kivctl.exe" "$@"; }
kivctl --version | grep -q "$(sed -n 's/^project(KivProtocolManager VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")" ||
    fail "kivctl says another version"
grep -q "kivctl service install" "$folder/README.txt" || fail "no README"
expect "$settings" logtype file
expect "$settings" logfile 'C:\ProgramData\Quenlar Imaging\log\zebcom.log'
expect "$settings" logcolor 0x0
expect "$settings" logmaxsize 0xa
expect "$settings" logkeep 0x9
expect "$settings" loglevel info
expect "$settings" restartdelay 0x3e8
expect "$environment" PATH "$path$installed;"
expect "$uninstall" DisplayIcon "$installed\\Uninstall.exe"
expect "$uninstall" InstallLocation "$installed"
expect "$uninstall" QuietUninstallString "\"$installed\\Uninstall.exe\" /S"

exits 0 kivctl service status
kivctl add Installed sampleprotocol
kivctl start Installed
kivctl service restart
kivctl wait Installed running --timeout 60 || fail "the instance does not run after the restart"
[ -s "$WINEPREFIX/drive_c/ProgramData/Quenlar Imaging/log/zebcom.log" ] || fail "nothing is logged"

# The metrics for a monitoring system, and the completion for a shell.
kivctl metrics >"$packages/metrics.txt"
grep -q 'kiv_instance_up{instance="Installed",type="sample"} 1' "$packages/metrics.txt" || fail "metrics lack the instance"
promtool check metrics <"$packages/metrics.txt" || fail "promtool does not like the metrics"
eval "$(kivctl completion bash)"
COMP_WORDS=(kivctl start Inst) COMP_CWORD=2
_kivctl
[ "${COMPREPLY[*]}" = Installed ] || fail "completed to ${COMPREPLY[*]}"

# An upgrade in place: the same installer, while the service and kivctl watch run.
"$wine" "$folder/kivctl.exe" watch </dev/null >/dev/null 2>&1 &
watch=$!
[ ! -e "$folder/sdk" ] || fail "a silent installation chose the SDK"
mkdir "$folder/sdk"
"$wine" "$installer" /S
[ -e "$folder/sdk/include/kivapi.h" ] || fail "the SDK that is there is not brought up to date"
kill "$watch" || fail "kivctl watch did not outlive the upgrade"
kivctl wait Installed running --timeout 60 || fail "the instance does not run after the upgrade"
expect "$environment" PATH "$path$installed;"

# An upgrade that is refused, because users may write to the folder, leaves the service running.
chmod o+w "$folder"
exits 2 "$wine" "$installer" /S
exits 0 kivctl service status

# The uninstaller continues as a copy of itself, so wait until it has removed the folder.
"$wine" "$folder/Uninstall.exe" /S
for ((waited = 0; waited < 120; ++waited)); do
    [ -e "$folder" ] || break
    sleep 0.5
done
[ ! -e "$folder" ] || fail "left behind: $(ls "$folder")"
"$wine" sc query KivProtocolManager >/dev/null 2>&1 && fail "the service is still registered"
expect "$settings\\0" _kiv_name Installed
expect "$environment" PATH "$path"

# The archive, with a service that is registered for manual start; users must not write to its folder.
cd "$WINEPREFIX/drive_c"
cmake -E tar xf "$archive"
unpacked=$(basename "$archive" .zip)
[ -z "$(find "$unpacked" -name '*.ps1')" ] || fail "a script in the archive"
"$wine" sc create KivProtocolManager binPath= C:\\nowhere.exe start= demand
chmod o+w "$unpacked"
exits 1 "$wine" "$unpacked/kivctl.exe" service install
exits 0 "$wine" "$unpacked/kivctl.exe" service install --any-folder
chmod o-w "$unpacked"
exits 0 "$wine" "$unpacked/kivctl.exe" service install
expect "$service" ImagePath "\"C:\\$unpacked\\KivProtocolManager.exe\" --service"
expect "$environment" PATH "${path}C:\\$unpacked;"

# An upgrade of a service that does not run and is registered with another folder.
"$wine" "$installer" /S
exits 1 kivctl service status
expect "$service" Start 0x3
expect "$service" ImagePath "\"$installed\\KivProtocolManager.exe\" --service"
expect "$environment" PATH "$path$installed;"
exits 0 kivctl service start
exits 0 kivctl service uninstall
exits 4 kivctl service status
expect "$environment" PATH "$path"
echo "installer test: passed"
