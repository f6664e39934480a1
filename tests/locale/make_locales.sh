#!/bin/bash
# make_locales.sh DIR NAME.CHARSET...: makes these locales in DIR, where programs find them
# that have LOCPATH=DIR; what is there already stays. The machine's own locales stay alone.
set -euo pipefail

dir=$1
shift
command -v localedef >/dev/null || { echo "make_locales.sh: needs localedef (Debian's libc-bin)" >&2; exit 2; }
mkdir -p "$dir"
work=$(mktemp -d "$dir/.XXXXXX")
trap 'rm -rf "$work"' EXIT
for locale in "$@"; do
    [ ! -e "$dir/$locale/LC_CTYPE" ] || continue
    source=/usr/share/i18n/locales/${locale%%.*}
    [ -e "$source" ] || { echo "make_locales.sh: no $source (Debian's package locales)" >&2; exit 2; }
    localedef -i "$source" -f "${locale#*.}" "$work/$locale"
    mv "$work/$locale" "$dir/"
done
