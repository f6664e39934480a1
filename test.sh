#!/usr/bin/env bash
# Builds and tests everything, stage by stage.
#
#   ./test.sh [STAGE...]      only these stages
#
#   release     optimised, as shipped; packages and pages included
#   asan        with address and undefined-behaviour sanitizers
#   armv7       for the panel's processor, under emulation
#   matrix      the driver with clang++, signed and unsigned char, -O0, -O3, other libraries
#   toolchains  the driver compiled by the oldest and newest compilers of Debian
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh

usage() {
    sed -n '2,10s/^# \{0,1\}//p' "$0"
}

all=(release asan armv7 matrix toolchains)
stages=()
for argument in "$@"; do
    case $argument in
        -h | --help) usage; exit 0 ;;
        *)
            if [[ " ${all[*]} " != *" $argument "* ]]; then
                printf "test.sh: unknown stage '%s'; there are: %s\n" "$argument" "${all[*]}" >&2
                exit 2
            fi
            stages+=("$argument")
            ;;
    esac
done
[ ${#stages[@]} -gt 0 ] || stages=("${all[@]}")

require_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"

# Builds a preset and runs all of its tests.
run_preset() {
    cmake --preset "$1" -DBUILD_TESTING=ON >/dev/null
    cmake --build --preset "$1"
    ctest --preset "$1"
}

for stage in "${stages[@]}"; do
    printf '== %s\n' "$stage"
    begun=$SECONDS
    case $stage in
        matrix) scripts/matrix.sh ;;
        toolchains) scripts/toolchains.sh ;;
        armv7)
            if ! (require_packages "${ARMV7_PACKAGES[@]}"); then
                printf '== armv7: SKIPPED: cross compiler or qemu-user can not be installed here\n'
                continue
            fi
            run_preset armv7
            ;;
        *) run_preset "$stage" ;;
    esac
    printf '== %s: passed in %d s\n' "$stage" $((SECONDS - begun))
done
