#!/usr/bin/env bash
# Builds the product, starts the VPN service and polls it through the driver,
# then sends some commands and writes a channel. Ends everything it started.
#
#   ./demo.sh [--cycles N]     N polling cycles; without it until Ctrl-C
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh

usage() {
    sed -n '2,5s/^# \{0,1\}//p' "$0"
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
        --target devicevpn orva-vpnd orva-panel; } >build/demo-build.log 2>&1; then
    tail -n 40 build/demo-build.log >&2
    printf 'The build failed; the whole log is build/demo-build.log\n' >&2
    exit 1
fi
bin=build/release/bin
driver=build/release/lib/libdevicevpn.so

service_log=$(mktemp)
service=
panel=
interrupted=
end_service() {
    if [ -n "$service" ]; then
        kill -TERM "$service" 2>/dev/null || true
        wait "$service" 2>/dev/null || true
    fi
    rm -f "$service_log"
}
interrupt() {
    interrupted=yes
    [ -z "$panel" ] || kill -TERM "$panel" 2>/dev/null || true
}
trap end_service EXIT
trap interrupt INT TERM

# In a session of its own: Ctrl-C is for the panel; the service ends last.
setsid "$bin/orva-vpnd" --log-level warn >"$service_log" 2>&1 &
service=$!
for ((i = 0; i < 100; i++)); do
    grep -q '^orva-vpnd .* listening' "$service_log" && break
    if ! kill -0 "$service" 2>/dev/null; then
        cat "$service_log" >&2
        printf 'demo.sh: the VPN service did not start\n' >&2
        service=
        exit 1
    fi
    sleep 0.1
done
if ! grep -q '^orva-vpnd .* listening' "$service_log"; then
    printf 'demo.sh: the VPN service is not listening after 10 s\n' >&2
    exit 1
fi
cat "$service_log"

# run ARGUMENT... : shows the call of orva-panel, then makes it. Ctrl-C and a
# non-zero exit code end the demo.
run() {
    local code=0
    [ -z "$interrupted" ] || exit 0
    printf '\n$ %s' "$bin/orva-panel"
    local word
    for word in "$@"; do
        case $word in
            *[!A-Za-z0-9_./:=@,-]*) printf " '%s'" "$word" ;;
            *) printf ' %s' "$word" ;;
        esac
    done
    printf '\n'
    "$bin/orva-panel" "$@" &
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

run poll --driver "$driver" "${cycles[@]}"
run send --driver "$driver" --var r=int:0 --var a=string:10.0.0.1 --var p=int:1194 \
    "STARTVPN(a,p,r)" "SETALIVETIME(15,r)"
run write --driver "$driver" 10 string lineoperator
printf '\nWhat changed on the channels: the server, the heartbeat period and the user name.\n'
run poll --driver "$driver" --cycles 3
