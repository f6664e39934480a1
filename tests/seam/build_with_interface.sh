#!/bin/bash
# build_with_interface.sh SOURCE PLATFORM INTERFACE BUILD SETTING...: builds the driver as an
# integrator does who has put the runtime's own header INTERFACE in the place of
# host/HostInterface.h, over another platform folder. BUILD is kept: a repetition is quick.
set -u
source=$1 platform=$2 interface=$3 build=$4
shift 4
copy=$build/sources
log=$build/log

# An integrator does not know ORVA_WERROR, and the header has what the driver warns of.
settings=()
for setting in "$@"; do
    case $setting in -DORVA_WERROR=*) ;; *) settings+=("$setting") ;; esac
done

rm -rf "$copy"
mkdir -p "$copy"
for part in CMakeLists.txt cmake packaging support vpnclient device host; do
    cp -a "$source/$part" "$copy"
done
cp -p "$interface" "$copy/host/HostInterface.h"
if ! { cmake -S "$copy" -B "$build/driver" -G Ninja "${settings[@]}" -DORVA_PLATFORM_DIR="$platform" &&
    cmake --build "$build/driver" --target devicevpn; } >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "FAILED: the driver does not build with another host interface" >&2
    exit 1
fi
