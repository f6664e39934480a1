#!/bin/bash
# build_for_runtime.sh SOURCE PLATFORM INTERFACE BUILD SETTING...: builds the driver for a runtime
# that comes as a library with headers of its own, made here from PLATFORM: six headers that
# only include those, and INTERFACE in the place of host/HostInterface.h. The library is
# BUILD/runtime/lib/libruntime.so. BUILD is kept: a repetition is quick.
set -u
export CCACHE_DISABLE=1  # it may write other names of headers down than were given
source=$1 platform=$2 interface=$3 build=$4
shift 4
runtime=$build/runtime
copy=$build/sources
log=$build/log

refuse() {
    tail -n 40 "$log" >&2
    echo "FAILED: $*" >&2
    exit 1
}

# An integrator does not know ORVA_WERROR, and the headers have what the driver warns of.
settings=()
abi=()
for setting in "$@"; do
    case $setting in
        -DORVA_WERROR=*) continue ;;
        -DCMAKE_CXX_COMPILER=*) compiler=${setting#*=} ;;
        -DCMAKE_CXX_FLAGS=*) read -ra flags <<<"${setting#*=}" ;;
        -DORVA_CXX11_ABI=?) abi=("-D_GLIBCXX_USE_CXX11_ABI=${setting#*=}") ;;
    esac
    settings+=("$setting")
done

rm -rf "$runtime" "$copy"
mkdir -p "$runtime"/{include/rt,lib,platform} "$copy"
for file in "$platform"/*.h; do
    name=$(basename "$file")
    sed 's,"platform/,"rt/,' "$file" >"$runtime/include/rt/$name"
    echo "#include <rt/$name>" >"$runtime/platform/$name"
    touch -r "$file" "$runtime/include/rt/$name" "$runtime/platform/$name"
done
for file in "$platform"/*.cpp; do
    sed 's,"platform/,"rt/,; s,"Service.h","rt/Service.h",' "$file" >"$runtime/lib/$(basename "$file")"
done
"$compiler" "${flags[@]}" "${abi[@]}" -std=c++17 -O1 -fPIC -shared -I"$runtime/include" "$runtime"/lib/*.cpp \
    -o "$runtime/lib/libruntime.so" >"$log" 2>&1 || refuse "the runtime's library does not build"
cat >"$runtime/platform/CMakeLists.txt" <<END
add_library(platform INTERFACE)
target_include_directories(platform INTERFACE $runtime/include)
target_link_libraries(platform INTERFACE $runtime/lib/libruntime.so)
END

for part in CMakeLists.txt cmake packaging support vpnclient device host; do
    cp -a "$source/$part" "$copy"
done
cp -p "$interface" "$copy/host/HostInterface.h"
{ cmake -S "$copy" -B "$build/driver" -G Ninja "${settings[@]}" -DORVA_PLATFORM_DIR="$runtime/platform" &&
    cmake --build "$build/driver" --target devicevpn; } >"$log" 2>&1 || refuse "the driver does not build"

# Its libraries lie elsewhere on the panel.
if readelf -d "$build/driver/lib/libdevicevpn.so" | grep -E 'RPATH|RUNPATH' >"$log"; then
    refuse "the driver looks for libraries in a folder of the build machine"
fi
