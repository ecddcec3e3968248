# bash completion for navoctl                              -*- shell-script -*-

# The words before the cursor hold the subcommand, wherever the global options stand.
_navoctl_subcommand() {
    local index
    for ((index = 1; index < COMP_CWORD; index++)); do
        case ${COMP_WORDS[index]} in
            --timeout) ((index++)) ;;
            cplc | memory | se-status | eligibility | phone-info | set-address | run | raw)
                printf '%s' "${COMP_WORDS[index]}"
                return
                ;;
        esac
    done
}

_navoctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local commands='cplc memory se-status eligibility phone-info set-address run raw'
    local global='--help --json --quiet --timeout'
    local keys='Cmd= ServiceId= FcId= pushReq= hostAddr= CcmScriptData= encodingType= dalmDataSize= dalmData= keyName= keyType= injectionType='
    local words

    COMPREPLY=()
    case $previous in
        --timeout | --service-id | --fc-id | --push-req | --tag) return ;;
    esac
    case $(_navoctl_subcommand) in
        '') words="$commands $global --version" ;;
        cplc) words="$global --fields" ;;
        run) words="$global --service-id --fc-id --push-req" ;;
        set-address) words="$global https:// http://" ;;
        raw)
            words="$global --exec --tag $keys"
            [[ $current == -* ]] || compopt -o nospace 2>/dev/null
            ;;
        *) words=$global ;;
    esac
    while IFS='' read -r word; do
        COMPREPLY+=("$word")
    done < <(compgen -W "$words" -- "$current")
}

complete -F _navoctl navoctl
