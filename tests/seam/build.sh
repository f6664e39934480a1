#!/bin/bash
# build.sh SOURCE PLATFORM BUILD SETTING...: builds the driver over another platform folder and
# proves that it saw nothing of the project's own. BUILD is kept: a repetition is quick.
set -u
export CCACHE_DISABLE=1  # it may write other names of headers down than were given
export LC_ALL=C  # messages of compiler and linker are looked at
source=$1 platform=$2 build=$3
shift 3
log=$build/seam.log

refuse() {
    tail -n 40 "$log" >&2
    echo "FAILED: $*" >&2
    exit 1
}
# With warnings as errors: those of the platform's headers must not count, ours must.
configure() { cmake -S "$source" -B "$build" -G Ninja "$@" -DORVA_WERROR=ON >"$log" 2>&1; }
make_driver() { cmake --build "$build" --target devicevpn >"$log" 2>&1; }

mkdir -p "$build"
# A folder that lacks something is refused before anything is compiled.
incomplete=$build/incomplete/platform
rm -rf "$build/incomplete"
mkdir -p "$incomplete"
cp "$platform"/*.h "$platform/CMakeLists.txt" "$incomplete"
rm "$incomplete/QZNet.h"
if cmake -S "$source" -B "$build/incomplete/build" -G Ninja "$@" -DORVA_PLATFORM_DIR="$incomplete" >"$log" 2>&1; then
    refuse "a platform folder without QZNet.h is accepted"
fi
# CMake breaks its messages into lines.
tr -s ' \n' ' ' <"$log" | grep -q 'has no QZNet.h' || refuse "the configuration does not say that QZNet.h is missing"

# An operation that is missing is named by the linker. A sanitizer's build would only find it
# when it loads the library.
case " $* " in
    *" -DORVA_SANITIZE="[a-z]*) ;;
    *)
        configure "$@" -DORVA_PLATFORM_DIR="$platform" -DSEAM_WITHOUT_STOP=ON || refuse "no configuration"
        if make_driver; then refuse "the driver links without DispatchClient::stop()"; fi
        grep -q "undefined reference to .QZ::RPC::DispatchClient::stop()'" "$log" ||
            refuse "the linker does not name DispatchClient::stop()"
        ;;
esac

configure "$@" -DORVA_PLATFORM_DIR="$platform" -DSEAM_WITHOUT_STOP=OFF || refuse "no configuration"
make_driver || refuse "the driver does not build"

used() { ninja -C "$build" -t deps | sed -n "s,^ *$1/platform/,,p" | sort -u; }
own=$(used "$source")
[ -z "$own" ] || refuse "the driver saw headers of the project's own platform: $own"
for header in CString.h Arrays.h QZUtils.h QZNet.h QZRPC.h HostTools.h; do
    used "$(dirname "$platform")" | grep -qx "$header" || refuse "the driver did not see $header"
done
echo "built over $platform alone"
