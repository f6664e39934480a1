#!/bin/bash
# start_script.sh PACKAGES VERSION ARCHITECTURE: the tar with the service for panels without dpkg
# and systemd, and its start script, in dash's and busybox's shell.
set -u
. "$(dirname "$(realpath "$0")")/checks.sh"
packages=$(realpath "$1") name=orva-vpnd-$2-$3
work=$(mktemp -d)
shell=
end() {
    for shell in dash busybox; do run stop >/dev/null 2>&1; done
    rm -rf "$work"
}
trap end EXIT

listed=$(tar --list --verbose --numeric-owner --file "$packages/$name.tar.gz" | awk '{ print $1, $2, $6 }')
equals "the list of files" "drwxr-xr-x 0/0 $name/
-rw-r--r-- 0/0 $name/README.md
-rw-r--r-- 0/0 $name/SHA256SUMS
-rwxr-xr-x 0/0 $name/orva-vpnctl
-rwxr-xr-x 0/0 $name/orva-vpnd
-rwxr-xr-x 0/0 $name/orva-vpnd.sh
-rw-r--r-- 0/0 $name/vpnd.toml" "$listed"
tar --extract --file "$packages/$name.tar.gz" --directory "$work" || fail "tar cannot unpack it"
here=$work/$name
(cd "$here" && sha256sum --check --quiet SHA256SUMS) || fail "the sums do not fit"
dpkg-deb -x "$packages/orva-vpnd_$2_$3.deb" "$work/root"
cmp "$here/orva-vpnd" "$work/root/usr/sbin/orva-vpnd" || fail "another service than in the .deb"

# A shell in the place of /bin/sh: the script starts itself once more.
for shell in dash busybox; do
    sed "s,/bin/sh '\$script',$shell-sh '\$script',; s,/bin/sh \"\$script\",$shell-sh \"\$script\"," \
        "$here/orva-vpnd.sh" >"$here/$shell-orva-vpnd.sh"
    grep -q "$shell-sh \"\$script\"" "$here/$shell-orva-vpnd.sh" || fail "the script starts itself in another way"
done
mkdir "$work/bin"
printf '#!/bin/sh\nexec dash "$@"\n' >"$work/bin/dash-sh"
printf '#!/bin/sh\nexec busybox sh "$@"\n' >"$work/bin/busybox-sh"
chmod +x "$work"/bin/*
PATH=$work/bin:$PATH
mv "$here/dash-orva-vpnd.sh" "$work/bin/dash.orva-vpnd.sh"
mv "$here/busybox-orva-vpnd.sh" "$work/bin/busybox.orva-vpnd.sh"

cat >"$work/defaults" <<DEFAULTS
ORVA_VPND=$here/orva-vpnd
ORVA_VPND_OPTIONS="--config $work/vpnd.toml --listen 127.0.0.1:9009"
ORVA_VPND_USER=
ORVA_VPND_STATE=$work/state
ORVA_VPND_RUN=$work/run
ORVA_VPND_LONGEST_PAUSE_S=2
ORVA_VPND_LOG_BYTES=4096
DEFAULTS
install -m 600 "$here/vpnd.toml" "$work/vpnd.toml"
run() { ORVA_VPND_DEFAULTS=$work/defaults "$shell-sh" "$work/bin/$shell.orva-vpnd.sh" "$@" >"$work/said" 2>&1; }
# runs CODE WORD...: the script ends with this code.
runs() {
    local code=$1
    shift
    run "$@"
    local is=$?
    [ $is -eq "$code" ] || { cat "$work/said" >&2; fail "$shell: $* ends with $is, not $code"; }
}
service() { cat "$work/run/service.pid" 2>/dev/null; }
listens() { (exec 3<>/dev/tcp/127.0.0.1/9009) 2>/dev/null; }
another() { [ -n "$(service)" ] && [ "$(service)" != "$1" ] && listens; }

for shell in dash busybox; do
    runs 3 status
    runs 0 stop
    runs 0 start
    first=$(service)
    [ -n "$first" ] && kill -0 "$first" || fail "$shell: no service"
    listens || fail "$shell: start comes back before the service listens"
    runs 0 status
    grep -q "running, process $first" "$work/said" || fail "$shell: status does not name the process"
    runs 0 start
    equals "$shell: the service after a second start" "$first" "$(service)"
    [ -f "$work/state/vpnd.db" ] || fail "$shell: the state folder is not used"

    # It comes back, however it ends, each time later, and no later than is set.
    for signal in KILL SEGV TERM; do
        first=$(service)
        kill -$signal "$first"
        wait_until 30 another "$first" || fail "$shell: not started again after SIG$signal"
    done
    equals "$shell: the pauses" "1 2 2" "$(sed -n 's/.*next start in \([0-9]*\) s$/\1/p' "$work/run/log" | xargs)"

    first=$(service)
    runs 0 reload
    read_again() { grep -q 'read again' "$work/run/log"; }
    wait_until 20 read_again || fail "$shell: reload does not reach the service"
    echo 'tunel = "x"' >>"$work/vpnd.toml"
    runs 2 reload
    grep -q 'vpnd.toml:[0-9]*:.*tunel' "$work/said" || fail "$shell: reload does not show what is wrong"
    equals "$shell: the service after reload" "$first" "$(service)"

    # A wrong file: it stops at once, and says why.
    runs 1 restart
    grep -q 'vpnd.toml:[0-9]*:.*tunel' "$work/said" || { cat "$work/said" >&2; fail "$shell: start does not show what is wrong"; }
    runs 1 status
    grep -q 'vpnd.toml:[0-9]*:.*tunel' "$work/said" || fail "$shell: status does not show what is wrong"
    listens && fail "$shell: somebody listens"
    install -m 600 "$here/vpnd.toml" "$work/vpnd.toml"
    runs 0 restart
    first=$(service)

    runs 0 stop
    kill -0 "$first" 2>/dev/null && fail "$shell: the service is still there after stop"
    listens && fail "$shell: somebody listens after stop"
    runs 3 status
    # A number in an old file may be anybody's by now.
    echo $$ >"$work/run/supervisor.pid"
    runs 1 status
    runs 0 stop
    rm "$work/run/supervisor.pid"
    runs 2 begin
    grep -q '^usage: ' "$work/said" || fail "$shell: no usage"
done
# The log keeps its bounds, whatever the service writes, and its end.
cat >"$work/bin/talker" <<'TALKER'
#!/bin/sh
i=0
while [ $i -lt 2000 ]; do echo "line $i of many"; i=$((i + 1)); done
echo "talker listening on nothing"
exec sleep 1000
TALKER
chmod +x "$work/bin/talker"
echo "ORVA_VPND=$work/bin/talker" >>"$work/defaults"
for shell in dash busybox; do
    runs 0 start
    bytes=$(cat "$work/run/log" "$work/run/log.1" | wc -c)
    [ "$bytes" -le 8300 ] && [ "$bytes" -ge 4096 ] || fail "$shell: the log has $bytes bytes"
    equals "$shell: the log's end" "talker listening on nothing" "$(tail -n 1 "$work/run/log")"
    runs 0 stop
done
dash -n "$here/orva-vpnd.sh" || fail "no POSIX shell script"
finish
