#!/bin/bash
# root_to_boot.sh DIR: fills DIR with a minimal Debian of this machine's release that can be
# booted, from the machine's own package sources. Does nothing when it is there.
# Exit code 77, after one line with the reason, where that is not possible.
set -u
root=$1
[ -e "$root/made" ] && exit 0
[ "$(id -u)" -eq 0 ] || { echo "SKIPPED: only root can make a system to boot"; exit 77; }
for tool in mmdebstrap systemd-nspawn nsenter; do
    command -v $tool >/dev/null || { echo "SKIPPED: $tool is not installed"; exit 77; }
done
sources=()
for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.sources /etc/apt/sources.list.d/*.list; do
    [ -s "$file" ] && grep -qE '^(deb|URIs)' "$file" && sources+=("$file")
done
. /etc/os-release
rm -rf "$root"
mkdir -p "$root"
timeout 900 mmdebstrap --quiet --variant=minbase \
    --include=systemd,systemd-sysv,libsqlite3-0,libssl3,libstdc++6,busybox,libcap2-bin \
    "$VERSION_CODENAME" "$root/system" "${sources[@]}" >"$root/log" 2>&1 ||
    { tail -n 5 "$root/log" >&2; echo "SKIPPED: mmdebstrap cannot make a $VERSION_CODENAME"; exit 77; }
touch "$root/made"
