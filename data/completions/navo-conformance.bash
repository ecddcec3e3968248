# bash completion for navo-conformance                              -*- shell-script -*-
# Printed by: navo-conformance --completion bash

_navo_conformance() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' words='' kind='' index word

    # The command, wherever options stand between its words.
    for ((index = 1; index < COMP_CWORD; index++)); do
        case ${COMP_WORDS[index]} in
            --completion | --bus | --patience | --stranger | --only | --make-certificate | --certificate | --key | --listen | --port | --host | --restore) ((index++)) ;;
        esac
    done

    case "$command $previous" in
        *' --completion') words='bash zsh fish' ;;
        *' --bus') : ;;
        *' --patience') : ;;
        *' --stranger') : ;;
        *' --only') words='bus.activation session.open bus.description session.refused session.words session.methods session.none session.process session.end callers.strangers request.empty request.without-command request.out-of-range request.unknown request.exec request.unfit command.cplc command.memory command.phone-info command.ccm command.keys script.done script.progress script.refused script.unknown-service script.malformed script.own-code eligibility address.kept server.status server.empty server.dropped server.late queue.order queue.given-up tls.untrusted server.unreachable' ;;
        *' --make-certificate') kind='directory' ;;
        *' --certificate') kind='file' ;;
        *' --key') kind='file' ;;
        *' --listen') : ;;
        *' --port') : ;;
        *' --host') : ;;
        *' --restore') words='https:// http://' ;;
        *)
            case $command in
                '') words='--help --version --completion --bus --patience --stranger --only --json --list --strict --make-certificate --certificate --key --listen --port --host --directed --restore' ;;
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

complete -F _navo_conformance navo-conformance
