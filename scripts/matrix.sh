#!/bin/bash
# matrix.sh [PRESET...]: builds and tests the driver on this machine in every way that a
# panel or its compiler may differ: presets of CMakePresets.json, by default all of these.
set -uo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

presets=(clang signed-char unsigned-char O0 O3 old-string static-cxx)
[ $# -eq 0 ] || presets=("$@")
require_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "clang=second compiler of the driver"

failed=0
log=$(mktemp)
trap 'rm -f "$log"' EXIT
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
