# Completion of vantry for fish. Names come from the running hub.
set -l commands list get set watch plot describe save load diff history announce raw record replay bench settings status clients top check doctor help
complete -c vantry -f
complete -c vantry -n "not __fish_seen_subcommand_from $commands" -a "$commands"
complete -c vantry -l tcp -x -d "reach the hub over TCP"
complete -c vantry -l device -r -d "socket of the local device"
complete -c vantry -l timeout -x -d "how long to wait for the hub"
complete -c vantry -l json -d "print JSON"
complete -c vantry -l no-color -d "no colours"
complete -c vantry -n "__fish_seen_subcommand_from get set watch plot describe list top check" -a "(vantry --timeout 1 list --names 2>/dev/null)"
complete -c vantry -n "__fish_seen_subcommand_from help" -a "conditions exit faults json monitors names scripts times"
complete -c vantry -n "__fish_seen_subcommand_from history" -a "record query export"
complete -c vantry -n "__fish_seen_subcommand_from announce record replay save load diff settings" -F
