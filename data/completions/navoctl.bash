# bash completion for navoctl                              -*- shell-script -*-

# The words before the cursor hold the subcommand, wherever the global options stand.
_navoctl_subcommand() {
    local index found=
    for ((index = 1; index < COMP_CWORD; index++)); do
        case ${COMP_WORDS[index]} in
            --timeout) ((index++)) ;;
            key) found=key ;;
            inject | verify | uid | get | release)
                [[ $found != key ]] || found="key ${COMP_WORDS[index]}"
                ;;
            cplc | memory | se-status | eligibility | phone-info | set-address | run | ccm | raw)
                printf '%s' "${COMP_WORDS[index]}"
                return
                ;;
        esac
    done
    printf '%s' "$found"
}

_navoctl_files() {
    while IFS='' read -r word; do
        COMPREPLY+=("$word")
    done < <(compgen -f -- "$1")
    compopt -o filenames 2>/dev/null
}

_navoctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local commands='cplc memory se-status eligibility phone-info set-address run ccm key raw'
    local global='--help --json --quiet --timeout'
    local keys='Cmd= ServiceId= FcId= pushReq= hostAddr= CcmScriptData= encodingType= dalmDataSize= dalmData= keyName= keyType= injectionType='
    local words=

    COMPREPLY=()
    case $previous in
        --timeout | --service-id | --fc-id | --push-req | --tag | --data | --size) return ;;
        --data-file)
            _navoctl_files "$current"
            return
            ;;
        --type) words='symmetric asymmetric' ;;
        --injection) words='given generated sealed' ;;
        --encoding) words='hex text base64' ;;
    esac
    [[ -n $words ]] || case $(_navoctl_subcommand) in
        '') words="$commands $global --version" ;;
        cplc) words="$global --fields" ;;
        run) words="$global --service-id --fc-id --push-req" ;;
        set-address) words="$global https:// http://" ;;
        ccm)
            words=$global
            [[ $current == -* ]] || _navoctl_files "$current"
            ;;
        key) words="inject verify uid get release $global" ;;
        'key inject') words="$global --type --injection --encoding --data --data-file" ;;
        'key verify') words="$global --type --injection" ;;
        'key uid') words="$global --type --injection --size" ;;
        'key get') words="$global --type --encoding --size --release" ;;
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
