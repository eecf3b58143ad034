# Completion of vantry-fleet for bash.
_vantry_fleet() {
    local cur=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()
    case $before in
        --config | --ca | --cert | --key) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
        --protocol) mapfile -t COMPREPLY < <(compgen -W "5 3.1.1" -- "$cur") ;;
        --broker | --timeout | --silence | --site | --serial | --version-is | --older-than) ;;
        *) mapfile -t COMPREPLY < <(compgen -W "--config --broker --ca --cert --key --plain-text --protocol --timeout --silence --site --serial --online --offline --errors --troubled --version-is --older-than --oldest-first --json --csv --metrics --version --help" -- "$cur") ;;
    esac
}
complete -F _vantry_fleet vantry-fleet
