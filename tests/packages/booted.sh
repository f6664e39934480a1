#!/bin/bash
# booted.sh PACKAGES ROOT: installs, upgrades, removes and purges the packages in a small
# Debian that is booted for it, and looks at what systemd makes of the units. Nothing is left
# of it. Exit code 77, after one line with the reason, where nothing can be booted.
set -u
here=$(dirname "$(realpath "$0")")
. "$here/checks.sh"
packages=$(realpath "$1") root=$2
. "$here/boot.sh"

# The version before: the service under a user of systemd's making, without a configuration
# file, scripts or a socket. And the next one: as this one.
before() {
    dpkg-deb --raw-extract "$packages"/orva-vpnd_*.deb "$work/before"
    rm -r "$work"/before/etc "$work"/before/DEBIAN/{conffiles,postinst,prerm,postrm} \
        "$work"/before/usr/lib/systemd/system/* "$work"/before/usr/share
    cp "$here/before/orva-vpnd.service" "$work/before/usr/lib/systemd/system/"
    sed -i 's/^Version: .*/Version: 0.9.0/' "$work/before/DEBIAN/control"
    dpkg-deb --build "$work/before" "$work/debs/before.deb"
}
after() {
    dpkg-deb --raw-extract "$packages"/orva-vpnd_*.deb "$work/after"
    sed -i 's/^Version: .*/Version: 99.0/' "$work/after/DEBIAN/control"
    dpkg-deb --build "$work/after" "$work/debs/after.deb"
}
mkdir "$work/debs"
{ before && after; } >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "the other versions cannot be packed"; finish; }
for name in orva-vpnd orva-panel libdevicevpn; do cp "$packages/$name"_*.deb "$work/debs/$name.deb"; done
cp "$packages"/orva-vpnd-*.tar.gz "$work/debs/service.tar.gz"

boot "$root"

active() { in_root systemctl is-active "$1"; }
property() { in_root systemctl show --property "$1" --value "${2-orva-vpnd.service}"; }
poll() { in_root orva-panel poll --cycles 1 --json 2>&1; }
dpkg_in_root() { in_root dpkg "$@" >"$work/dpkg" 2>&1 || { cat "$work/dpkg" >&2; fail "dpkg $*"; finish; }; }
stands_still() {
    equals "the service ($1)" failed "$(active orva-vpnd.service)"
    # failed: systemd wanted to start the service for a call while it closed the port.
    matches "the socket ($1)" '^(inactive|failed)$' "$(active orva-vpnd.socket)"
}
has_failed() { [ "$(active orva-vpnd.service)" = failed ] && [[ $(active orva-vpnd.socket) =~ ^(inactive|failed)$ ]]; }
runs() { [ "$(active orva-vpnd.service)" = active ]; }

# --- The version before, and the upgrade from it ---
dpkg_in_root --install /debs/before.deb /debs/orva-panel.deb /debs/libdevicevpn.deb
in_root systemctl enable --now orva-vpnd >/dev/null 2>&1
answers() { ! grep -q '"code":1,' <<<"$(poll)"; }
wait_until 20 answers || fail "the version before does not answer"
in_root orva-panel write 10 string before >"$work/said" 2>&1 ||
    { cat "$work/said" >&2; fail "the version before takes no settings"; }
equals "where the version before keeps its state" /var/lib/private/orva-vpnd \
    "$(in_root readlink -f /var/lib/orva-vpnd)"
dpkg_in_root --install /debs/orva-vpnd.deb
grep -qi 'warning\|error\|not ' "$work/dpkg" && { cat "$work/dpkg" >&2; fail "the upgrade complains"; }
equals "the service after the upgrade" active "$(active orva-vpnd.service)"
equals "where the state is after the upgrade" /var/lib/orva-vpnd "$(in_root readlink -f /var/lib/orva-vpnd)"
grep -q '"10":"before"' <<<"$(poll)" || { poll >&2; fail "the upgrade loses the settings"; }

