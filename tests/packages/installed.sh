#!/bin/bash
# installed.sh PACKAGES [EMULATOR...]: installs the packages into a clean root and runs the
# product from there: service, polling, a command, a project, the check of the library.
set -u
. "$(dirname "$(realpath "$0")")/checks.sh"
packages=$1
shift
emulator=("$@")
work=$(mktemp -d)
root=$work/root
service=
end() {
    [ -z "$service" ] || kill -KILL "$service" 2>/dev/null
    rm -rf "$work"
}
trap end EXIT
export PATH=$PATH:/usr/sbin:/sbin

# dpkg itself, with a database of its own; the libraries that the packages depend on are
# the machine's.
mkdir -p "$root"/var/lib/dpkg/{info,updates}
: >"$root/var/lib/dpkg/status"
: >"$root/var/lib/dpkg/available"
in_root() { dpkg --root="$root" --force-not-root --force-depends --force-architecture "$@" >"$work/dpkg" 2>&1; }
if [ "$(id -u)" -eq 0 ]; then
    # Without the service's scripts, which take a whole system: booted.sh runs them.
    mkdir "$work/debs"
    cp "$packages"/libdevicevpn*.deb "$packages"/orva-panel_*.deb "$work/debs"
    dpkg-deb --raw-extract "$packages"/orva-vpnd_*.deb "$work/service-package"
    rm "$work"/service-package/DEBIAN/{postinst,prerm,postrm}
    dpkg-deb --build "$work/service-package" "$work/debs/orva-vpnd.deb" >/dev/null
    in_root --install "$work"/debs/*.deb || { cat "$work/dpkg" >&2; fail "dpkg does not install the packages"; }
    equals "dpkg's packages" "libdevicevpn libdevicevpn-dev orva-panel orva-vpnd" \
        "$(dpkg-query --admindir="$root/var/lib/dpkg" -W -f '${db:Status-Abbrev}${Package}\n' |
            sed -n 's/^ii *//p' | sort | xargs)"
else
    unpack "$packages" "$root"
fi
driver=$root/usr/lib/orva/drivers/libdevicevpn.so
panel() { timeout 60 "${emulator[@]}" "$root/usr/bin/orva-panel" "$@"; }

# start CONFIGURATION
start() {
    "${emulator[@]}" "$root/usr/sbin/orva-vpnd" --config "$1" --state "$work/state" --control "$work/control.sock" \
        --log-level warn >"$work/service" 2>&1 &
    service=$!
    wait_until 20 grep -q '^orva-vpnd .* listening' "$work/service" || { cat "$work/service" >&2; fail "no service"; }
}
stop() {
    kill -TERM "$service"
    wait "$service"
    equals "the service's exit code after SIGTERM" 0 $?
    service=
}

# As it is installed nothing is set, and nothing is wrong with it.
ctl() { timeout 60 "${emulator[@]}" "$root/usr/bin/orva-vpnctl" "$@"; }
start "$root/etc/orva/vpnd.toml"
equals "what the service says beyond its first line" "" "$(sed 1d "$work/service")"
stop
ctl reasons >"$work/reasons" && grep -q '^1 .*idle' "$work/reasons" || fail "orva-vpnctl does not tell the reasons"

rm -rf "$work/state"
install -m 600 "$root/usr/share/doc/orva-vpnd/examples/vpnd-demo.toml" "$work/vpnd.toml"
start "$work/vpnd.toml"

connected() { panel poll --driver "$driver" --cycles 1 --json >"$work/cycle" 2>&1 && grep -q '"code":0' "$work/cycle"; }
wait_until 30 connected || { cat "$work/cycle" >&2; fail "polling does not show a connected tunnel"; }
for channel in 1 2 3 4 5 6 7 8 9 10; do
    grep -q "\"$channel\":" "$work/cycle" || fail "channel $channel is not published"
done

panel send --driver "$driver" --json --var r=int:7 --var a=string:10.0.0.1 --var p=int:1194 "STARTVPN(a,p,r)" \
    >"$work/send" 2>&1 || { cat "$work/send" >&2; fail "the command fails"; }
grep -q '"code":0' "$work/send" && grep -q '"r":0' "$work/send" ||
    { cat "$work/send" >&2; fail "the command does not answer 0 and r = 0"; }

# Examples name the library by where it is installed, which is not this root.
panel run --driver "$driver" --duration 600 "$root/usr/share/orva-panel/examples/first-contact.toml" \
    >"$work/run" 2>&1 || { cat "$work/run" >&2; fail "the example project fails"; }

panel check "$driver" >"$work/check" 2>&1 || fail "the check refuses the library"
for finding in 'ok +exports +CreateDeviceCtrl, DestroyDeviceCtrl' 'ok +symbols' 'ok +hardening' 'ok +dry cycle'; do
    grep -qE "^[0-9:.]+ +$finding" "$work/check" || { cat "$work/check" >&2; fail "the check does not say: $finding"; }
done

stop
# What was sent is kept, and counts before the configuration's.
start "$work/vpnd.toml"
panel poll --driver "$driver" --cycles 1 --json >"$work/cycle" 2>&1
grep -q '"1":"10.0.0.1"' "$work/cycle" || { cat "$work/cycle" >&2; fail "the server's address is not kept"; }
stop

if [ "$(id -u)" -eq 0 ]; then
    in_root --purge libdevicevpn libdevicevpn-dev orva-panel orva-vpnd || { cat "$work/dpkg" >&2; fail "dpkg does not remove the packages"; }
    equals "what is left after the removal" "" "$(find "$root" -path "$root/var" -prune -o -type f -print)"
fi
finish
