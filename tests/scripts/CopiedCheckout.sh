#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A build folder is configured afresh when it came here with its checkout, and keeps what it was told when it did not.
set -euo pipefail

world=$(mktemp -d)
trap 'rm -rf "$world"' EXIT
mkdir -p "$world/first/script"
cp "$1/script/lib.sh" "$world/first/script"
cat >"$world/first/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES NONE)
set(TOLD nothing CACHE STRING "")
END

# configure CHECKOUT [CMAKE-ARGUMENT...]
configure() {
    # shellcheck disable=SC2016  # the inner shell fills them in
    bash -c 'source "$0/script/lib.sh"; configure_in build/small "$@"' "$@"
}

# expect CHECKOUT TOLD: its cache is its own, and holds that.
expect() {
    local cache=$world/$1/build/small/CMakeCache.txt
    if ! grep -qx "CMAKE_HOME_DIRECTORY:INTERNAL=$world/$1" "$cache" || ! grep -qx "TOLD:STRING=$2" "$cache"; then
        printf '%s: expected its own cache with "%s", but found:\n' "$1" "$2"
        grep -E '^(CMAKE_HOME_DIRECTORY|TOLD)' "$cache"
        exit 1
    fi
}

configure "$world/first" -DTOLD=something
configure "$world/first"
expect first something

cp -a "$world/first" "$world/second"
configure "$world/second"
expect second nothing
expect first something

mv "$world/first" "$world/third"
configure "$world/third"
expect third nothing
