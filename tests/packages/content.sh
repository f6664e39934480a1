#!/bin/bash
# content.sh PACKAGES VERSION ARCHITECTURE SOURCE BUILD: what is in the .deb packages.
set -u
here=$(dirname "$(realpath "$0")")
. "$here/checks.sh"
packages=$(realpath "$1") version=$2 architecture=$3 source=$4 build=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

names=(libdevicevpn libdevicevpn-dev orva-panel orva-vpnd)
package_of() {
    case $1 in
        *-dev) echo "$packages/$1_${version}_all.deb" ;;
        *) echo "$packages/$1_${version}_$architecture.deb" ;;
    esac
}
field() { dpkg-deb --field "$(package_of "$1")" "$2"; }

# All files with their modes and owners; nothing that everybody may write.
for name in "${names[@]}"; do
    dpkg-deb --contents "$(package_of "$name")" | awk -v name="$name" '{ print name, $1, $2, $6 }'
done >"$work/contents"
diff -u "$here/contents.txt" "$work/contents" || fail "the packages hold other files (+) than expected (-)"

# One time for everything: the last commit's where there is a repository.
times=$(for name in "${names[@]}"; do
    dpkg-deb --fsys-tarfile "$(package_of "$name")" | TZ=UTC tar --list --verbose --full-time
done | awk '{ print $4, $5 }' | sort -u)
epoch=${SOURCE_DATE_EPOCH-$(git -C "$source" log -1 --format=%ct 2>/dev/null)}
[ -z "$epoch" ] || equals "the time of all files" "$(date -u -d "@$epoch" '+%F %T')" "$times"

for name in "${names[@]}"; do
    equals "$name: Package" "$name" "$(field "$name" Package)"
    equals "$name: Version" "$version" "$(field "$name" Version)"
    case $name in *-dev) wanted=all ;; *) wanted=$architecture ;; esac
    equals "$name: Architecture" "$wanted" "$(field "$name" Architecture)"
    matches "$name: Maintainer" '^[^<>]+ <[^<>@]+@[^<>@]+>$' "$(field "$name" Maintainer)"
    matches "$name: Description" $'^[^\n]{10,79}\n .' "$(field "$name" Description)"
    matches "$name: Section" '^[a-z]+$' "$(field "$name" Section)"
    matches "$name: Installed-Size" '^[1-9][0-9]*$' "$(field "$name" Installed-Size)"
    # Only the service has something to be done when it is installed or removed.
    scripts=
    [ "$name" = orva-vpnd ] && scripts="./postinst ./postrm ./prerm "
    equals "$name: control files" "./ ${scripts:+./conffiles }./control ./md5sums${scripts:+ ${scripts% }}" \
        "$(dpkg-deb --ctrl-tarfile "$(package_of "$name")" | tar --list | LC_ALL=C sort | xargs)"
done
equals "conffiles" /etc/orva/vpnd.toml "$(dpkg-deb --ctrl-tarfile "$(package_of orva-vpnd)" | tar -xO ./conffiles)"
equals "libdevicevpn-dev: Depends" "" "$(field libdevicevpn-dev Depends)"
matches "orva-vpnd: Depends" '(^|, )adduser($|,)' "$(field orva-vpnd Depends)"
for script in postinst prerm postrm; do
    dpkg-deb --ctrl-tarfile "$(package_of orva-vpnd)" | tar -xO "./$script" >"$work/$script"
    dash -n "$work/$script" || fail "$script is no shell script"
done

