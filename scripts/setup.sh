#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running need, if they are missing. Prints nothing when all are
# installed. Works as root, or as a user who may use sudo.
set -euo pipefail

packages=(
    cmake ninja-build g++                      # building; g++ also builds what instructions.sh measures
    g++-mingw-w64-x86-64-posix                 # the cross build for Windows
    wine wine64                                # running the Windows programs
    googletest                                 # the test framework, as source
    libcli11-dev nlohmann-json3-dev            # headers that kivctl uses
    nsis                                       # the installer
    prometheus                                 # promtool, which checks the metrics that kivctl prints
    clang libclang-rt-14-dev llvm              # native tests and fuzz targets; llvm names functions in their reports
    clang-tidy cppcheck                        # static analysis
)

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "setup: run this as root, or install sudo" >&2; exit 1; }
    as_root=(sudo)
fi

echo "setup: installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null >/dev/null
