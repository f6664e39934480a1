#!/bin/bash
# Runs the commands that a page of the documentation prints and compares what
# they put out with what the page says; times may differ.
#   run_page.sh PAGE FOLDER_OF_PROGRAMS DRIVER
set -u
page=$(realpath "$1")
work=$(mktemp -d)
ln -s "$(realpath "$3")" "$work/libdevicevpn.so"
ln -s "$(dirname "$page")/../examples" "$work/examples"
unset ORVA_DRIVER
export PATH="$(realpath "$2"):$PATH"
cd "$work"

orva-vpnd --config examples/vpnd-demo.toml --state none --control none --log-level warn --device-name line-3 \
    >service 2>&1 &
service=$!
trap 'kill $service 2>/dev/null; rm -rf "$work"' EXIT

# The examples start with the tunnel connected.
connected() {
    orva-panel poll --driver libdevicevpn.so --cycles 1 --json 2>/dev/null | grep -q '"code":0'
}
for _ in $(seq 100); do
    connected && break
    kill -0 $service 2>/dev/null || { cat service >&2; exit 1; }
    sleep 0.1
done
connected || { echo "the tunnel did not come up" >&2; exit 1; }

sed -n '/^```console$/,/^```$/p' "$page" | grep -v '^```' >said
while IFS= read -r line; do
    printf '%s\n' "$line"
    case $line in
        '$ '*) bash -c "${line#??}" 2>&1 ;;
    esac
done < <(grep '^\$ ' said) >done

without_times() { sed -E 's/^[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} /TIME /; s/[0-9]+\.[0-9]+ ms/N ms/' "$1"; }
commands=$(grep -c '^\$ ' said)
if [ "$commands" -eq 0 ] || ! diff -u <(without_times said) <(without_times done); then
    echo "$page: the $commands commands do not put out what the page says (-) but (+)" >&2
    exit 1
fi
echo "$commands commands put out what the page says"
