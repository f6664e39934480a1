#!/bin/bash
# administration.sh PACKAGES ROOT PAGE: follows the administrator's page literally, command by
# command, in a small Debian that is booted for it: each must succeed. Only what depends on the
# reader is put in: the packages' names and what is written with the editor.
set -u
here=$(dirname "$(realpath "$0")")
. "$here/checks.sh"
packages=$(realpath "$1") page=$3
. "$here/boot.sh"
mkdir "$work/debs"
cp "$packages"/*.deb "$work/debs"
service=$(basename "$packages"/orva-vpnd_*.deb) driver=$(basename "$packages"/libdevicevpn_*.deb)
boot "$2"

followed=0
while read -r line; do
    command=${line//.\/orva-vpnd_1.0.0_armhf.deb/.\/$service}
    command=${command//.\/libdevicevpn_1.0.0_armhf.deb/.\/$driver}
    case $command in
        nano\ *) command="sed -i 's/^#name = .*/name = \"line-9\"/' ${command#nano }" ;;
        apt-get\ install\ *) command="${command/install/install --yes --no-install-recommends --reinstall}" ;;
        apt-get\ *) command="${command/apt-get /apt-get --yes }" ;;
    esac
    in_root sh -c "cd /debs && $command" >"$work/said" 2>&1 </dev/null || { cat "$work/said" >&2; fail "$line"; }
    followed=$((followed + 1))
    # What the page says of it.
    active=$(in_root systemctl is-active orva-vpnd.service orva-vpnd.socket | xargs)
    case $line in
        *orva-vpnd_*.deb* | "systemctl start "* | "systemctl restart "* | "systemctl reload "* | "systemctl enable "*)
            equals "after $line" "active active" "$active" ;;
        "systemctl stop "* | "apt-get remove "* | "apt-get purge "*)
            equals "after $line" "inactive inactive" "$active" ;;
        orva-vpnd\ --show* | orva-vpnctl* | orva-vpnd\ --check* | journalctl*)
            [ -s "$work/said" ] || fail "$line shows nothing" ;;
        "tar -C / -czf"*) in_root tar -tzf /root/orva-backup.tar.gz | grep -q vpnd.db || fail "$line: no state in it" ;;
    esac
done < <(sed -n '/^```sh$/,/^```$/p' "$page" | grep -v '^```')
[ $followed -gt 20 ] || fail "the page has only $followed commands"
equals "the configuration after the page" "" "$(in_root find /etc/orva /var/lib/orva-vpnd 2>/dev/null)"
finish
