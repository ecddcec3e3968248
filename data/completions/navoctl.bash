# bash completion for navoctl                              -*- shell-script -*-
# Printed by: navoctl --completion bash

_navoctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' words='' kind='' index word

    # The command, wherever options stand between its words.
    for ((index = 1; index < COMP_CWORD; index++)); do
        case ${COMP_WORDS[index]} in
            --completion | --timeout | --service-id | --fc-id | --push-req | --type | --injection | --encoding | --data | --data-file | --size | --tag | --atr | --life-cycle | --privileges) ((index++)) ;;
            *)
                case "${command:+$command }${COMP_WORDS[index]}" in
                    'cplc' | 'memory' | 'se-status' | 'eligibility' | 'phone-info' | 'set-address' | 'run' | 'ccm' | 'key' | 'key inject' | 'key verify' | 'key uid' | 'key get' | 'key release' | 'raw' | 'explain' | 'doctor' | 'monitor' | 'shell' | 'help') command="${command:+$command }${COMP_WORDS[index]}" ;;
                esac
                ;;
        esac
    done

    case "$command $previous" in
        'run --service-id') : ;;
        'run --fc-id') : ;;
        'run --push-req') : ;;
        'key inject --type') words='symmetric asymmetric' ;;
        'key inject --injection') words='given generated sealed' ;;
        'key inject --encoding') words='hex text base64' ;;
        'key inject --data') : ;;
        'key inject --data-file') kind='file' ;;
        'key verify --type') words='symmetric asymmetric' ;;
        'key verify --injection') words='given generated sealed' ;;
        'key uid --type') words='symmetric asymmetric' ;;
        'key uid --injection') words='given generated sealed' ;;
        'key uid --size') : ;;
        'key get --type') words='symmetric asymmetric' ;;
        'key get --encoding') words='hex text base64' ;;
        'key get --size') : ;;
        'raw --tag') : ;;
        'explain --atr') : ;;
        'explain --life-cycle') : ;;
        'explain --privileges') : ;;
        *' --completion') words='bash zsh fish' ;;
        *' --timeout') : ;;
        *)
            case $command in
                '') words='cplc memory se-status eligibility phone-info set-address run ccm key raw explain doctor monitor shell help --help --version --completion --json --quiet --timeout' ;;
                'cplc') words='--help --fields --json --quiet --timeout' ;;
                'memory') words='--help --json --quiet --timeout' ;;
                'se-status') words='--help --json --quiet --timeout' ;;
                'eligibility') words='--help --json --quiet --timeout' ;;
                'phone-info') words='--help --json --quiet --timeout' ;;
                'set-address') words='https:// http:// --help --json --quiet --timeout' ;;
                'run') words='--help --service-id --fc-id --push-req --json --quiet --timeout' ;;
                'ccm') words='--help --json --quiet --timeout' kind='file' ;;
                'key') words='inject verify uid get release --help --json --quiet --timeout' ;;
                'key inject') words='--help --type --injection --encoding --data --data-file --json --quiet --timeout' ;;
                'key verify') words='--help --type --injection --json --quiet --timeout' ;;
                'key uid') words='--help --type --injection --size --json --quiet --timeout' ;;
                'key get') words='--help --type --encoding --size --release --json --quiet --timeout' ;;
                'key release') words='--help --json --quiet --timeout' ;;
                'raw') words='Cmd= ServiceId= FcId= pushReq= hostAddr= CcmScriptData= encodingType= dalmDataSize= dalmData= keyName= keyType= injectionType= --help --exec --tag --json --quiet --timeout' ;;
                'explain') words='-10 -11 -12 -13 -2 -3 -30 -4 -5 0 00000000 00000001 00000002 00000009 10000000 10000001 10000002 10000003 10000004 10000005 10100000 10100001 10100002 10100003 10100004 10100005 10100006 10100007 10100008 10100009 10100010 10100011 10100012 10100013 10100014 10100015 10100016 10100017 10100018 10100019 10100020 10100021 10200000 10200001 10200002 10200003 10200004 10200005 10300000 10300004 10300005 10300006 10300007 10300008 10300009 10300010 10300011 10300012 10300013 10300014 10400001 10400002 10400003 10400004 10400005 10400006 10400007 10400008 10400009 10500006 10600001 10600002 200 400 401 403 404 405 407 408 413 429 431 500 501 502 503 504 6200 6283 6300 6310 6400 6581 6700 6881 6882 6982 6983 6984 6985 6987 6988 6A80 6A81 6A82 6A84 6A86 6A88 9000 90202001 90202002 90202003 90202004 90202005 90202008 90202009 9484 9485 cancelled invalid-request job-failed no-bus service-ended service-unreachable session-lost session-refused timed-out unexpected-reply --help --atr --life-cycle --privileges --json --quiet --timeout' ;;
                'doctor') words='--help --json --quiet --timeout' ;;
                'monitor') words='--help --json --quiet --timeout' ;;
                'shell') words='--help --json --quiet --timeout' ;;
                'help') words='cplc memory se-status eligibility phone-info set-address run ccm key raw explain doctor monitor shell help --help --json --quiet --timeout' ;;
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

complete -F _navoctl navoctl
