#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# script/on-debian says what it cannot do, by its exit status too, before it touches anything.
set -uo pipefail

checkout=$1
world=$(mktemp -d)
trap 'rm -rf "$world"' EXIT
mkdir "$world/script" "$world/bin"
cp "$checkout/script/lib.sh" "$checkout/script/on-debian" "$world/script"

# expect STATUS TEXT ARGUMENT...: with an apt that takes from what $world/targets names, and no bootstrap that works.
expect() {
    local status=0 said
    said=$(PATH="$world/bin:$PATH" "$world/script/on-debian" "${@:3}" 2>&1) || status=$?
    if [[ $status -ne $1 || $said != *"$2"* ]]; then
        printf 'on-debian %s: expected status %s and "%s", but got %s and:\n%s\n' "${*:3}" "$1" "$2" "$status" "$said"
        exit 1
    fi
}

printf '#!/bin/sh\ncat "%s/targets"\n' "$world" >"$world/bin/apt-get"
printf '#!/bin/sh\nexit 1\n' >"$world/script/bootstrap"
chmod +x "$world/bin/apt-get" "$world/script/bootstrap"
# Whoever runs this test: what would need root does nothing here.
printf '#!/bin/sh\nshift\nexec "$@"\n' >"$world/bin/sudo"
chmod +x "$world/bin/sudo"
: >"$world/targets"

expect 0 'Usage:' --help
expect 2 'Usage:'
expect 2 'Usage:' 13
expect 2 'Usage:' --unheard-of 13 true
expect 2 'Usage:' --prepare
expect 1 "'11' is none of the releases" 11 true
expect 1 "'11' is none of the releases" --prepare 11

# Somebody else's packages for Debian are not a mirror of Debian, and a mirror alone makes no system.
printf '%s\n' 'bookworm http://packages.example/ Someone' 'jammy http://mirror.example/ Ubuntu' >"$world/targets"
expect 77 'takes nothing from a mirror of Debian' --prepare 13
expect 77 'takes nothing from a mirror of Debian' 13 true
printf '%s\n' 'bookworm http://mirror.example/debian/ Debian' >>"$world/targets"
expect 77 'mmdebstrap makes the bare Debian, and could not be installed' 13 true
