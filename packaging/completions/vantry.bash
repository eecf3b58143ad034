# Completion of vantry for bash. The program says what may be typed next; it asks the running hub.
_vantry() {
    local status
    COMPREPLY=()
    mapfile -t COMPREPLY < <(vantry complete --bash -- "${COMP_LINE:0:COMP_POINT}" 2>/dev/null; echo $?)
    status=${COMPREPLY[-1]}
    unset 'COMPREPLY[-1]'
    if [ "$status" = 5 ]; then
        mapfile -t COMPREPLY < <(compgen -f -- "${COMP_WORDS[COMP_CWORD]}")
        compopt -o filenames 2>/dev/null
    elif [[ ${#COMPREPLY[@]} == 1 && ${COMPREPLY[0]} == *= ]]; then
        compopt -o nospace 2>/dev/null
    fi
}
complete -F _vantry vantry
