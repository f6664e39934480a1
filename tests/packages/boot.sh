# Sourced by the tests that boot a small Debian, after checks.sh.
work=$(mktemp -d)
container= leader=
end() {
    if [ -n "$container" ]; then
        [ -z "$leader" ] || kill -KILL "$leader" 2>/dev/null
        kill -KILL "$container" 2>/dev/null
        wait "$container" 2>/dev/null
    fi
    rm -rf "$work"
}
trap end EXIT

# boot ROOT: with $work/debs as /debs. Ends the test with 77, after one line with the reason,
# where nothing can be booted.
boot() {
    bash "$here/root_to_boot.sh" "$1" || exit $?
    systemd-nspawn --directory="$1/system" --boot --volatile=overlay --register=no --keep-unit \
        --private-network --machine="orva-test-$$" --bind-ro="$work/debs:/debs" \
        >"$work/boot" 2>&1 </dev/null &
    container=$!
    if ! wait_until 60 is_up; then
        tail -n 5 "$work/boot" >&2
        echo "SKIPPED: systemd-nspawn cannot boot here: $(grep -v '^ *$' "$work/boot" | tail -n 1)"
        exit 77
    fi
}
in_root() {
    nsenter -t "$leader" -a -r -w /usr/bin/env -i LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
        PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@"
}
is_up() {
    leader=$(cat "/proc/$container/task/$container/children" 2>/dev/null)
    leader=${leader%% *}
    [ -n "$leader" ] && [[ $(in_root systemctl is-system-running 2>/dev/null) =~ ^(running|degraded)$ ]]
}
