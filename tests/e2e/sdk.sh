#!/usr/bin/env bash
# Tests the installed SDK as its users have it: builds the examples against the SDK alone and runs them with the service
# in their own Wine prefix. Usage: sdk.sh BUILD_FOLDER
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$(cd "$1" && pwd)
work="$build/sdk-test"
sdk="$work/sdk"
export WINEPREFIX="$work/prefix"
wine="$root/scripts/wine.sh"

fail() {
    echo "sdk test: $*" >&2
    exit 1
}
finish() {
    wineserver -k || true
}

rm -rf "$work"
cmake --install "$build" --component sdk --prefix "$sdk" >/dev/null

# kivapi.dll must need only DLLs of the system, so that it can be shipped alone, and export exactly what its .def lists.
table() { x86_64-w64-mingw32-objdump -p "$sdk/bin/kivapi.dll"; }
foreign=$(table | sed -n 's/^.*DLL Name: //p' | grep -viE '^(kernel32|advapi32|msvcrt|api-ms-win-core-synch-l1-2-0)\.dll$' || true)
[ -z "$foreign" ] || fail "kivapi.dll needs $foreign"
exported=$(table | sed -n 's/^.*\[ *[0-9]*\] \(kiv_[a-z_]*\)$/\1/p' | sort)
[ "$exported" = "$(sed '1,/EXPORTS/d; s/ //g' "$sdk/lib/kivapi.def" | sort)" ] || fail "it exports $exported"

build_example() { # NAME
    cmake -S "$sdk/examples/$1" -B "$work/$1" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" \
        -DCMAKE_BUILD_TYPE=Release -DKivProtocolManager_DIR="$sdk/lib/cmake/KivProtocolManager" >/dev/null
    cmake --build "$work/$1" >"$work/$1.log" || fail "$1 does not build: $(cat "$work/$1.log")"
}
for example in client-c protocol-c protocol-cpp; do
    build_example "$example"
done

"$wine"
trap finish EXIT
settings='HKLM\Software\Quenlar\Torvik\Runtime\Settings\vexa'
log="$WINEPREFIX/drive_c/kiv.log"
"$wine" reg add "$settings" /v logtype /d file /f
"$wine" reg add "$settings" /v logfile /d 'C:\kiv.log' /f
cp "$sdk/bin/kivapi.dll" "$work/client-c"
"$wine" "$work/client-c/client.exe" list 2>"$work/refused" && fail "a client without a service"
grep -q "The service is not running" "$work/refused" || fail "it says: $(cat "$work/refused")"
[ ! -e "$log" ] || fail "kivapi.dll logs: $(cat "$log")"
for protocol in protocol-c protocol-cpp; do
    folder="$work/run-$protocol"
    mkdir "$folder"
    cp "$build/bin/KivProtocolManager.exe" "$build/bin/kivctl.exe" "$sdk/bin/kivapi.dll" "$work/client-c/client.exe" \
        "$work/$protocol/KivProtocol.exe" "$folder"
    "$wine" "$folder/KivProtocolManager.exe" </dev/null >"$folder/manager.log" 2>&1 &
    manager=$!
    for ((tries = 0; tries < 60; ++tries)); do
        "$wine" "$folder/client.exe" list >/dev/null 2>&1 && break
        sleep 0.5
    done
    "$wine" "$folder/kivctl.exe" add "$protocol" sample
    "$wine" "$folder/client.exe" start "$protocol" 2>/dev/null && fail "$protocol starts without a port"
    "$wine" "$folder/kivctl.exe" set "$protocol" port 4840
    "$wine" "$folder/client.exe" start "$protocol" | tr -d '\r' >"$folder/events" || fail "the client's end"
    grep -qx "$protocol has started" "$folder/events" || fail "the client saw: $(cat "$folder/events")"
    "$wine" "$folder/client.exe" list | tr -d '\r' | grep -qx "$protocol: status 1, state 3" || fail "$protocol's state"
    "$wine" "$folder/kivctl.exe" remove "$protocol"
    "$wine" "$folder/kivctl.exe" shutdown
    wait "$manager" || fail "the manager ended with $?"
done
grep -q "Echo protocol-cpp uses port 4840" "$log" || fail "the protocol in C++ logs nothing"
echo "sdk test: passed"
