#!/usr/bin/env bash
# Static analysis of all code of the product: clang-tidy with the rules of .clang-tidy, and cppcheck. clang-tidy reads
# files that build natively with the flags of the native build, and the others as clang compiles them for MinGW-w64.
#
# With scripts/lint.sh --paths, clang's analyzer also follows the paths through every function, which takes four times
# as long.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
native=build/lint-native
windows=build/lint-windows
checks=()
[ "${1:-}" != --paths ] || checks=(--checks=clang-analyzer-*)

cmake --preset host-asan -B "$native" -DKIV_PRECOMPILE=OFF >/dev/null
cmake --preset windows -B "$windows" >/dev/null

# Lists the product's sources that the build in folder $1 compiles.
sources() {
    sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$1/compile_commands.json" | grep '/utilities/.*\.cpp$' | sort -u
}

gcc_includes=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")/include
for_windows=(
    --extra-arg-before=--target=x86_64-w64-windows-gnu
    --extra-arg=-nostdinc # the cross compiler's headers instead of this system's
    --extra-arg=-isystem"$gcc_includes/c++"
    --extra-arg=-isystem"$gcc_includes/c++/x86_64-w64-mingw32"
    --extra-arg=-isystem"$(clang -print-resource-dir)/include"
    --extra-arg=-isystem/usr/x86_64-w64-mingw32/include
)
quiet='[0-9]* warnings\{0,1\} generated\.$' # counts warnings in other people's headers too
lint() {
    xargs -P "$(nproc)" -n 1 clang-tidy -quiet "${checks[@]}" "$@" 2> >(grep -v "$quiet" >&2)
}

echo "== lint: what builds natively"
sources "$native" | lint -p "$native"
echo "== lint: what builds for Windows alone"
comm -13 <(sources "$native") <(sources "$windows") | lint -p "$windows" "${for_windows[@]}"
echo "== lint: cppcheck"
cppcheck --quiet -j "$(nproc)" --error-exitcode=1 --std=c++20 --library=windows --enable=warning,performance,portability \
    --inline-suppr -I utilities/com utilities
