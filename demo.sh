#!/usr/bin/env bash
# Builds the product, starts the VPN service and polls it through the driver,
# then sends some commands, writes a channel, and starts the service anew, which
# has forgotten nothing. Ends everything it started.
#
#   ./demo.sh [--cycles N]     N polling cycles; without it until Ctrl-C
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh

usage() {
    sed -n '2,6s/^# \{0,1\}//p' "$0"
}

cycles=()
while [ $# -gt 0 ]; do
    case $1 in
        --cycles)
            if ! [[ ${2-} =~ ^[1-9][0-9]{0,8}$ ]]; then
                printf "demo.sh: --cycles takes a whole number from 1, not '%s'\n" "${2-}" >&2
                exit 2
            fi
            cycles=(--cycles "$2")
            shift 2
            ;;
        -h | --help) usage; exit 0 ;;
        *)
            printf "demo.sh: unknown option '%s'\n" "$1" >&2
            usage >&2
            exit 2
            ;;
    esac
done

require_packages "${BUILD_PACKAGES[@]}"

printf 'building ...\n'
mkdir -p build
if ! { cmake --preset release -DBUILD_TESTING=OFF && cmake --build --preset release \
        --target devicevpn orva-vpnd orva-vpnctl orva-panel; } >build/demo-build.log 2>&1; then
    tail -n 40 build/demo-build.log >&2
    printf 'The build failed; the whole log is build/demo-build.log\n' >&2
    exit 1
fi
bin=build/release/bin
driver=build/release/lib/libdevicevpn.so

# The service's configuration, state and log; nobody else reads the password in them.
work=$(mktemp -d)
install -m 600 examples/vpnd-demo.toml "$work/vpnd.toml"
printf '\n[callers]\nchange = [%s]\n\n[secrets]\nshow-to = [%s]\n' "$(id -u)" "$(id -u)" >>"$work/vpnd.toml"
service=
panel=
interrupted=
end_service() {
    if [ -n "$service" ]; then
        kill -TERM "$service" 2>/dev/null || true
        wait "$service" 2>/dev/null || true
    fi
    service=
}
clean_up() {
    end_service
    rm -rf "$work"
}
interrupt() {
    interrupted=yes
    [ -z "$panel" ] || kill -TERM "$panel" 2>/dev/null || true
}
trap clean_up EXIT
trap interrupt INT TERM

start_service() {
    local log=$work/service.log
    # In a session of its own: Ctrl-C is for the panel; the service ends last.
    setsid "$bin/orva-vpnd" --config "$work/vpnd.toml" --state "$work/state" \
        --control "$work/control.sock" --log-level warn >"$log" 2>&1 &
    service=$!
    for ((i = 0; i < 100; i++)); do
        grep -q '^orva-vpnd .* listening' "$log" && break
        if ! kill -0 "$service" 2>/dev/null; then
            cat "$log" >&2
            printf 'demo.sh: the VPN service did not start\n' >&2
            service=
            exit 1
        fi
        sleep 0.1
    done
    if ! grep -q '^orva-vpnd .* listening' "$log"; then
        printf 'demo.sh: the VPN service is not listening after 10 s\n' >&2
        exit 1
    fi
    cat "$log"
}

# run PROGRAM ARGUMENT... : shows the call, then makes it. Ctrl-C and a non-zero exit
# code end the demo.
run() {
    local code=0
    [ -z "$interrupted" ] || exit 0
    printf '\n$ %s' "$bin/$1"
    local word
    for word in "${@:2}"; do
        case $word in
            *[!A-Za-z0-9_./:=@,-]*) printf " '%s'" "$word" ;;
            *) printf ' %s' "$word" ;;
        esac
    done
    printf '\n'
    "$bin/$1" "${@:2}" &
    panel=$!
    # A signal ends the first wait; the second one waits for the end that it has asked for.
    wait "$panel" || code=$?
    if [ -n "$interrupted" ]; then
        wait "$panel" || true
        exit 0
    fi
    panel=
    [ "$code" -eq 0 ] || exit "$code"
}

start_service
run orva-panel poll --driver "$driver" "${cycles[@]}"
run orva-panel send --driver "$driver" --var r=int:0 --var a=string:10.0.0.1 --var p=int:1194 \
    "STARTVPN(a,p,r)" "SETALIVETIME(15,r)"
run orva-panel write --driver "$driver" 10 string lineoperator
printf '\nThe service ends and starts anew. It still has what has changed on the channels:\n'
printf 'the server, the heartbeat period and the user name.\n'
end_service
start_service
run orva-panel poll --driver "$driver" --cycles 3
printf '\nThe same for administrators: what is, whether all is well, and what was.\n'
run orva-vpnctl --control "$work/control.sock" status
run orva-vpnctl --control "$work/control.sock" doctor
run orva-vpnctl --control "$work/control.sock" history
printf '\nWhat it keeps, also when it does not run:\n'
end_service
run orva-vpnd --state "$work/state" --show settings
run orva-vpnd --state "$work/state" --show history
