#!/bin/bash
# The service makes no more than 18 system calls in a cycle of six calls: a wait, a receive
# and a send for each, however fast driver and service are.
#   system_calls_of_the_service.sh ORVA_VPND STEADY_CYCLES DRIVER CONFIGURATION
set -eu
work=$(mktemp -d)
# The log's thread is not traced: no line is written meanwhile.
strace -o "$work/calls" sh -c 'echo $$ >"$0" && exec "$@"' "$work/pid" \
    "$1" --config "$4" --state none --control none --log-level warn >"$work/service" 2>&1 &
tracer=$!
# A tracer itself takes no such signal.
end() { [ ! -s "$work/pid" ] || kill "$(cat "$work/pid")" 2>/dev/null || true; }
trap 'end; rm -rf "$work"' EXIT
for _ in $(seq 200); do
    grep -q listening "$work/service" && break
    sleep 0.05
done
"$2" "$3"
end
wait $tracer

# From the first request's arrival to the last reply.
sed -n '/^recvfrom(/,$p' "$work/calls" | sed -e 's/(.*//' >"$work/seen"
calls=$(grep -c '^sendto$' "$work/seen")
last=$(grep -n '^sendto$' "$work/seen" | tail -n 1 | cut -d: -f1)
if [ "$calls" -lt 24 ]; then
    echo "$calls replies, where four cycles make 24" >&2
    exit 1
fi
# The first wait is before the first line.
if [ $((last + 1)) -gt $((calls * 3)) ]; then
    echo "$((last + 1)) system calls for $calls calls, more than three for each:" >&2
    head -n "$last" "$work/seen" | sort | uniq -c >&2
    exit 1
fi
echo "$((last + 1)) system calls for $calls calls"
