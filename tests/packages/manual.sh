#!/bin/bash
# manual.sh PACKAGES SOURCE BIN: the manual pages say what the programs and the page of the
# configuration say today, and man can read them; lintian finds no error in the packages; and
# bash completes the programs' words.
set -u
. "$(dirname "$(realpath "$0")")/checks.sh"
packages=$(realpath "$1") source=$2 bin=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unpack "$packages" "$work/root"

python3 "$source/scripts/manual_pages.py" "$bin" "$source" "$work/man" || fail "the pages cannot be made"
diff -ru "$source/packaging/man" "$work/man" >"$work/diff" || {
    head -n 40 "$work/diff" >&2
    fail "a manual page is not of today: scripts/manual_pages.py $bin . packaging/man"
}
for page in orva-vpnd.8 orva-vpnctl.1 orva-panel.1 vpnd.toml.5; do
    installed=$work/root/usr/share/man/man${page##*.}/$page.gz
    gzip --decompress --stdout "$installed" | cmp - "$work/man/$page" || fail "$page is not installed"
    [ "$(LC_ALL=C.UTF-8 man --warnings -l "$work/man/$page" 2>&1 >"$work/text" | wc -l)" -eq 0 ] || fail "man does not read $page"
done
# What somebody would look for, as a reader sees it.
LC_ALL=C.UTF-8 man -l "$work/man/vpnd.toml.5" | col -b >"$work/text"
grep -q '^ *serial-file$' "$work/text" && grep -q 'bytes-per-day = "8 MiB"' "$work/text" || fail "vpnd.toml.5 lacks a key"

lintian --tag-display-limit 0 --allow-root --fail-on error "$packages"/*.deb >"$work/lintian" 2>&1 ||
    { grep -E '^E:|rror' "$work/lintian" >&2; fail "lintian finds errors"; }

# complete PROGRAM WORD...: what bash offers for the last word.
complete_in_bash() {
    PATH=$work/root/usr/sbin:$work/root/usr/bin:$PATH bash -c '
        set -u
        . "$1"
        shift
        COMP_WORDS=("$@")
        COMP_CWORD=$(($# - 1))
        _orva "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        printf "%s\n" "${COMPREPLY[@]}"' bash "$work/root/usr/share/bash-completion/completions/$1" "$@" | sort | xargs
}
for program in orva-vpnd orva-vpnctl orva-panel; do
    [ -f "$work/root/usr/share/bash-completion/completions/$program" ] || fail "no completion for $program"
done
equals "orva-vpnd --ch" "--check-config" "$(complete_in_bash orva-vpnd --ch)"
equals "orva-vpnd --show" "history settings" "$(complete_in_bash orva-vpnd --show '')"
equals "orva-vpnctl rea" "reasons" "$(complete_in_bash orva-vpnctl rea)"
equals "orva-vpnctl reasons --f" "--format" "$(complete_in_bash orva-vpnctl reasons --f)"
equals "orva-vpnctl reasons --format c" "csv" "$(complete_in_bash orva-vpnctl reasons --format c)"
equals "orva-panel c" "channels check commands" "$(complete_in_bash orva-panel c)"
equals "orva-panel poll --c" "--channels --cycles" "$(complete_in_bash orva-panel poll --c)"
equals "orva-panel check --target arm" "arm64 armv7 armv7-softfloat" "$(complete_in_bash orva-panel check --target arm)"
touch "$work/project.toml"
equals "orva-panel run FILE" "$work/project.toml" "$(complete_in_bash orva-panel run "$work/pro")"
finish
