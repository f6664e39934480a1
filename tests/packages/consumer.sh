#!/bin/bash
# consumer.sh PACKAGES SOURCE COMPILER FLAGS EMULATOR SETTING...: a host is built against the
# development package alone, once with CMake and once with pkg-config, and opens the
# installed driver. FLAGS and EMULATOR begin with their name, so that neither is empty.
# No service runs meanwhile.
set -u
. "$(dirname "$(realpath "$0")")/checks.sh"
packages=$1 source=$2 compiler=$3
read -ra flags <<<"${4#flags}"
read -ra emulator <<<"${5#emulator}"
shift 5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
unpack "$packages" "$root"

runs() {
    local said
    said=$(timeout 60 "${emulator[@]}" "$1" 2>&1) || fail "$2: exit code $?"
    equals "$2: output" "InitDevice 0, CollectDevData 1" "$said"
}

cmake -S "$source" -B "$work/build" -G Ninja "$@" -Ddevicevpn_DIR="$root/usr/share/cmake/devicevpn" \
    >"$work/log" 2>&1 && cmake --build "$work/build" >>"$work/log" 2>&1 || { cat "$work/log" >&2; fail "CMake"; }
runs "$work/build/consumer" "built with CMake"

export PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_LIBDIR=$root/usr/share/pkgconfig
equals "pkg-config --modversion" "$(dpkg-deb --field "$packages"/libdevicevpn-dev_*.deb Version)" \
    "$(pkg-config --modversion devicevpn)"
equals "pkg-config --cflags" "-I$root/usr/include/orva" "$(pkg-config --cflags devicevpn | xargs)"
equals "pkg-config --libs" "" "$(pkg-config --libs devicevpn | xargs)"
driver=$(pkg-config --variable=driver devicevpn)
equals "pkg-config --variable=driver" "/usr/lib/orva/drivers/libdevicevpn.so" "${driver#"$root"}"
# shellcheck disable=SC2046 # several words on purpose
"$compiler" "${flags[@]}" -std=c++17 $(pkg-config --cflags devicevpn) -DDRIVER="\"$root${driver#"$root"}\"" \
    "$source/main.cpp" -ldl -o "$work/consumer" || fail "the compiler"
runs "$work/consumer" "built with pkg-config"
finish
