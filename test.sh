#!/usr/bin/env bash
# Builds and tests everything: release and asan.
#
#   ./test.sh [PRESET...]      only these presets
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh

usage() {
    sed -n '2,4s/^# \{0,1\}//p' "$0"
}

all=(release asan)
presets=()
for argument in "$@"; do
    case $argument in
        -h | --help) usage; exit 0 ;;
        *)
            if [[ " ${all[*]} " != *" $argument "* ]]; then
                printf "test.sh: unknown preset '%s'; there are: %s\n" "$argument" "${all[*]}" >&2
                exit 2
            fi
            presets+=("$argument")
            ;;
    esac
done
[ ${#presets[@]} -gt 0 ] || presets=("${all[@]}")

require_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"

for preset in "${presets[@]}"; do
    printf '== %s: build\n' "$preset"
    cmake --preset "$preset" -DBUILD_TESTING=ON >/dev/null
    cmake --build --preset "$preset"
    printf '== %s: tests\n' "$preset"
    ctest --preset "$preset"
done
