#!/bin/bash
# A steady ten-channel cycle makes two peeks, then six sends and six receives,
# and no other system call.
#   system_calls_of_a_cycle.sh ORVA_VPND STEADY_CYCLES DRIVER CONFIGURATION
set -eu
work=$(mktemp -d)
"$1" --config "$4" --state none --control none --log-level warn >"$work/service" 2>&1 &
service=$!
trap 'kill $service; rm -rf "$work"' EXIT
for _ in $(seq 100); do
    grep -q listening "$work/service" && break
    sleep 0.05
done

strace -o "$work/calls" "$2" "$3"
# Between the marks, each call as its name, a receive that only peeks as "peek".
sed -n '/^write(-1, "mark", 4)/,/^write(-1, "mark", 4)/p' "$work/calls" |
    grep -v '^write(-1, "mark", 4)' |
    sed -e 's/^recvfrom(.*MSG_PEEK.*/peek/' -e 's/(.*//' >"$work/seen"
{
    printf 'peek\npeek\n'
    for _ in 1 2 3 4 5 6; do printf 'sendto\nrecvfrom\n'; done
} >"$work/expected"
if ! diff -u "$work/expected" "$work/seen"; then
    echo "the cycle made other system calls than expected (-) above (+)" >&2
    exit 1
fi
echo "two peeks, six sends, six receives"
