#!/bin/bash
# without_libraries.sh SOURCE WORK SETTING...: a cross build that finds no libcrypto, or no
# libsqlite3, for its processor says so in one line, leaves the service out, and keeps driver
# and panel program.
set -u
source=$1 work=$2
shift 2
rm -rf "$work"
mkdir -p "$work"

refuse() {
    cat "$work/log" >&2
    echo "FAILED: without $missing: $*" >&2
    exit 1
}
# without LIBRARY SETTING...: the others are where the settings say; that they are no
# libraries does not matter, nothing is linked.
without() {
    missing=$1
    shift
    local build=$work/$missing
    cmake -S "$source" -B "$build" -G Ninja "$@" -DORVA_ARM_ROOT="$work/none" >"$work/log" 2>&1 ||
        refuse "the configuration fails"
    [ "$(grep -c 'left out:' "$work/log")" -eq 1 ] || refuse "not one line says what is left out"
    grep -q "left out: no $missing for ARM; scripts/armv7-root.sh $work/none fetches it" "$work/log" ||
        refuse "no line says what brings it"
    local targets target
    targets=$(ninja -C "$build" -t targets all)
    for target in devicevpn orva-panel device_test panel_units; do
        grep -q "^$target: phony" <<<"$targets" || refuse "$target is left out as well"
    done
    for target in orva-vpnd service_store service_test vpnd_test panel_live; do
        grep -q "^$target: phony" <<<"$targets" && refuse "$target is not left out"
    done
}
without libcrypto "$@" -DORVA_SQLITE_LIBRARY="$work/log" -DORVA_SQLITE_HEADERS="$work"
without libsqlite3 "$@" -DORVA_CRYPTO_LIBRARY="$work/log" -DORVA_CRYPTO_HEADERS="$work"
echo "the service is left out, and nothing else"
