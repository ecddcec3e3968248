# fish completion for navo-device
# Printed by: navo-device --completion fish
complete -c navo-device -f
complete -c navo-device -n 'not __fish_seen_subcommand_from check' -a check -d 'Print every mistake of a description, with its line'
complete -c navo-device -s h -l help -d 'Print this help and exit'
complete -c navo-device -s V -l version -d 'Print the version and exit'
complete -c navo-device -l completion -x -a 'bash zsh fish' -d 'Print what makes a shell complete this program'\''s words, and exit'
complete -c navo-device -n '__fish_seen_subcommand_from check' -F
complete -c navo-device -n '__fish_seen_subcommand_from check' -s h -l help -d 'Print this help and exit'
