# bash completion for navo-trace                              -*- shell-script -*-
# Printed by: navo-trace --completion bash

_navo_trace() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' words='' kind='' index word

    # The command, wherever options stand between its words.
    for ((index = 1; index < COMP_CWORD; index++)); do
        case ${COMP_WORDS[index]} in
            --completion | --format | --port | --port-file | -o | --output | --mask | --keys) ((index++)) ;;
            *)
                case "${command:+$command }${COMP_WORDS[index]}" in
                    'diff') command="${command:+$command }${COMP_WORDS[index]}" ;;
                esac
                ;;
        esac
    done

    case "$command $previous" in
        'diff --mask') words='aliases none aliases none' ;;
        'diff --keys') kind='file' ;;
        *' --completion') words='bash zsh fish' ;;
        *' --format') words='html text json mermaid har' ;;
        *' --port') : ;;
        *' --port-file') kind='file' ;;
        *' -o') kind='file' ;;
        *' --output') kind='file' ;;
        *' --mask') words='aliases none aliases none' ;;
        *' --keys') kind='file' ;;
        *)
            case $command in
                '') words='diff --help --version --completion --format --serve --port --port-file --output --mask --keys' kind='file' ;;
                'diff') words='--help --mask --keys --format --serve --port --port-file --output --mask --keys' ;;
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

complete -F _navo_trace navo-trace
