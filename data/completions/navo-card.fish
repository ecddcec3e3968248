# fish completion for navo-card
# Printed by: navo-card --completion fish
complete -c navo-card -f
complete -c navo-card -s h -l help -d 'Print this help and exit'
complete -c navo-card -s V -l version -d 'Print the version and exit'
complete -c navo-card -l completion -x -a 'bash zsh fish' -d 'Print what makes a shell complete this program'\''s words, and exit'
complete -c navo-card -l host -x -d 'Where the virtual reader waits'
complete -c navo-card -l port -x -d 'TCP port of the virtual reader'\''s slot'
complete -c navo-card -l once -d 'End with the reader, and fail when there is none, instead of waiting for it'
complete -c navo-card -l record -rF -d 'Add each exchange to this file, as one line of JSON'
complete -c navo-card -l state-file -rF -d 'File that keeps the card; without it, it lasts as long as the program'
complete -c navo-card -l protocol -x -a 'T=0 T=1' -d 'Manner of the card'\''s answers'
complete -c navo-card -l atr -x -d 'Answer-to-reset, at most 33 bytes; by default one that offers the protocol'
complete -c navo-card -l channel-option -x -d 'Option i of the secure channel: 00, 10, 20, 30, 60 or 70; 10 by default'
complete -c navo-card -l cplc -x -d 'Production life-cycle data, 42 bytes'
complete -c navo-card -l memory -x -d 'Non-volatile memory of the empty card'
complete -c navo-card -l volatile-memory -x -d 'Volatile memory'
complete -c navo-card -l keys -x -d 'AES keys of the same 16, 24 or 32 bytes; 40 to 4F three times by default'
complete -c navo-card -l key-version -x -d 'Their version'