# --- As it is installed ---
equals "the socket" active "$(active orva-vpnd.socket)"
equals "units that start at boot" "enabled enabled" \
    "$(in_root systemctl is-enabled orva-vpnd.service orva-vpnd.socket | xargs)"
equals "units that have failed" 0 "$(in_root systemctl --failed --no-legend | wc -l)"
equals "the configuration" "640 root orva-vpnd" "$(in_root stat -c '%a %U %G' /etc/orva/vpnd.toml)"
equals "the state" "700 orva-vpnd orva-vpnd" "$(in_root stat -c '%a %U %G' /var/lib/orva-vpnd)"
equals "the runtime folder" "755 orva-vpnd orva-vpnd" "$(in_root stat -c '%a %U %G' /run/orva-vpnd)"
pid=$(property MainPID)
uid=$(in_root id -u orva-vpnd)
equals "the service's user" "$uid" "$(in_root awk '/^Uid:/ { print $2 }' "/proc/$pid/status")"
matches "the status that systemctl shows" 'listening on 127.0.0.1:9009' "$(property StatusText)"
equals "the watchdog" 30s "$(property WatchdogUSec)"
[ "$(property WatchdogTimestampMonotonic)" -gt 0 ] || fail "the watchdog has not been fed"
# Callers are told apart: root changes, somebody else does not.
as_other() { in_root setpriv --reuid=65533 --regid=65533 --clear-groups "$@"; }
in_root orva-panel write 10 string lineoperator >"$work/said" 2>&1 || { cat "$work/said" >&2; fail "root may not change anything"; }
as_other orva-panel write 10 string intruder >"$work/said" 2>&1 && fail "everybody may change something"
grep -q '"10":"lineoperator"' <<<"$(poll)" || fail "the user name is not kept"
# Lines of the journal have priorities, and no time of their own.
in_root journalctl -u orva-vpnd -o cat --no-pager >"$work/journal"
grep -qE '^(<[0-9]>|\[?[0-9]{4}-)' "$work/journal" && { cat "$work/journal" >&2; fail "a line of the journal begins with a mark or a time"; }
in_root journalctl -u orva-vpnd -p warning -o cat --no-pager | grep -q 'orva-vpnd 1' && fail "all lines are warnings"

# --- Start, stop, restart, reload ---
in_root systemctl stop orva-vpnd 2>/dev/null
poll >/dev/null
equals "after stop, and a call" "inactive inactive" \
    "$(in_root systemctl is-active orva-vpnd.service orva-vpnd.socket | xargs)"
in_root systemctl start orva-vpnd
equals "after start" "active active" "$(in_root systemctl is-active orva-vpnd.service orva-vpnd.socket | xargs)"
in_root systemctl stop orva-vpnd 2>/dev/null
in_root systemctl start orva-vpnd.socket
equals "the service before the first call" inactive "$(active orva-vpnd.service)"
grep -q '"10":"lineoperator"' <<<"$(poll)" || fail "the first call does not start the service"
equals "the service after the first call" active "$(active orva-vpnd.service)"
in_root systemctl restart orva-vpnd || fail "restart"
grep -q '"10":"lineoperator"' <<<"$(poll)" || fail "a restart loses the settings"
in_root systemctl reload orva-vpnd || fail "reload"
reloaded() { in_root journalctl -u orva-vpnd -o cat --no-pager | grep -q 'read again'; }
wait_until 20 reloaded || fail "reload does not have the file read again"
in_root sh -c "kill -SEGV $(property MainPID)"
restarted() { runs && [ "$(property NRestarts)" -ge 1 ]; }
wait_until 30 restarted || fail "the service is not started again after a crash"

# As often as it takes: neither unit gives up.
for _ in 1 2 3 4 5 6 7; do in_root systemctl restart orva-vpnd || fail "one of many restarts"; done
equals "after many starts" "active active" "$(in_root systemctl is-active orva-vpnd.service orva-vpnd.socket | xargs)"

