#!/bin/bash
# check_library.sh OPTION... LIBRARY: reads from a built, unstripped driver library whether
# a panel can load it, and unload it again. Prints one line per check; status 1 when one fails.
#
#   --machine NAME     "Advanced Micro Devices X86-64" or "ARM", as readelf says it
#   --readelf, --nm, --strip TOOL
#   --glibc VERSION --libstdcxx VERSION --cxxabi VERSION
#                      the panel's newest symbol versions
#   --max-bytes N      limit of the stripped library
#   --float-abi ABI    ARM: hard, softfp or soft
#   --static-cxx       libstdc++ and libgcc are inside
set -uo pipefail
export LC_ALL=C

readelf=readelf nm=nm strip=strip machine= float_abi= max_bytes= static_cxx=
glibc= libstdcxx= cxxabi=
while [ $# -gt 1 ]; do
    case $1 in
    --static-cxx) static_cxx=yes; shift; continue ;;
    --machine | --readelf | --nm | --strip | --glibc | --libstdcxx | --cxxabi | --max-bytes | --float-abi)
        option=${1#--}; printf -v "${option//-/_}" %s "$2"; shift 2 ;;
    *) echo "unknown option $1" >&2; exit 2 ;;
    esac
done
library=${1:?no library named}
[ -r "$library" ] || { echo "cannot read $library" >&2; exit 2; }

failed=0
fail() { printf 'FAIL %-12s %s\n' "$1:" "$2"; failed=1; }
# ok NAME TEXT, unless the check of this name has failed.
current=0
begin() { current=$failed; failed=0; }
end() {
    [ "$failed" -ne 0 ] || printf 'ok   %-12s %s\n' "$1:" "$2"
    failed=$((current | failed))
}

header=$("$readelf" -hW "$library") || exit 2
segments=$("$readelf" -lW "$library")
dynamic=$("$readelf" -dW "$library")
symbols=$("$readelf" -sW "$library")
sections=$("$readelf" -SW "$library")
dynamic_symbols=$("$nm" -D "$library")

if [ -n "$machine" ]; then
    begin
    found=$(sed -n 's/^ *Machine: *//p' <<<"$header")
    [ "$found" = "$machine" ] || fail processor "is for $found, not for $machine"
    end processor "$machine"
fi

begin
exported=$(awk 'NF == 3 && $2 !~ /^[Uwv]$/ { print $3 }' <<<"$dynamic_symbols" | sort)
for name in $exported; do
    case $name in
    CreateDeviceCtrl | DestroyDeviceCtrl) ;;
    *) fail exports "also exports $name" ;;
    esac
done
for name in CreateDeviceCtrl DestroyDeviceCtrl; do
    grep -qx "$name" <<<"$exported" || fail exports "does not export $name"
done
end exports "CreateDeviceCtrl and DestroyDeviceCtrl, nothing else"

begin
needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
for name in $needed; do
    case $name in
    libc.so.6) ;;
    libstdc++.so.6 | libgcc_s.so.1)
        [ -z "$static_cxx" ] || fail needs "needs $name, which should be inside" ;;
    # A part of the C library: it holds the value that the stack protector compares.
    ld-linux-armhf.so.3 | ld-linux.so.3 | ld-linux-x86-64.so.2) ;;
    # The C library's mathematics.
    libm.so.6) ;;
    *) fail needs "needs $name; only the C and C++ libraries are on every panel" ;;
    esac
done
end needs "$(echo $needed)"

begin
grep -q GNU_RELRO <<<"$segments" || fail relro "tables of addresses stay writable (no -z relro)"
grep -Eq '\(FLAGS\).*BIND_NOW|\(FLAGS_1\).*NOW|\(BIND_NOW\)' <<<"$dynamic" ||
    fail relro "functions are looked up at their first call, too late for an error (no -z now)"
end relro "full: all addresses are looked up when loaded, then read-only"

begin
stack=$(awk '$1 == "GNU_STACK" { print $(NF - 1) }' <<<"$segments")
case $stack in
'') fail stack "no GNU_STACK: the loader makes the host's stacks executable" ;;
*E*) fail stack "asks for an executable stack" ;;
esac
end stack "not executable"

begin
if grep -q TEXTREL <<<"$dynamic"; then fail text "code is changed while loading (TEXTREL)"; fi
end text "no relocation in code"

begin
# The C++ library's own exception state is thread-local: with it inside there is one.
if [ -z "$static_cxx" ] && grep -Eq '^ *TLS ' <<<"$segments"; then
    fail tls "has thread-local variables; a host has few places left for those of loaded libraries"
fi
end tls "no thread-local variable${static_cxx:+ but those of libstdc++}"

begin
for name in $(awk '$5 == "UNIQUE" { print $8 }' <<<"$symbols" | sort -u); do
    fail unique "$name is a unique symbol: the library would never be unloaded"
done
end unique "no unique symbol"

