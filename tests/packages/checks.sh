# Sourced by the tests of the packages.
failures=0

# fail TEXT...: remembers a failure and goes on.
fail() {
    printf 'FAILED: %s\n' "$*" >&2
    failures=$((failures + 1))
}

# equals WHAT EXPECTED ACTUAL
equals() {
    [ "$2" = "$3" ] || fail "$1 is '$3', not '$2'"
}

# matches WHAT EXTENDED-EXPRESSION TEXT
matches() {
    [[ $3 =~ $2 ]] || fail "$1 is '$3', which does not match $2"
}

# finish: the exit of a test.
finish() {
    [ "$failures" -eq 0 ] || { printf '%s failure(s)\n' "$failures" >&2; exit 1; }
    exit 0
}

# wait_until SECONDS COMMAND...: tries the command until it succeeds.
wait_until() {
    local end=$((SECONDS + $1))
    shift
    until "$@"; do
        [ $SECONDS -lt $end ] || return 1
        sleep 0.1
    done
}

# unpack PACKAGES ROOT: all packages of the folder.
unpack() {
    local package
    for package in "$1"/*.deb; do dpkg-deb -x "$package" "$2"; done
}
