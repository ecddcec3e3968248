# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# What the tests of the installed packages share. To be sourced, by root, in a booted system.
set -euo pipefail

# shellcheck disable=SC2034  # these are for the sourcing script
cplc=4F525731000150600100506100C0FFEE00424F5050654F4550664F495070000000014F53507100000002
# shellcheck disable=SC2034
stored=/opt/usr/data/com.orvenco.navoa/.pref/tuvo

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

step() {
    printf '\n== %s\n' "$*"
}

wait_until() {
    local deadline=$((SECONDS + 60))
    until "$@"; do
        [[ $SECONDS -lt $deadline ]] || fail "this did not come: $*"
        sleep 0.05
    done
}

# as ACCOUNT COMMAND...
as() {
    local account=$1
    shift
    (cd / && setpriv --reuid="$account" --regid="$account" --init-groups --inh-caps=-all env HOME=/ "$@")
}

# refused WORDS COMMAND...: fails, and says these words.
refused() {
    local words=$1 said status=0
    shift
    said=$("$@" 2>&1) || status=$?
    printf '$ %s\n%s\n' "$*" "$said"
    [[ $status -ne 0 ]] || fail "this was done: $*"
    [[ $said == *"$words"* ]] || fail "'$words' is not among what was said"
}

# answers EXPECTED COMMAND...
answers() {
    local expected=$1 said
    shift
    said=$("$@") || fail "this failed: $*"
    printf '$ %s\n%s\n' "$*" "$said"
    [[ $said == "$expected" ]] || fail "expected $expected"
}

# An account that may use the service, and one that may not. The first end's own group is that of its name.
make_accounts() {
    printf 'u navo-member -\nu navo-stranger -\nm navo-member navo\n' | systemd-sysusers -
}

remove_accounts() {
    userdel navo-member
    userdel navo-stranger
}

is_inactive() {
    [[ $(systemctl show --value --property ActiveState "$1") == inactive ]]
}

# Local ends of all TCP sockets that listen, in hexadecimal.
listening() {
    awk '$4 == "0A" { print $2 }' /proc/net/tcp /proc/net/tcp6
}

listens_on_4433() {
    listening | grep -q ':1151$'
}

start_keyserver() {
    navo-certificates
    systemctl restart navo-keyserver.service
    wait_until listens_on_4433
}

provision() {
    answers 00000001_'The job has done successfully' as navo-member \
        navoctl --timeout 300 run --service-id demo.wallet --fc-id ISSUE
}
