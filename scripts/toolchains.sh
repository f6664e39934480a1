#!/bin/bash
# toolchains.sh [COMPILER...]: compiles the driver and platform/ with the oldest and the
# newest compilers that Debian has, as C++17 and with warnings as errors, and checks the
# library that comes out. The oldest of each kind are the oldest that are supported.
set -uo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

compilers=("${TOOLCHAINS[@]}")
[ $# -eq 0 ] || compilers=("$@")
compiler_packages "${compilers[@]}"
require_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${COMPILER_PACKAGES[@]}"

# try COMPILER
try() {
    local compiler=$1 folder=build/toolchains/$1 begun=$SECONDS log
    log=$(mktemp)
    if cmake -S . -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER="$compiler" -DORVA_WERROR=ON >"$log" 2>&1 &&
        cmake --build "$folder" --target devicevpn >>"$log" 2>&1 &&
        ctest --test-dir "$folder" -R '^binary_library$' --no-tests=error --output-on-failure >>"$log" 2>&1; then
        rm -f "$log"
        printf 'passed  %-12s (%d s)\n' "$compiler" $((SECONDS - begun))
    else
        tail -n 60 "$log"
        rm -f "$log"
        printf 'FAILED  %s\n' "$compiler"
        return 1
    fi
}

# Two at a time: much of it is configuring, which keeps one processor busy.
failed=0
for ((i = 0; i < ${#compilers[@]}; i += 2)); do
    running=()
    for compiler in "${compilers[@]:i:2}"; do
        try "$compiler" &
        running+=($!)
    done
    for one in "${running[@]}"; do
        wait "$one" || failed=1
    done
done
exit $failed
