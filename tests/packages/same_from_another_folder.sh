#!/bin/bash
# same_from_another_folder.sh SOURCE PACKAGES WORK COMPONENTS CPACK SETTING...: builds the
# sources once more in another folder, under other circumstances, and compares the packages
# of the COMPONENTS (words or a list) byte by byte. WORK is kept: a repetition compiles only
# what has changed since.
set -u
. "$(dirname "$(realpath "$0")")/checks.sh"
source=$1 packages=$2 work=$3 components=${4// /;} cpack=$5
shift 5
mkdir -p "$work"
copy=$work/a-copy-of-the-sources
build=$work/built-elsewhere
again=$work/packages

# The copy has no repository to take the time from.
time=$(dpkg-deb --fsys-tarfile "$packages"/libdevicevpn_*.deb | TZ=UTC tar --list --verbose --full-time |
    awk '{ print $4, $5; exit }')
SOURCE_DATE_EPOCH=$(date -u -d "$time" +%s) || exit 1
export SOURCE_DATE_EPOCH

rm -rf "$copy" "$again"
mkdir "$copy"
tar --create --directory "$source" --exclude=./build --exclude=./.git . | tar --extract --directory "$copy"

targets=(devicevpn)
case $components in *service*) targets+=(orva-vpnd) ;; esac
case $components in *panel*) targets+=(orva-panel) ;; esac
started=$SECONDS
{ cmake -S "$copy" -B "$build" -G Ninja "$@" -DBUILD_TESTING=OFF &&
    cmake --build "$build" --target "${targets[@]}"; } >"$work/log" 2>&1 ||
    { tail -n 40 "$work/log" >&2; echo "the second build fails" >&2; exit 1; }
echo "second build: $((SECONDS - started)) s"
# Another user's habits and clock.
(umask 077 && cd "$build" && TZ=Asia/Tokyo LC_ALL=C "$cpack" --config CPackConfig.cmake -B "$again" \
    -D CPACK_COMPONENTS_ALL="$components") >>"$work/log" 2>&1 || { tail -n 40 "$work/log" >&2; exit 1; }

# What differs, from the outside to the inside.
show_difference() {
    local side list file
    rm -rf "$work/first" "$work/second"
    for side in first second; do
        [ $side = first ] && file=$1 || file=$2
        mkdir "$work/$side"
        case $file in
            *.deb)
                dpkg-deb --raw-extract "$file" "$work/$side/content"
                dpkg-deb --contents "$file" >"$work/$side/list"
                ;;
            *)
                tar --extract --file "$file" --directory "$work/$side"
                tar --list --verbose --file "$file" >"$work/$side/list"
                ;;
        esac
    done
    diff -r "$work/first" "$work/second" | head -n 20
    (cd "$work/first" && find . -type f ! -name list) | while read -r file; do
        cmp -s "$work/first/$file" "$work/second/$file" && continue
        echo "--- texts in $file, ours (<) and the second build's (>)"
        diff <(strings "$work/first/$file") <(strings "$work/second/$file") | head -n 20
    done
}

compared=0
for second in "$again"/*.deb "$again"/*.tar.gz; do
    first=$packages/$(basename "$second")
    compared=$((compared + 1))
    cmp "$first" "$second" && continue
    fail "$(basename "$second") is not the same"
    show_difference "$first" "$second" >&2
done
# A package for each component, and the tar.
equals "the number of compared packages" $(($(tr -cd ';' <<<"$components" | wc -c) + 2)) $compared
finish
