#!/usr/bin/env bash
# Makes the ZIP archive and the installer of the Windows build and the archive of the SDK, in build/windows/packages.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
scripts/setup.sh
cmake --preset windows >/dev/null
cmake --build --preset windows --target KivProtocolManager KivProtocol kivctl kivapi kiv_protocol
cd build/windows
cpack -B packages
cpack --config CPackSdkConfig.cmake -B packages
ls -l packages/*.zip packages/*.exe