# --- A service that hangs is noticed ---
drop_in=/run/systemd/system/orva-vpnd.service.d
in_root sh -c "mkdir -p $drop_in && printf '[Service]\nWatchdogSec=1s\n' >$drop_in/test.conf && systemctl daemon-reload"
in_root systemctl restart orva-vpnd
pid=$(property MainPID)
in_root sh -c "kill -STOP $pid"
another() { runs && [ "$(property MainPID)" != "$pid" ]; }
wait_until 60 another || fail "nobody notices that the service hangs"
in_root sh -c "rm -r $drop_in && systemctl daemon-reload"
in_root systemctl restart orva-vpnd

# --- Wrong options, wrong configuration, another address: it stops at once and says why ---
# wrong WHAT EXPRESSION: the service has been given what it refuses.
wrong() {
    in_root systemctl restart orva-vpnd >/dev/null 2>&1 && fail "$1: the service starts"
    wait_until 20 has_failed || stands_still "$1"
    # Nobody's call brings it back.
    for _ in 1 2 3; do poll >/dev/null; done
    stands_still "$1, after three calls"
    equals "$1: restarts" 0 "$(property NRestarts)"
    in_root systemctl status --no-pager orva-vpnd >"$work/status"
    [ "$(grep -cE "$2" "$work/status")" -ge 1 ] || { cat "$work/status" >&2; fail "$1: systemctl status does not show why"; }
    # A call that comes through the socket unit itself does not loop either.
    starts() { in_root journalctl -u orva-vpnd -o cat --no-pager | grep -c '^Starting '; }
    count=$(starts)
    in_root systemctl start orva-vpnd.socket >/dev/null 2>&1
    for _ in 1 2 3; do poll >/dev/null; done
    wait_until 20 has_failed || stands_still "$1, through the socket"
    [ "$(starts)" -le $((count + 2)) ] || fail "$1: $(($(starts) - count)) starts through the socket"
}
in_root sh -c 'echo ORVA_VPND_OPTIONS="--device-nane line-3" >/etc/default/orva-vpnd'
wrong "a wrong option" 'orva-vpnd: .*--device-nane'
in_root rm /etc/default/orva-vpnd
in_root systemctl restart orva-vpnd || fail "the service does not start again"
in_root sh -c 'cp -p /etc/orva/vpnd.toml /root/good && sed -i "s/^#change = .*/change = [\"hmx\"]/" /etc/orva/vpnd.toml'
line=$(in_root grep -n '^change' /etc/orva/vpnd.toml | cut -d: -f1)
in_root systemctl reload orva-vpnd >/dev/null 2>&1 && fail "reload takes a wrong file"
equals "the service after a wrong reload" active "$(active orva-vpnd.service)"
wrong "a wrong configuration" "/etc/orva/vpnd.toml:$line: \[callers\] change: there is no user 'hmx'"
in_root sh -c 'cp -p /root/good /etc/orva/vpnd.toml && sed -i "s/^#listen = .*/listen = \"127.0.0.1:9010\"/" /etc/orva/vpnd.toml'
wrong "another address than the socket unit's" 'the socket unit listens on 127.0.0.1:9009, the configuration on 127.0.0.1:9010'
in_root systemctl mask --now orva-vpnd.socket >/dev/null 2>&1
in_root systemctl start orva-vpnd || fail "the service does not start without its socket unit"
matches "the address without a socket unit" 'listening on 127.0.0.1:9010' "$(property StatusText)"
in_root systemctl unmask orva-vpnd.socket >/dev/null 2>&1
in_root cp -p /root/good /etc/orva/vpnd.toml
in_root systemctl restart orva-vpnd || fail "the service does not start with the good file again"