begin
for name in $(awk '$1 == "w" || $1 == "v" { print $2 }' <<<"$dynamic_symbols"); do
    case $name in
    Orva_GetTickCount | watch_dog_report) ;;
    # The compiler's own.
    __gmon_start__ | _ITM_*TMCloneTable) ;;
    # In one of the libraries that it needs.
    *@*) ;;
    *) fail weak "$name may be missing in the host unnoticed" ;;
    esac
done
for name in $(awk '$1 == "U" && $2 !~ /@/ { print $2 }' <<<"$dynamic_symbols"); do
    fail undefined "$name is in no library that it needs"
done
end undefined "only the host's two tool functions, and they may be missing"

begin
for name in $(awk '$1 == "U" { sub(/@.*/, "", $2); print $2 }' <<<"$dynamic_symbols"); do
    case $name in
    setlocale | uselocale) fail locale "calls $name; the locale is the host's" ;;
    esac
done
end locale "left to the host"

begin
# Symbols follow their file: a constructor is the tables' where its file has tables.
constructors=$(awk -v static="$static_cxx" '
    $4 == "FILE" { file = $8 }
    $8 ~ /^_ZL[0-9]+(DEV|IOCTRL)_STR_/ { tables[file] = 1 }
    $4 == "FUNC" && $8 ~ /^_GLOBAL__(sub_)?I/ && $8 !~ /\.cold/ { made[file] = $8 }
    END { for (file in made) print (file in tables) ? "tables" : (static && file !~ /\.cpp$/) ? "static" : "other", file }
' <<<"$symbols" | sort)
while read -r kind file; do
    [ "$kind" != other ] || fail constructors "$file runs code when loaded, and has no text table"
done <<<"$constructors"
pointer=4
grep -q 'Class: *ELF64' <<<"$header" && pointer=8
size=$(sed -n 's/.* \.init_array  *INIT_ARRAY  *[0-9a-f]* [0-9a-f]* \([0-9a-f]*\) .*/\1/p' <<<"$sections")
entries=$((16#${size:-0} / pointer))
accounted=$((1 + $(grep -cE '^(tables|other)' <<<"$constructors")))
grep -q ' frame_dummy$' <<<"$symbols" ||
    fail constructors "no symbol table to read them from: check the library before it is stripped"
if [ -z "$static_cxx" ] && [ "$failed" -eq 0 ] && [ "$entries" -ne "$accounted" ]; then
    fail constructors "$entries functions run when loaded; the text tables and the compiler make $accounted"
fi
end constructors "the compiler's own and the text tables of $((accounted - 1)) sources"

# newest PREFIX: highest version of this kind that is asked for.
newest() { grep -oE "@$1_[0-9.]+" <<<"$dynamic_symbols" | sed "s/@$1_//" | sort -Vu | tail -n 1; }
# check_version PREFIX BASELINE
check_version() {
    local found
    found=$(newest "$1")
    begin
    if [ -n "$found" ] && [ "$(printf '%s\n' "$found" "$2" | sort -V | tail -n 1)" != "$2" ]; then
        fail versions "$(awk -v v="@$1_$found" 'index($2, v) { print $2; exit }' <<<"$dynamic_symbols") is newer than $1_$2"
    fi
    end versions "$1_${found:-none}, at most $2"
}
[ -z "$glibc" ] || check_version GLIBC "$glibc"
[ -z "$libstdcxx" ] || check_version GLIBCXX "$libstdcxx"
[ -z "$cxxabi" ] || check_version CXXABI "$cxxabi"

if [ -n "$float_abi" ]; then
    begin
    attributes=$("$readelf" -A "$library")
    case $float_abi in
    hard) wanted="hard-float ABI" ;;
    *) wanted="soft-float ABI" ;;
    esac
    flags=$(sed -n 's/^ *Flags: *//p' <<<"$header")
    [[ $flags = *"$wanted"* ]] || fail arm "flags are \"$flags\", not $wanted"
    tags=("Tag_CPU_arch: v7" "Tag_CPU_arch_profile: Application" "Tag_FP_arch: VFPv3-D16")
    [ "$float_abi" != soft ] || tags[2]="Tag_FP_arch: "  # calculates in functions only
    for wanted in "${tags[@]}"; do
        found=$(sed -n "s/^ *\(${wanted%%:*}:.*\)/\1/p" <<<"$attributes")
        [ "${found:-${wanted%%:*}: }" = "$wanted" ] || fail arm "has \"${found:-no ${wanted%%:*}}\", not \"$wanted\""
    done
    ! grep -q Tag_Advanced_SIMD_arch <<<"$attributes" || fail arm "may use NEON"
    end arm "v7-A, $float_abi float"
fi

stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
"$strip" -o "$stripped" "$library" || exit 2
bytes=$(wc -c <"$stripped")
begin
if [ -n "$max_bytes" ] && [ "$bytes" -ge "$max_bytes" ]; then
    fail size "$bytes bytes when stripped; must stay below $max_bytes"
fi
end size "$bytes bytes when stripped${max_bytes:+, below $max_bytes}"

exit $failed
