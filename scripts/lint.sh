#!/usr/bin/env bash
# Static analysis of all code of the product: clang-tidy with the rules of .clang-tidy, and cppcheck. clang-tidy reads the
# Windows build, which compiles everything, as clang would compile it for MinGW-w64. It reads a room at once, because most
# of its time goes to the headers of the system.
#
# scripts/lint.sh --paths reads file by file and lets clang's analyzer follow the paths through every function too. That
# takes much longer. The rules on unused using-declarations find something only then.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=build/lint
at_once=ON
checks=--checks=-bugprone-suspicious-include # a room's files are included into one
if [ "${1:-}" = --paths ]; then
    at_once=OFF
    checks=--checks=clang-analyzer-*,-clang-analyzer-optin.performance.Padding
fi

cmake --preset windows -B "$build" -DCMAKE_UNITY_BUILD="$at_once" -DCMAKE_UNITY_BUILD_BATCH_SIZE=0 >/dev/null

# What the build compiles of the product; the rooms with the most files first, because they take longest.
sources() {
    sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$build/compile_commands.json" | grep '/utilities/.*\.c[px][px]$' |
        sort -u | xargs ls -S
}

gcc_includes=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")/include
for_windows=(
    --extra-arg-before=--target=x86_64-w64-windows-gnu
    --extra-arg=-nostdinc # no header of this system, but those of the cross compiler
    --extra-arg=-isystem"$gcc_includes/c++"
    --extra-arg=-isystem"$gcc_includes/c++/x86_64-w64-mingw32"
    --extra-arg=-isystem"$(clang -print-resource-dir)/include"
    --extra-arg=-isystem/usr/x86_64-w64-mingw32/include
)
quiet='[0-9]* warnings\{0,1\} generated\.$' # of headers that are not ours

echo "== lint: clang-tidy"
sources | xargs -P "$(nproc)" -n 1 clang-tidy -quiet "$checks" -p "$build" "${for_windows[@]}" \
    2> >(grep -v "$quiet" >&2)
echo "== lint: cppcheck"
cppcheck --quiet -j "$(nproc)" --error-exitcode=1 --std=c++20 --library=windows --enable=warning,performance,portability \
    --inline-suppr -I utilities/com utilities
