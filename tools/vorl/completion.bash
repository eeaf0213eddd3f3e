# Completion for vorl. Commands and options are taken from the program's own help, and messages from its list, so there is
# nothing here that could be out of date.
_vorl()
{
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} vorl=${COMP_WORDS[0]} command=() i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        [[ ${COMP_WORDS[i]} == -* ]] && break
        "$vorl" "${command[@]}" --help 2>/dev/null | sed -n '/^Subcommands:/,$p' | grep -q "^  ${COMP_WORDS[i]} " || break
        command+=("${COMP_WORDS[i]}")
    done
    if [[ $previous == --message || ${command[0]-} == describe ]] && [[ $word != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$("$vorl" list 2>/dev/null | awk '{ print $1 }' | grep '^srv6_')" -- "$word")
    elif [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$("$vorl" "${command[@]}" --help 2>/dev/null |
            sed -n 's/^  \(-h,\)\{0,1\}\(--[a-z-]*\).*/\2/p')" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -W "$("$vorl" "${command[@]}" --help 2>/dev/null |
            sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p')" -- "$word")
        [ ${#COMPREPLY[@]} -gt 0 ] || mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}
complete -F _vorl vorl
