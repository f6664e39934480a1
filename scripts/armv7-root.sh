#!/bin/bash
# armv7-root.sh DIR: fills DIR with what the cross compiler's packages lack of Debian's
# armhf libraries. Does nothing when DIR is complete.
#   - It is the root folder that ARM programs see under qemu-arm -L: the C and C++
#     libraries with the character-set modules of iconv, libcrypto and libsqlite3.
#   - The service is linked with those two; DIR/headers has their headers.
#
# The machine's own apt keeps its lists and architectures: a private state serves here.
set -euo pipefail

packages=(libc6 libgcc-s1 libstdc++6 libssl-dev libsqlite3-dev)
needed=(lib/ld-linux-armhf.so.3 lib/arm-linux-gnueabihf/libc.so.6
    usr/lib/arm-linux-gnueabihf/libstdc++.so.6 usr/lib/arm-linux-gnueabihf/libcrypto.so
    usr/lib/arm-linux-gnueabihf/libsqlite3.so
    headers/openssl/x509.h headers/openssl/configuration.h headers/sqlite3.h
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
mkdir -p "$work"/state/lists/partial "$work"/cache/archives/partial "$work"/root
: >"$work/state/status"
private_apt() {
    apt-get -q -o Dir::State="$work/state" -o Dir::State::status="$work/state/status" \
        -o Dir::Cache="$work/cache" -o APT::Architecture=armhf -o APT::Architectures::=armhf \
        -o APT::Sandbox::User="$(id -un)" -o Acquire::http::Timeout=60 -o Acquire::Retries=3 "$@"
}

echo "fetching Debian's armhf ${packages[*]} ..."
# Sources without armhf may fail; what counts is whether the packages are found.
private_apt update >"$work/log" 2>&1 || true
# With all that they depend on: libssl-dev's library has another name in each release.
if ! private_apt install --yes --download-only --no-install-recommends "${packages[@]}" >>"$work/log" 2>&1; then
    tail -n 20 "$work/log" >&2
    echo "armv7-root.sh: apt-get could not fetch the armhf packages ${packages[*]}" >&2
    exit 2
fi
for deb in "$work"/cache/archives/*.deb; do dpkg-deb -x "$deb" "$work/root"; done

# Not in usr/include, where the emulator would show them instead of the machine's.
mkdir "$work/root/headers"
mv "$work/root/usr/include/openssl" "$work/root/usr/include/sqlite3.h" "$work/root/headers"
mv "$work"/root/usr/include/arm-linux-gnueabihf/openssl/* "$work/root/headers/openssl"
rm -f "$work"/root/usr/lib/arm-linux-gnueabihf/*.a
# The emulator prefers whatever stands in this root: libraries only, so that
# everything else, /etc before all, is the machine's.
find "$work/root" "$work/root/usr" -mindepth 1 -maxdepth 1 ! -name lib ! -name usr ! -name headers -exec rm -rf {} +
# An empty cache: the machine's own lists libraries of another processor.
mkdir "$work/root/etc" && : >"$work/root/etc/ld.so.cache"

missing=$(complete "$work/root") || {
    echo "armv7-root.sh: the armhf packages do not contain $missing" >&2
    exit 2
}
rm -rf "$root"
mv "$work/root" "$root"
