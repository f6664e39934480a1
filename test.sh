#!/usr/bin/env bash
# Builds and tests everything, stage by stage.
#
#   ./test.sh [STAGE...]      only these stages; without any all of them but nightly
#
#   format      no source differs from what clang-format makes of it
#   release     optimised, as shipped; packages and pages included
#   asan        with address and undefined-behaviour sanitizers
#   threads     service and panel with the thread sanitizer
#   armv7       for the panel's processor, under emulation
#   matrix      the driver with clang++, unsigned char, -O0, -O3, other libraries
#   toolchains  the driver compiled by the oldest and newest compilers of Debian
#   nightly     what takes longer: all packages built twice
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh

usage() {
    sed -n '2,14s/^# \{0,1\}//p' "$0"
}

all=(format release asan threads armv7 matrix toolchains nightly)
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
[ ${#stages[@]} -gt 0 ] || stages=("${all[@]:0:${#all[@]}-1}")

# Nothing depends on the language of whoever runs it.
export LC_ALL=C.UTF-8
unset LANGUAGE
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    # The headers that the tests share are compiled once, before the tests.
    export CCACHE_SLOPPINESS=pch_defines,time_macros
fi

times=()
show_times() {
    [ ${#times[@]} -eq 0 ] || printf '  %s\n' "" "${times[@]}"
    printf '  %-11s %4d s\n' "in all" $SECONDS
}
trap show_times EXIT
begun=$SECONDS
# All at once, as far as they can be had: asked for one by one they take a minute more.
compiler_packages "${TOOLCHAINS[@]}"
more=()
for stage in "${stages[@]}"; do
    case $stage in
        armv7) more+=("${ARMV7_PACKAGES[@]}") ;;
        matrix) more+=("${MATRIX_PACKAGES[@]}") ;;
        toolchains) more+=("${COMPILER_PACKAGES[@]}") ;;
    esac
done
(require_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${more[@]}") ||
    require_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"
times+=("$(printf '%-11s %4d s' packages $((SECONDS - begun)))")

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
        format) scripts/format.sh --check ;;
        matrix) scripts/matrix.sh ;;
        toolchains) scripts/toolchains.sh ;;
        nightly)
            # A test that needs them says that it is skipped.
            (require_packages "${NIGHTLY_PACKAGES[@]}") || true
            cmake --preset release -DBUILD_TESTING=ON >/dev/null
            cmake --build --preset release
            ctest --preset nightly
            ;;
        armv7)
            if ! (require_packages "${ARMV7_PACKAGES[@]}"); then
                printf '== armv7: SKIPPED: cross compiler or qemu-user cannot be installed here\n'
                times+=("$(printf '%-11s skipped' armv7)")
                continue
            fi
            # The service's library, and what emulated programs see.
            scripts/armv7-root.sh build/armv7-root
            run_preset armv7
            ;;
        *) run_preset "$stage" ;;
    esac
    times+=("$(printf '%-11s %4d s' "$stage" $((SECONDS - begun)))")
    printf '== %s: passed in %d s\n' "$stage" $((SECONDS - begun))
done

printf '\nEverything passed.\n'
