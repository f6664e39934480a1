# bash completion for orva-vpnd, orva-vpnctl and orva-panel. Words and options are those that
# the program itself names in its --help.
_orva()
{
    local program=$1 word=$2 previous=$3 text value i
    local -a commands=()
    COMPREPLY=()
    # The words so far that are commands: the first one of these programs is enough to ask for.
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            -*) ;;
            *)
                text=$("$program" "${commands[@]}" --help 2>/dev/null </dev/null) || return
                if grep -qE "^  ${COMP_WORDS[i]//[^a-z-]/_}( |\$)" <<<"$(sed -n '/^Subcommands:/,/^$/p' <<<"$text")"; then
                    commands+=("${COMP_WORDS[i]}")
                fi
                ;;
        esac
    done
    text=$("$program" "${commands[@]}" --help 2>/dev/null </dev/null) || return

    if [[ $previous == --* ]]; then
        # "--name TEXT:{one,two}" takes one of those, "--name TEXT" anything, "--name" nothing.
        value=$(sed -n "s/^  \\(-[a-z],\\)\\{0,1\\}$previous \\([^ ]*\\)\\( .*\\)\\{0,1\\}\$/\\2/p" <<<"$text" | head -n 1)
        case $value in
            *:\{*\}*)
                value=${value#*:\{}
                value=${value%%\}*}
                mapfile -t COMPREPLY < <(compgen -W "${value//,/ }" -- "$word")
                return
                ;;
            [A-Z]*)
                [[ $value == Excludes:* || $value == Needs:* ]] ||
                    { compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- "$word"); return; }
                ;;
        esac
    fi
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(grep -oE '^  (-[a-z],)?--[a-z-]+' <<<"$text" | grep -oE -- '--[a-z-]+')" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -W "$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\)\( .*\)\{0,1\}$/\1/p' <<<"$text")" -- "$word")
        if ((${#COMPREPLY[@]} == 0)) && ! grep -q '^Subcommands:' <<<"$text"; then
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
        fi
    fi
}
complete -F _orva orva-vpnd orva-vpnctl orva-panel
