#!/bin/bash
# armv7-root.sh DIR: makes DIR the root folder that ARM programs see under qemu-arm -L:
# Debian's armhf C and C++ libraries with the character-set modules of iconv, which the
# cross compiler's packages lack. Does nothing when DIR is complete.
#
# The machine's own apt keeps its lists and architectures: a private state serves here.
set -euo pipefail

packages=(libc6 libgcc-s1 libstdc++6)
needed=(lib/ld-linux-armhf.so.3 lib/arm-linux-gnueabihf/libc.so.6
    usr/lib/arm-linux-gnueabihf/libstdc++.so.6
    usr/lib/arm-linux-gnueabihf/gconv/GB18030.so usr/lib/arm-linux-gnueabihf/gconv/UTF-16.so)

[ $# -eq 1 ] || { echo "usage: $0 DIR" >&2; exit 2; }
root=$(realpath -m "$1")

complete() {
    local file
    for file in "${needed[@]}"; do
        [ -e "$1/$file" ] || { echo "$file"; return 1; }
    done
}

if complete "$root" >/dev/null; then exit 0; fi
for tool in apt-get dpkg-deb flock; do
    command -v "$tool" >/dev/null || { echo "armv7-root.sh: needs $tool (a Debian machine)" >&2; exit 2; }
done

mkdir -p "$(dirname "$root")"
exec 9>"$root.lock"
flock -w 300 9 || { echo "armv7-root.sh: another one has been making $root for 300 s" >&2; exit 2; }
if complete "$root" >/dev/null; then exit 0; fi

work=$(mktemp -d "$root.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/state/lists/partial "$work"/cache/archives/partial "$work"/debs "$work"/root
: >"$work/state/status"
private_apt() {
    apt-get -q -o Dir::State="$work/state" -o Dir::State::status="$work/state/status" \
        -o Dir::Cache="$work/cache" -o APT::Architecture=armhf -o APT::Architectures::=armhf \
        -o APT::Sandbox::User="$(id -un)" -o Acquire::http::Timeout=60 -o Acquire::Retries=3 "$@"
}

echo "fetching Debian's armhf ${packages[*]} for the emulator ..."
# Sources without armhf may fail; what counts is whether the packages are found.
private_apt update >"$work/log" 2>&1 || true
if ! (cd "$work/debs" && private_apt download "${packages[@]}") >>"$work/log" 2>&1; then
    tail -n 20 "$work/log" >&2
    echo "armv7-root.sh: apt-get could not fetch the armhf packages ${packages[*]}" >&2
    exit 2
fi
for deb in "$work"/debs/*.deb; do dpkg-deb -x "$deb" "$work/root"; done

# The emulator prefers whatever stands in this root: libraries only, so that
# everything else, /etc before all, is the machine's.
find "$work/root" "$work/root/usr" -mindepth 1 -maxdepth 1 ! -name lib ! -name usr -exec rm -rf {} +
# An empty cache: the machine's own lists libraries of another processor.
mkdir "$work/root/etc" && : >"$work/root/etc/ld.so.cache"

missing=$(complete "$work/root") || {
    echo "armv7-root.sh: the armhf packages do not contain $missing" >&2
    exit 2
}
rm -rf "$root"
mv "$work/root" "$root"
