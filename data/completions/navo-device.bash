# bash completion for navo-device                              -*- shell-script -*-
# Printed by: navo-device --completion bash

_navo_device() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' words='' kind='' index word

    # The command, wherever options stand between its words.
    for ((index = 1; index < COMP_CWORD; index++)); do
        case ${COMP_WORDS[index]} in
            --completion) ((index++)) ;;
            *)
                case "${command:+$command }${COMP_WORDS[index]}" in
                    'check') command="${command:+$command }${COMP_WORDS[index]}" ;;
                esac
                ;;
        esac
    done

    case "$command $previous" in
        *' --completion') words='bash zsh fish' ;;
        *)
            case $command in
                '') words='check --help --version --completion' ;;
                'check') words='--help' kind='file' ;;
            esac
            ;;
    esac

    COMPREPLY=()
    if [[ -n $kind && $current != -* ]]; then
        while IFS='' read -r word; do
            COMPREPLY+=("$word")
        done < <(compgen -A "$kind" -- "$current")
        compopt -o filenames 2>/dev/null
    fi
    while IFS='' read -r word; do
        COMPREPLY+=("$word")
        [[ $word != *[=/] ]] || compopt -o nospace 2>/dev/null
    done < <(compgen -W "$words" -- "$current")
}

complete -F _navo_device navo-device
