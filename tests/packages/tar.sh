#!/bin/bash
# tar.sh PACKAGES VERSION ARCHITECTURE: the plain tar for panels without dpkg.
set -u
. "$(dirname "$(realpath "$0")")/checks.sh"
packages=$(realpath "$1") name=libdevicevpn-$2-$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

listed=$(tar --list --verbose --numeric-owner --file "$packages/$name.tar.gz" | awk '{ print $1, $2, $6 }')
equals "the list of files" "drwxr-xr-x 0/0 $name/
-rw-r--r-- 0/0 $name/README.txt
-rw-r--r-- 0/0 $name/SHA256SUMS
-rw-r--r-- 0/0 $name/libdevicevpn.so" "$listed"
tar --extract --file "$packages/$name.tar.gz" --directory "$work" || fail "tar cannot unpack it"
cd "$work/$name" || exit 1
sha256sum --check --quiet SHA256SUMS || fail "the sums do not fit"

# The same library as in the package.
dpkg-deb -x "$packages/libdevicevpn_$2_$3.deb" "$work/root"
cmp libdevicevpn.so "$work/root/usr/lib/orva/drivers/libdevicevpn.so" || fail "another library than in the .deb"

# The note says of this library what readelf says.
for needed in $(readelf -d libdevicevpn.so | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p'); do
    grep -qF "$needed" README.txt || fail "the note does not name $needed"
done
highest=$(readelf -V libdevicevpn.so | grep -o 'Name: GLIBC_[0-9.]*' | sed 's/Name: //' | sort -Vu | tail -n 1)
grep -qF "$highest" README.txt || fail "the note does not name $highest"
grep -q "GLIBCXX_[0-9]" README.txt
names=$?
readelf -V libdevicevpn.so | grep -q 'Name: GLIBCXX'
equals "whether the note names the C++ library's version (0: yes)" $? $names
# What a text of the C++ library is called among the library's symbols.
expected=
readelf -W --dyn-syms libdevicevpn.so | grep -q __cxx11 && expected=1
readelf -W --dyn-syms libdevicevpn.so | grep -qE '_ZNK?Ss' && expected=0
[ -z "$expected" ] || grep -q "^  std::string .*_GLIBCXX_USE_CXX11_ABI=$expected)" README.txt ||
    fail "the note does not name the std::string of _GLIBCXX_USE_CXX11_ABI=$expected"
case $3 in
    amd64) processor="64-bit x86" target=x86-64 ;;
    armhf) processor="32-bit ARM, hard float" target=armv7 ;;
    *) processor="32-bit ARM, soft float calls" target=armv7-softfloat ;;
esac
grep -q "^  processor  *$processor$" README.txt || fail "the note does not name the processor $processor"
grep -q -- "--target $target " README.txt || fail "the note does not check for $target"
grep -nE '@|[^[:print:]]|.{101}' README.txt && fail "the note holds what is no plain text"
finish