# The libraries named in Depends are at least as new as the programs need them.
stated() { sed -n "s/.*\b$2 (>= \([^)]*\)).*/\1/p" <<<"$(field "$1" Depends)"; }
highest() { readelf -V "$1" | grep -o "Name: $2_[0-9.]*" | sed 's/.*_//' | sort -Vu | tail -n 1; }
# The first g++ whose library has a version.
compiler_of() {
    case ${1#3.4.} in
        21) echo 5 ;; 22) echo 6 ;; 23 | 24) echo 7 ;; 25) echo 8 ;; 26 | 27) echo 9 ;;
        28) echo 10 ;; 29) echo 11 ;; 30) echo 12 ;; 31 | 32) echo 13 ;; 33) echo 14 ;;
        [0-9] | 1[0-9] | 20) echo 4 ;; *) echo unknown ;;
    esac
}
for program in libdevicevpn.so orva-vpnd orva-vpnctl orva-panel; do
    case $program in
        libdevicevpn.so) name=libdevicevpn ;;
        orva-vpnctl) name=orva-vpnd ;;
        *) name=$program ;;
    esac
    dpkg-deb -x "$(package_of "$name")" "$work/$name"
    file=$(find "$work/$name" -name "$program" -type f -not -path '*/completions/*')
    [ "$(wc -w <<<"$file")" -eq 1 ] || fail "$name has not one $program but '$file'"
    libc=$(stated "$name" libc6) needed=$(highest "$file" GLIBC)
    dpkg --compare-versions "${libc:-0}" ge "$needed" ||
        fail "$name depends on libc6 '$libc' and needs GLIBC_$needed"
    if readelf -d "$file" | grep -q 'NEEDED.*libstdc++'; then
        libcxx=$(stated "$name" libstdc++6) needed=$(compiler_of "$(highest "$file" GLIBCXX)")
        dpkg --compare-versions "${libcxx:-0}" ge "$needed" ||
            fail "$name depends on libstdc++6 '$libcxx' and needs that of g++ $needed"
    fi
    # OpenSSL's library is for the service alone.
    libssl=$(sed -n 's/.*\blibssl3\(t64\)\? (>= \([^)]*\)).*/\2/p' <<<"$(field "$name" Depends)")
    needed=$(highest "$file" OPENSSL)
    if [ "$program" = orva-vpnd ]; then
        dpkg --compare-versions "${libssl:-0}" ge "${needed:-999}" ||
            fail "$name depends on libssl3 '$libssl' and needs OPENSSL_$needed"
    elif [ "$name" != orva-vpnd ]; then
        equals "$name: what it needs of OpenSSL, and depends on" " " "$needed $libssl"
    fi
    # SQLite's too, in the version that has what its file is made of.
    case $program in
        orva-vpnd) equals "$name: libsqlite3-0" 3.37 "$(stated "$name" libsqlite3-0)" ;;
        libdevicevpn.so | orva-panel) equals "$name: libsqlite3-0" "" "$(stated "$name" libsqlite3-0)" ;;
    esac
    readelf -S "$file" | grep -q '\.symtab' && fail "$name is not stripped"
    for path in "$source" "$build"; do
        grep -qF "$path" "$file" && fail "$name holds the build's path $path"
    done
done

# What is installed for its own place is written for it.
dpkg-deb -x "$(package_of orva-vpnd)" "$work/root"
dpkg-deb -x "$(package_of orva-panel)" "$work/root"
dpkg-deb -x "$(package_of libdevicevpn)" "$work/root"
started=$(sed -n 's/^ExecStart=\([^ ]*\).*/\1/p' "$work/root/usr/lib/systemd/system/orva-vpnd.service")
[ -n "$started" ] && [ -x "$work/root$started" ] || fail "the unit starts '$started', which is not there"
sums=$(cd "$work/orva-vpnd" && dpkg-deb --ctrl-tarfile "$(package_of orva-vpnd)" | tar -xO ./md5sums | md5sum --check --quiet 2>&1)
equals "md5sums that do not fit" "" "$sums"
for example in "$work"/root/usr/share/orva-panel/examples/*.toml; do
    driver=$(sed -n 's/^driver = "\(.*\)"$/\1/p' "$example" | sort -u)
    [ -n "$driver" ] && [ -f "$work/root/${driver#/}" ] ||
        fail "$(basename "$example") names the driver '$driver', which is not there"
done
finish
