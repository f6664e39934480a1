#!/bin/sh
# orva-vpnd.sh start|stop|restart|reload|status: runs the VPN service on a panel without
# systemd, and starts it again when it ends. Plain POSIX shell, also busybox's. How to use it:
# without-systemd.md.
#
# /etc/default/orva-vpnd may set what stands here:
ORVA_VPND=/usr/sbin/orva-vpnd
ORVA_VPND_OPTIONS=
ORVA_VPND_USER=orva-vpnd
ORVA_VPND_STATE=/var/lib/orva-vpnd
ORVA_VPND_RUN=/run/orva-vpnd
# Before it is started again: 1 s, 2 s, 4 s and so on up to this; from the beginning when it
# has run for a minute.
ORVA_VPND_LONGEST_PAUSE_S=60
# Of the log in the run folder; one as long as this is kept beside it.
ORVA_VPND_LOG_BYTES=262144

settings=${ORVA_VPND_DEFAULTS-/etc/default/orva-vpnd}
if [ -r "$settings" ]; then . "$settings"; fi
export ORVA_VPND ORVA_VPND_OPTIONS ORVA_VPND_USER ORVA_VPND_STATE ORVA_VPND_RUN
export ORVA_VPND_LONGEST_PAUSE_S ORVA_VPND_LOG_BYTES
pid_file=$ORVA_VPND_RUN/supervisor.pid
log=$ORVA_VPND_RUN/log