# --- Upgrade with a configuration of the administrator's; what is switched off stays off ---
in_root sed -i 's/^#name = "panel"/name = "line-7"/' /etc/orva/vpnd.toml
pid=$(property MainPID)
dpkg_in_root --install /debs/after.deb
[ "$(property MainPID)" != "$pid" ] && runs || fail "an upgrade does not restart the service"
equals "the configuration after an upgrade" "640 root orva-vpnd" "$(in_root stat -c '%a %U %G' /etc/orva/vpnd.toml)"
grep -q '"5":"line-7"' <<<"$(poll)" || fail "an upgrade loses the configuration"
grep -q '"10":"lineoperator"' <<<"$(poll)" || fail "an upgrade loses the settings"
in_root systemctl disable --now orva-vpnd >/dev/null 2>&1
dpkg_in_root --install /debs/orva-vpnd.deb
equals "a service that was switched off, after dpkg" "inactive inactive" \
    "$(in_root systemctl is-active orva-vpnd.service orva-vpnd.socket | xargs)"
in_root systemctl enable --now orva-vpnd >/dev/null 2>&1

# --- Remove keeps configuration, state and user; purge keeps nothing ---
dpkg_in_root --remove orva-vpnd
equals "the service after remove" inactive "$(active orva-vpnd.service)"
equals "the socket after remove" inactive "$(active orva-vpnd.socket)"
equals "who listens after remove" "" "$(in_root cat /proc/net/tcp | grep -i '0100007F:2331 .* 0A ')"
equals "the user after remove" "$uid" "$(in_root id -u orva-vpnd)"
in_root test -e /var/lib/orva-vpnd/vpnd.db || fail "remove takes the state away"
in_root test -e /etc/orva/vpnd.toml || fail "remove takes the configuration away"
dpkg_in_root --install /debs/orva-vpnd.deb
equals "the user after the next installation" "$uid" "$(in_root id -u orva-vpnd)"
grep -q '"10":"lineoperator"' <<<"$(poll)" || fail "the next installation does not have the settings"
in_root sh -c 'echo ORVA_VPND_OPTIONS= >/etc/default/orva-vpnd'
dpkg_in_root --purge orva-vpnd
equals "files after purge" "" \
    "$(in_root find / -xdev -path /proc -prune -o -path /sys -prune -o -path /debs -prune -o -path /var/log -prune \
        -o \( -name '*orva-vpnd*' -o -path '/etc/orva*' \) -print 2>/dev/null | grep -v '^/usr/share/doc/orva-panel')"
equals "user and group after purge" "" "$(in_root getent passwd orva-vpnd)$(in_root getent group orva-vpnd)"
equals "units after purge" "" "$(in_root systemctl list-unit-files --no-legend 'orva*')"

# --- Without the package: the start script, under a user of its own ---
in_root sh -c 'cd /opt && tar -xzf /debs/service.tar.gz && cd orva-vpnd-* &&
    cp orva-vpnd orva-vpnd.sh /usr/local/sbin/ && install -D -m 640 -g daemon vpnd.toml /etc/orva/vpnd.toml'
in_root sh -c 'printf "ORVA_VPND=/usr/local/sbin/orva-vpnd\nORVA_VPND_USER=daemon\n" >/etc/default/orva-vpnd'
by_script() { in_root /usr/local/sbin/orva-vpnd.sh "$1" >"$work/said" 2>&1 || { cat "$work/said" >&2; fail "orva-vpnd.sh $1"; }; }
by_script start
by_script status
grep -q '"code":7' <<<"$(poll)" || fail "the service of the start script does not answer"
pid=$(in_root cat /run/orva-vpnd/service.pid)
equals "the user of the start script's service" "$(in_root id -u daemon)" "$(in_root awk '/^Uid:/ { print $2 }' "/proc/$pid/status")"
equals "the state of the start script's service" "700 daemon" "$(in_root stat -c '%a %U' /var/lib/orva-vpnd)"
by_script stop
in_root test -e "/proc/$pid" && fail "the start script's service is still there"
finish
