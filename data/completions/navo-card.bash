# bash completion for navo-card                              -*- shell-script -*-
# Printed by: navo-card --completion bash

_navo_card() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' words='' kind='' index word

    # The command, wherever options stand between its words.
    for ((index = 1; index < COMP_CWORD; index++)); do
        case ${COMP_WORDS[index]} in
            --completion | --host | --port | --record | --profile | --state-file | --protocol | --atr | --channel-option | --cplc | --memory | --volatile-memory | --keys | --key-version) ((index++)) ;;
        esac
    done

    case "$command $previous" in
        *' --completion') words='bash zsh fish' ;;
        *' --host') : ;;
        *' --port') : ;;
        *' --record') kind='file' ;;
        *' --profile') kind='file' ;;
        *' --state-file') kind='file' ;;
        *' --protocol') words='T=0 T=1' ;;
        *' --atr') : ;;
        *' --channel-option') : ;;
        *' --cplc') : ;;
        *' --memory') : ;;
        *' --volatile-memory') : ;;
        *' --keys') : ;;
        *' --key-version') : ;;
        *)
            case $command in
                '') words='--help --version --completion --host --port --once --record --profile --state-file --list --protocol --atr --channel-option --cplc --memory --volatile-memory --keys --key-version' ;;
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

complete -F _navo_card navo-card
