# shellcheck shell=bash
# bash completion for quon-mcu: the program itself knows what may follow.
_quon_mcu() {
    local line=${COMP_LINE:0:COMP_POINT} cur
    local -a words
    read -ra words <<<"$line"
    if [[ $line == *[[:space:]] ]]; then
        words+=("")
    fi
    cur=${words[-1]}
    mapfile -t COMPREPLY < <(quon-mcu complete -- "${words[@]:1}" 2>/dev/null)
    if [[ $cur == *=* ]]; then
        # The shell takes "=" for the end of a word.
        COMPREPLY=("${COMPREPLY[@]#"${cur%%=*}="}")
    fi
    if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *= ]]; then
        compopt -o nospace 2>/dev/null
    fi
    return 0
}
complete -o default -F _quon_mcu quon-mcu
