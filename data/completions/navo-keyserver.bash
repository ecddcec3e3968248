# bash completion for navo-keyserver                              -*- shell-script -*-
# Printed by: navo-keyserver --completion bash

_navo_keyserver() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' words='' kind='' index word

    # The command, wherever options stand between its words.
    for ((index = 1; index < COMP_CWORD; index++)); do
        case ${COMP_WORDS[index]} in
            --completion | --listen | --port | --port-file | --certificate | --key | --make-certificate | --certificate-days | --certificate-name | --script | --scripts | --catalogue | --eligibility | --misbehave | --keep-alive | --max-connections | --max-sessions | --session-idle | --max-body | --mask | --record | --summary-file) ((index++)) ;;
        esac
    done

    case "$command $previous" in
        *' --completion') words='bash zsh fish' ;;
        *' --listen') : ;;
        *' --port') : ;;
        *' --port-file') kind='file' ;;
        *' --certificate') kind='file' ;;
        *' --key') kind='file' ;;
        *' --make-certificate') kind='directory' ;;
        *' --certificate-days') : ;;
        *' --certificate-name') : ;;
        *' --script') kind='file' ;;
        *' --scripts') kind='directory' ;;
        *' --catalogue') kind='file' ;;
        *' --eligibility') : ;;
        *' --misbehave') : ;;
        *' --keep-alive') : ;;
        *' --max-connections') : ;;
        *' --max-sessions') : ;;
        *' --session-idle') : ;;
        *' --max-body') : ;;
        *' --mask') words='secrets none' ;;
        *' --record') kind='file' ;;
        *' --summary-file') kind='file' ;;
        *)
            case $command in
                '') words='--help --version --completion --https --http --listen --plain-for-anybody --port --port-file --certificate --key --make-certificate --certificate-days --certificate-name --certificate-only --script --scripts --catalogue --check --eligibility --misbehave --keep-alive --max-connections --max-sessions --session-idle --max-body --quiet --mask --record --summary-file' ;;
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

complete -F _navo_keyserver navo-keyserver
