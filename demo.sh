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
interrupted=
end_service() {
    if [ -n "$service" ]; then
        kill -TERM "$service" 2>/dev/null || true
        wait "$service" 2>/dev/null || true
    fi
    rm -f "$service_log"
}
trap end_service EXIT
trap 'interrupted=yes' INT TERM

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
cat "$service_log"

# run COMMAND... : shows the command, then runs it. Ctrl-C and a non-zero code end the demo.
run() {
    [ -z "$interrupted" ] || exit 0
    printf '\n$ %s\n' "$*"
    "$@" || { [ -n "$interrupted" ] || exit $?; }
    [ -z "$interrupted" ] || exit 0
}

run "$bin/orva-panel" poll --driver "$driver" "${cycles[@]}"
run "$bin/orva-panel" send --driver "$driver" --var r=int:0 --var a=string:10.0.0.1 \
    --var p=int:1194 "STARTVPN(a,p,r)" "SETALIVETIME(15,r)" "GetVPNPasswd(a,r)"
run "$bin/orva-panel" write --driver "$driver" 10 string lineoperator
printf '\nWhat changed on the channels: the server, the heartbeat period and the user name.\n'
run "$bin/orva-panel" poll --driver "$driver" --cycles 3
