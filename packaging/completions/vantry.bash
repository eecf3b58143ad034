# Completion of vantry for bash. Names come from the running hub.
_vantry() {
    local cur=${COMP_WORDS[COMP_CWORD]} command="" word
    local -a hub=()
    local index
    for ((index = 1; index < COMP_CWORD; ++index)); do
        word=${COMP_WORDS[index]}
        case $word in
            --tcp | --device) hub+=("$word" "${COMP_WORDS[index + 1]}"); ((++index)) ;;
            --timeout) ((++index)) ;;
            -*) ;;
            *) [ -n "$command" ] || command=$word ;;
        esac
    done
    COMPREPLY=()
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "--tcp --device --timeout --json --no-color --help" -- "$cur")
        return
    fi
    case $command in
        "") mapfile -t COMPREPLY < <(compgen -W "list get set watch plot describe save load diff history announce raw record replay bench settings status clients top check doctor help" -- "$cur") ;;
        get | set | watch | plot | describe | list | top | check)
            local name typed=${cur//\\/}
            while IFS= read -r name; do
                [[ ${name,,} == "${typed,,}"* ]] && COMPREPLY+=("${name// /\\ }")
            done < <(vantry --timeout 1 "${hub[@]}" list --names 2>/dev/null)
            ;;
        help) mapfile -t COMPREPLY < <(compgen -W "conditions exit faults json monitors names scripts times list get set watch plot describe save load diff history announce raw record replay bench settings status clients top check doctor" -- "$cur") ;;
        history) mapfile -t COMPREPLY < <(compgen -W "record query export" -- "$cur") ;;
        announce | record | replay | save | load | diff) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
    esac
}
complete -F _vantry vantry
