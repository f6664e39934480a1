#!/bin/bash
# toolchains.sh [COMPILER...]: compiles the driver and platform/ with the oldest and the
# newest compilers that Debian has, as C++17 and with warnings as errors, and checks the
# library that comes out. The oldest of each kind are the oldest that are supported.
set -uo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

compilers=(g++-11 g++-12 clang++-13 clang++-14 clang++-15 clang++-16)
[ $# -eq 0 ] || compilers=("$@")
packages=()
for compiler in "${compilers[@]}"; do
    packages+=("${compiler/clang++/clang}=one of the driver's compilers")
done
require_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${packages[@]}"

failed=0
log=$(mktemp)
trap 'rm -f "$log"' EXIT
for compiler in "${compilers[@]}"; do
    folder=build/toolchains/$compiler
    begun=$SECONDS
    if cmake -S . -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER="$compiler" -DORVA_WERROR=ON >"$log" 2>&1 &&
        cmake --build "$folder" --target devicevpn >>"$log" 2>&1 &&
        ctest --test-dir "$folder" -R '^binary_library$' --no-tests=error --output-on-failure >>"$log" 2>&1; then
        printf 'passed  %-12s (%d s)\n' "$compiler" $((SECONDS - begun))
    else
        tail -n 60 "$log"
        printf 'FAILED  %s\n' "$compiler"
        failed=1
    fi
done
exit $failed
