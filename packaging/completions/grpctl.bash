# Completion of grpctl in bash. What may be typed is in one place: grpctl itself tells.

_grpctl() {
    local -a words=(grpctl)
    local word line before
    # bash cuts words at "=", grpctl does not.
    for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
        if [[ $word == = || ${words[-1]} == *= ]]; then
            words[-1]+=$word
        else
            words+=("$word")
        fi
    done
    word=${words[-1]}
    before=${word%"${COMP_WORDS[COMP_CWORD]#=}"}
    COMPREPLY=()
    while IFS= read -r line; do
        if [[ $line == :files ]]; then
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "${word#"$before"}")
            return
        fi
        line=${line%%$'\t'*}
        COMPREPLY+=("${line#"$before"}")
    done < <("${COMP_WORDS[0]}" __complete "${words[@]:1}" 2>/dev/null)
    # A list goes on behind a comma.
    [[ ${words[-1]} == *,* ]] && compopt -o nospace 2>/dev/null
    return 0
}

complete -F _grpctl grpctl
