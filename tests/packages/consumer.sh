#!/bin/bash
# consumer.sh PACKAGES SOURCE COMPILER FLAGS EMULATOR SETTING...: a host is built against the
# development package alone, once with CMake and once with pkg-config, and opens the installed
# driver, first without a service and then with the packages' own. A host that guesses the
# exports does not compile. FLAGS and EMULATOR begin with their name, so that neither is empty.
set -u
export LC_ALL=C  # messages of compiler and linker are looked at
. "$(dirname "$(realpath "$0")")/checks.sh"
packages=$1 source=$2 compiler=$3
read -ra flags <<<"${4#flags}"
read -ra emulator <<<"${5#emulator}"
shift 5
work=$(mktemp -d)
service=
end() {
    [ -z "$service" ] || { kill -KILL "$service" && wait "$service"; } 2>/dev/null
    rm -rf "$work"
}
trap end EXIT
root=$work/root
unpack "$packages" "$root"

run() { timeout 60 "${emulator[@]}" "$1" >"$work/said" 2>&1; }

cmake -S "$source" -B "$work/build" -G Ninja "$@" -Ddevicevpn_DIR="$root/usr/share/cmake/devicevpn" \
    >"$work/log" 2>&1 && cmake --build "$work/build" >>"$work/log" 2>&1 || { cat "$work/log" >&2; fail "CMake"; finish; }
run "$work/build/consumer"
equals "exit code without a service" 1 $?
equals "output without a service" "InitDevice 0, CollectDevData 1" "$(cat "$work/said")"

export PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_LIBDIR=$root/usr/share/pkgconfig
equals "pkg-config --modversion" "$(dpkg-deb --field "$packages"/libdevicevpn-dev_*.deb Version)" \
    "$(pkg-config --modversion devicevpn)"
equals "pkg-config --cflags" "-I$root/usr/include/orva" "$(pkg-config --cflags devicevpn | xargs)"
equals "pkg-config --libs" "" "$(pkg-config --libs devicevpn | xargs)"
driver=$(pkg-config --variable=driver devicevpn)
equals "pkg-config --variable=driver" "/usr/lib/orva/drivers/libdevicevpn.so" "${driver#"$root"}"
# shellcheck disable=SC2046 # several words on purpose
compile() { "$compiler" "${flags[@]}" -std=c++17 $(pkg-config --cflags devicevpn) "$@"; }
compile -DDRIVER="\"$root${driver#"$root"}\"" "$source/main.cpp" -ldl -o "$work/consumer" ||
    { fail "the compiler"; finish; }

install -m 600 "$root/usr/share/doc/orva-vpnd/examples/vpnd-demo.toml" "$work/vpnd.toml"
"${emulator[@]}" "$root/usr/sbin/orva-vpnd" --config "$work/vpnd.toml" --state none --control none --log-level warn \
    --device-name line-3 >"$work/service" 2>&1 &
service=$!
wait_until 20 grep -q '^orva-vpnd .* listening' "$work/service" || { cat "$work/service" >&2; fail "no service"; }
for program in "$work/build/consumer" "$work/consumer"; do
    wait_until 30 run "$program" || fail "$program: the tunnel does not come up"
    equals "output of $program" "1 text vpn.example.com
2 int 1194
3 text 10.8.0.6
4 double 30
5 text line-3
6 int 1
7 double 5
8 text ORVA-000001
9 text ***
10 text exampleuser
InitDevice 0, CollectDevData 0" "$(cat "$work/said")"
done

compile -DGUESS=0 -fsyntax-only "$source/guessed.cpp" || fail "the right use of CreateDeviceCtrl does not compile"
for guess in 1 2; do
    if compile -DGUESS=$guess -fsyntax-only "$source/guessed.cpp" 2>"$work/said"; then
        fail "guess $guess of CreateDeviceCtrl compiles"
    fi
    grep -q 'HostInterface.h:.*note: ' "$work/said" ||
        { cat "$work/said" >&2; fail "guess $guess: the compiler does not point to the declaration"; }
done
finish