case $0 in
    /*) script=$0 ;;
    *) script=$PWD/$0 ;;
esac

say() { echo "orva-vpnd.sh: $*"; }

# The supervisor's process number, if that is what runs under it.
supervisor() {
    pid=
    read -r pid 2>/dev/null <"$pid_file" || return 1
    case $pid in '' | *[!0-9]*) return 1 ;; esac
    tr '\0' ' ' 2>/dev/null <"/proc/$pid/cmdline" | grep -q 'orva-vpnd\.sh supervise' && echo "$pid"
}

# wait_for SECONDS COMMAND...
wait_for() {
    left=$(($1 * 10))
    shift
    until "$@"; do
        left=$((left - 1))
        [ $left -gt 0 ] || return 1
        sleep 0.1 2>/dev/null || { sleep 1; left=$((left - 9)); }
    done
}
has_ended() { [ -z "$(supervisor)" ]; }
listens_or_has_ended() { grep -q ' listening on ' "$log" 2>/dev/null || has_ended; }

start() {
    if [ -n "$(supervisor)" ]; then
        say "already running"
        return 0
    fi
    mkdir -p "$ORVA_VPND_RUN" "$ORVA_VPND_STATE" || return 1
    chmod 755 "$ORVA_VPND_RUN" && chmod 700 "$ORVA_VPND_STATE" || return 1
    rm -f "$pid_file" "$log" "$log.1" "$ORVA_VPND_RUN/log.pipe"
    if [ "$(id -u)" -eq 0 ] && [ -n "$ORVA_VPND_USER" ] && [ "$ORVA_VPND_USER" != root ]; then
        chown -R "$ORVA_VPND_USER" "$ORVA_VPND_RUN" "$ORVA_VPND_STATE" || return 1
        su -s /bin/sh "$ORVA_VPND_USER" -c "exec /bin/sh '$script' supervise" </dev/null >/dev/null 2>&1 &
    else
        /bin/sh "$script" supervise </dev/null >/dev/null 2>&1 &
    fi
    wait_for 10 test -s "$pid_file"
    if ! wait_for 30 listens_or_has_ended; then
        say "does not listen after 30 s; $log tells more"
        return 1
    fi
    if has_ended; then
        say "cannot start:"
        cat "$log" 2>/dev/null
        return 1
    fi
    say "started"
}

stop() {
    pid=$(supervisor)
    if [ -z "$pid" ]; then
        say "not running"
        return 0
    fi
    kill -TERM "$pid"
    # The service has 20 s for what is under way; the supervisor ends it then.
    if ! wait_for 30 has_ended; then
        kill -KILL "$pid"
        say "did not end and was killed"
        return 1
    fi
    say "stopped"
}

status() {
    pid=$(supervisor)
    if [ -z "$pid" ]; then
        say "not running"
        tail -n 3 "$log" 2>/dev/null
        [ ! -e "$pid_file" ] || return 1
        return 3
    fi
    if service=$(cat "$ORVA_VPND_RUN/service.pid" 2>/dev/null) && [ -n "$service" ]; then
        say "running, process $service"
        return 0
    fi
    say "has ended and is started again"
    tail -n 3 "$log" 2>/dev/null
    return 4
}

# Reads the service's output, and keeps no more of it than the folder has room for.
keep_log() {
    bytes=0
    while IFS= read -r line; do
        bytes=$((bytes + ${#line} + 1))
        if [ $bytes -gt "$ORVA_VPND_LOG_BYTES" ]; then
            mv -f "$log" "$log.1" 2>/dev/null
            bytes=${#line}
        fi
        printf '%s\n' "$line" >>"$log"
    done
}

end_service() {
    is_ending=yes
    [ -z "$child" ] || kill -TERM "$child" 2>/dev/null
    [ -z "$sleeping" ] || kill "$sleeping" 2>/dev/null
}

supervise() {
    umask 077
    child= sleeping= is_ending=
    trap end_service TERM INT
    trap '[ -z "$child" ] || kill -HUP "$child" 2>/dev/null' HUP
    pipe=$ORVA_VPND_RUN/log.pipe
    mkfifo "$pipe" || exit 1
    : >>"$log"
    chmod 644 "$log"
    (trap '' TERM INT HUP && keep_log <"$pipe") &
    # Open as long as this runs: the reader ends when the last writer has ended.
    exec 3>"$pipe"
    rm -f "$pipe"
    echo $$ >"$pid_file"
    chmod 644 "$pid_file"
    pause=1
    while [ -z "$is_ending" ]; do
        began=$(date +%s)
        # shellcheck disable=SC2086 # several options
        STATE_DIRECTORY=$ORVA_VPND_STATE "$ORVA_VPND" $ORVA_VPND_OPTIONS >&3 2>&3 3>&- &
        child=$!
        echo $child >"$ORVA_VPND_RUN/service.pid"
        chmod 644 "$ORVA_VPND_RUN/service.pid"
        [ -z "$is_ending" ] || kill -TERM "$child" 2>/dev/null
        # A signal ends a wait, not the service.
        while :; do
            wait "$child"
            code=$?
            [ -n "$is_ending" ] && break
            kill -0 "$child" 2>/dev/null || break
        done
        if [ -n "$is_ending" ]; then
            (sleep 20 && kill -KILL "$child") 3>&- 2>/dev/null &
            sleeping=$!
            while kill -0 "$child" 2>/dev/null; do wait "$child"; done
            kill "$sleeping" 2>/dev/null
        fi
        child=
        : >"$ORVA_VPND_RUN/service.pid"
        # Wrong options or a wrong configuration: another start would change nothing.
        [ $code -ne 2 ] || break
        [ -z "$is_ending" ] || break
        [ $(($(date +%s) - began)) -lt 60 ] || pause=1
        echo "orva-vpnd.sh: the service has ended with code $code, next start in $pause s" >&3
        sleep $pause 3>&- &
        sleeping=$!
        wait $sleeping
        sleeping=
        pause=$((pause * 2))
        [ $pause -le "$ORVA_VPND_LONGEST_PAUSE_S" ] || pause=$ORVA_VPND_LONGEST_PAUSE_S
    done
    [ -z "$is_ending" ] || rm -f "$pid_file"
    rm -f "$ORVA_VPND_RUN/service.pid"
}

case ${1-} in
    start) start ;;
    stop) stop ;;
    restart) stop && start ;;
    reload)
        pid=$(supervisor)
        [ -n "$pid" ] || { say "not running"; exit 1; }
        # shellcheck disable=SC2086 # several options
        "$ORVA_VPND" $ORVA_VPND_OPTIONS --check-config >/dev/null && kill -HUP "$pid" && say "reads its configuration again"
        ;;
    status) status ;;
    supervise) supervise ;;
    *)
        echo "usage: $0 start|stop|restart|reload|status" >&2
        exit 2
        ;;
esac
