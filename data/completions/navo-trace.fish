# fish completion for navo-trace
# Printed by: navo-trace --completion fish
complete -c navo-trace -f
complete -c navo-trace -n 'not __fish_seen_subcommand_from diff' -a diff -d 'Show the first command and the first answer that differ'
complete -c navo-trace -n 'not __fish_seen_subcommand_from diff' -F
complete -c navo-trace -s h -l help -d 'Print this help and exit'
complete -c navo-trace -s V -l version -d 'Print the version and exit'
complete -c navo-trace -l completion -x -a 'bash zsh fish' -d 'Print what makes a shell complete this program'\''s words, and exit'
complete -c navo-trace -l format -x -a 'html text json mermaid har' -d 'Form of what is written: html, text, json, mermaid or har'
complete -c navo-trace -l serve -d 'Show the page to browsers of this machine, and follow the inputs'
complete -c navo-trace -l port -x -d 'Port to serve at; a free one when left out'
complete -c navo-trace -l port-file -rF -d 'Write the port to this file once it is served'
complete -c navo-trace -s o -l output -rF -d 'Write to this file, not to standard output'
complete -c navo-trace -l mask -x -a 'aliases none aliases none' -d 'What stands in the place of secrets: aliases, or none for the secrets themselves'
complete -c navo-trace -l keys -rF -d 'File with "cardKeys", to show what a secure channel encrypts'
complete -c navo-trace -n '__fish_seen_subcommand_from diff' -s h -l help -d 'Print this help and exit'
complete -c navo-trace -n '__fish_seen_subcommand_from diff' -l mask -x -a 'aliases none aliases none' -d 'What stands in the place of secrets: aliases, or none for the secrets themselves'
complete -c navo-trace -n '__fish_seen_subcommand_from diff' -l keys -rF -d 'File with "cardKeys", to show what a secure channel encrypts'
