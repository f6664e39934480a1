#!/bin/bash
# without_libcrypto.sh SOURCE WORK SETTING...: a cross build that finds no libcrypto for its
# processor says so in one line, leaves the service out, and keeps driver and panel program.
set -u
source=$1 work=$2
shift 2
rm -rf "$work"
mkdir -p "$work"

refuse() {
    cat "$work/log" >&2
    echo "FAILED: $*" >&2
    exit 1
}
cmake -S "$source" -B "$work/build" -G Ninja "$@" -DORVA_ARM_ROOT="$work/none" >"$work/log" 2>&1 ||
    refuse "the configuration fails"
[ "$(grep -c 'left out: no libcrypto' "$work/log")" -eq 1 ] || refuse "not one line says what is left out"
grep -q "scripts/armv7-root.sh $work/none fetches it" "$work/log" || refuse "no line says what brings libcrypto"
targets=$(ninja -C "$work/build" -t targets all)
for target in devicevpn orva-panel device_test panel_units; do
    grep -q "^$target: phony" <<<"$targets" || refuse "$target is left out as well"
done
for target in orva-vpnd orva_service service_test vpnd_test panel_live; do
    grep -q "^$target: phony" <<<"$targets" && refuse "$target is not left out"
done
echo "the service is left out, and nothing else"
