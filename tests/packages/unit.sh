#!/bin/bash
# unit.sh PACKAGES: the service's systemd unit, as systemd reads it, and whether the service
# keeps within what the unit allows.
set -u
. "$(dirname "$(realpath "$0")")/checks.sh"
work=$(mktemp -d)
service=
trap '[ -z "$service" ] || kill -KILL "$service" 2>/dev/null; rm -rf "$work"' EXIT
unpack "$1" "$work/root"
unit=$work/root/usr/lib/systemd/system/orva-vpnd.service
drop_in=$work/root/usr/share/doc/orva-vpnd/examples/tunnel.conf

# Everything that the unit promises; a line that is lost is a door that opens.
while read -r line; do
    grep -qxF "$line" "$unit" || fail "the unit lacks $line"
done <<'LINES'
Type=notify
WatchdogSec=30s
RestartPreventExitStatus=2
OnFailure=orva-vpnd-failed.target
User=orva-vpnd
PrivateUsers=no
CapabilityBoundingSet=
AmbientCapabilities=
NoNewPrivileges=yes
ProtectSystem=strict
ProtectHome=yes
PrivateTmp=yes
PrivateDevices=yes
RestrictAddressFamilies=AF_INET AF_INET6 AF_UNIX AF_NETLINK
MemoryDenyWriteExecute=yes
SystemCallFilter=@system-service
StateDirectory=orva-vpnd
StateDirectoryMode=0700
RuntimeDirectory=orva-vpnd
RuntimeDirectoryMode=0755
Restart=on-failure
LimitNOFILE=1184
LINES
grep -qE '^(DynamicUser|IPAddressAllow=any)' "$unit" && fail "the unit has what it must not have"

# systemd looks for the program in the running system: here it is in the root.
mkdir -p "$work/alone" "$work/tunnel/orva-vpnd.service.d"
sed "s,^ExecStart=,&$work/root,; s,'/usr/sbin/orva-vpnd,'$work/root/usr/sbin/orva-vpnd," "$unit" |
    tee "$work/alone/orva-vpnd.service" >"$work/tunnel/orva-vpnd.service"
for folder in alone tunnel; do cp "$(dirname "$unit")"/orva-vpnd{.socket,-failed.target} "$work/$folder/"; done
cp "$drop_in" "$work/tunnel/orva-vpnd.service.d/"
for folder in alone tunnel; do
    said=$(SYSTEMD_UNIT_PATH="$work/$folder:" systemd-analyze verify --man=no orva-vpnd.service orva-vpnd.socket \
        orva-vpnd-failed.target 2>&1) ||
        fail "systemd-analyze verify refuses the unit ($folder)"
    equals "what systemd-analyze verify says ($folder)" "" "$said"
done
# 0 is closed, 10 open; the unit has 1.3, and not quite 3.0 when it is opened for a real tunnel.
exposed() {
    SYSTEMD_UNIT_PATH="$work/$1:" systemd-analyze security --offline=true --no-pager --threshold="$2" orva-vpnd.service \
        >"$work/security" 2>&1 || { tail -n 1 "$work/security" >&2; fail "the unit is too open ($1)"; }
}
exposed alone 15
exposed tunnel 30

# The service meets no closed door: its system calls, from start to end, are in the list
# that the unit allows, and no memory is both writable and executable.
strace -f -o "$work/trace" "$work/root/usr/sbin/orva-vpnd" --config "$work/root/etc/orva/vpnd.toml" \
    --state "$work/state" --log-level info >"$work/service" 2>&1 &
tracer=$!
wait_until 20 grep -q listening "$work/service" || fail "the service does not start under strace"
service=$(sed -n '1s/^\([0-9]*\) .*/\1/p' "$work/trace")
exec 3<>/dev/tcp/127.0.0.1/9009 && printf 'no frame, but a connection' >&3 || fail "no connection to the service"
exec 3<&-
# Judging a certificate takes libcrypto, which is not used before.
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 -config /dev/stdin \
    -keyout "$work/key.pem" -out "$work/ca.pem" 2>"$work/openssl" <<'CONFIG' || { cat "$work/openssl" >&2; fail "no certificate"; }
[req]
distinguished_name = name
x509_extensions = extensions
prompt = no
[name]
commonName = Example CA
[extensions]
basicConstraints = critical, CA:TRUE
CONFIG
"$work/root/usr/bin/orva-panel" send --driver "$work/root/usr/lib/orva/drivers/libdevicevpn.so" --var r=int:-1 \
    --var ca="string:@$work/ca.pem" "SETVPNCA(ca,r)" >"$work/send" 2>&1 || { cat "$work/send" >&2; fail "the certificate is refused"; }
# strace puts the process ids into a column: behind a short one stand several blanks.
wait_until 20 grep -q '^[0-9]*  *accept.* = [0-9]' "$work/trace" || fail "the service accepts nothing"
kill -TERM "$service"
wait "$tracer"
equals "the service's exit code under strace" 0 $?
service=

# From the first line on a signal waits for the loop: the log's thread comes later.
[ "$(grep -n -m 1 'rt_sigprocmask(SIG_BLOCK, \[HUP INT TERM\]' "$work/trace" | cut -d: -f1)" -lt \
    "$(grep -n -m 1 ' clone3\?(' "$work/trace" | cut -d: -f1)" ] || fail "a signal at the start can end the service"

# A list names other lists, with an "@".
calls_of() {
    local entry
    systemd-analyze --no-pager syscall-filter "$1" </dev/null | sed -n 's/^ \{4\}\([-@a-z0-9_]*\)$/\1/p' | while read -r entry; do
        case $entry in @*) calls_of "$entry" ;; *) echo "$entry" ;; esac
    done
}
{ calls_of @privileged; calls_of @resources; } | sort -u >"$work/refused"
# The very first one is systemd's own.
{ calls_of @system-service; calls_of @default; echo execve; } | sort -u | comm -23 - "$work/refused" >"$work/allowed"
sed -n 's/^[0-9]* *\([a-z0-9_]*\)(.*/\1/p' "$work/trace" | sort -u >"$work/used"
# fchown: SQLite's, which asks first whether it runs as root; in the unit it does not.
equals "what the service calls beyond its list" "" "$(grep -vx fchown "$work/used" | comm -23 - "$work/allowed" | xargs)"
[ "$(wc -l <"$work/used")" -gt 15 ] || fail "strace shows hardly any call"
grep -E 'PROT_WRITE\|PROT_EXEC' "$work/trace" && fail "memory is writable and executable"
finish
