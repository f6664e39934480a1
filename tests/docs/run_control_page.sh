#!/bin/bash
# Runs the curl lines that docs/control-api.md prints against a service of its own, in their
# order, and compares status and error code with the line below each; then holds the OpenAPI
# file against the page, the service's answers and its metrics.
#   run_control_page.sh DOCS FOLDER_OF_PROGRAMS
set -u
docs=$(realpath "$1")
programs=$(realpath "$2")
page=$docs/control-api.md
work=$(mktemp -d)
socket=$work/control.sock
cp "$docs/../examples/vpnd-demo.toml" "$work/vpnd.toml"
chmod 600 "$work/vpnd.toml"

"$programs/orva-vpnd" --config "$work/vpnd.toml" --state "$work/state" --listen 127.0.0.1:0 \
    --control "$socket" --log-level warn >"$work/service" 2>&1 &
service=$!
trap 'kill $service 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 100); do
    [ -S "$socket" ] && break
    kill -0 $service 2>/dev/null || { cat "$work/service" >&2; exit 1; }
    sleep 0.1
done

failures=0
commands=0
while IFS= read -r line; do
    case $line in
        'curl '*) command=${line//\/run\/orva-vpnd\/control.sock/$socket} ;;
        '# '*)
            commands=$((commands + 1))
            read -r status code <<<"${line#\# }"
            got=$(eval "$command -sS -o '$work/body' -w '%{http_code}'" 2>"$work/errors")
            ended=$?
            # An endless stream ends with curl's time limit.
            if [ $ended -ne 0 ] && ! { [ $ended -eq 28 ] && [[ $command == *--max-time* ]]; }; then
                echo "curl ended with $ended: $command" >&2
                cat "$work/errors" >&2
                failures=$((failures + 1))
            elif [ "$got" != "$status" ] || { [ -n "$code" ] && ! grep -q "\"code\":\"$code\"" "$work/body"; }; then
                echo "not $status $code but $got: $command" >&2
                cat "$work/body" >&2
                failures=$((failures + 1))
            fi
            ;;
    esac
done < <(sed -n '/^```sh$/,/^```$/p' "$page" | grep -v '^```')
if [ $commands -lt 25 ] || [ $commands -ne "$(grep -c '^curl ' "$page")" ]; then
    echo "$page: of its curl lines $commands have a result" >&2
    exit 1
fi
[ $failures -eq 0 ] || exit 1
echo "$commands curl lines do what the page says"
/usr/bin/python3 "$(dirname "$0")/control_openapi.py" "$docs/control-api.yaml" "$page" "$socket"
