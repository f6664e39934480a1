#!/bin/bash
# matrix.sh [PRESET...]: builds and tests the driver on this machine in every way that a
# panel or its compiler may differ: presets of CMakePresets.json, by default all of these.
# Most of them compile the driver alone, for the tests and the service of build/release.
set -uo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

presets=(clang old-string unsigned-char O0 O3 static-cxx)
[ $# -eq 0 ] || presets=("$@")
require_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${MATRIX_PACKAGES[@]}"

failed=0
log=$(mktemp)
trap 'rm -f "$log"' EXIT
begun=$SECONDS
if ! { cmake --preset release -DBUILD_TESTING=ON && cmake --build --preset release --target driver_tests orva-vpnd; } >"$log" 2>&1; then
    tail -n 60 "$log"
    printf 'FAILED  tests and service of build/release\n'
    exit 1
fi
printf 'built   %-14s (%d s)\n' "build/release" $((SECONDS - begun))
for preset in "${presets[@]}"; do
    begun=$SECONDS
    if cmake --preset "$preset" >"$log" 2>&1 && cmake --build --preset "$preset" >>"$log" 2>&1 &&
        ctest --preset "$preset" >>"$log" 2>&1; then
        printf 'passed  %-14s %s tests (%d s)\n' "$preset" \
            "$(sed -n 's/.*tests failed out of //p' "$log")" $((SECONDS - begun))
    else
        tail -n 60 "$log"
        printf 'FAILED  %s\n' "$preset"
        failed=1
    fi
done
exit $failed
