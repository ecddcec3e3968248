# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# What the scripts of this folder share. To be sourced; leaves the caller in the project's root.

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

# The programs and tests reach nothing but this machine, and a proxy of the caller's would stand in between.
unset http_proxy https_proxy all_proxy HTTP_PROXY HTTPS_PROXY ALL_PROXY

# The programs are awaited by their names in front of each line, and sorted output must not depend on the place.
export LC_ALL=C.UTF-8

# A compiler's results are kept for the next build, and outside the tree for the next checkout: every path below this one
# counts as relative, and a precompiled header as what it holds, not as the file that it happens to be.
compiler_cache=${CMAKE_CXX_COMPILER_LAUNCHER-$(command -v ccache || true)}
export CCACHE_BASEDIR=$root
export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros,include_file_mtime,include_file_ctime}

say() {
    printf '%s\n' "$*"
}

heading() {
    printf '\n== %s\n' "$*"
}

complain() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
}

fail() {
    complain "$*"
    exit 1
}

# choose_checks [CHECK...]: fills `checks` with the named ones, or with all_checks; after --but, with all but the named
# ones. A check NAME is the function check_NAME of the sourcing script.
choose_checks() {
    local check but=
    if [[ ${1:-} == --but ]]; then
        but=yes
        shift
    fi
    checks=("$@")
    for check in "$@"; do
        if ! declare -F "check_$check" >/dev/null; then
            usage
            [[ $check == -h || $check == --help ]] && exit 0
            exit 2
        fi
    done
    [[ $# -gt 0 && -z $but ]] || checks=("${all_checks[@]}")
    [[ -z $but ]] || mapfile -t checks < <(printf '%s\n' "${all_checks[@]}" | grep -vxF "$(printf '%s\n' "$@")")
}

# Runs the chosen checks, by the sourcing script's own `--only NAME`, and fails when one of them does.
run_checks() {
    local check failed=() started
    for check in "${checks[@]}"; do
        heading "${0##*/}: $check"
        started=$EPOCHREALTIME
        # A process of its own, so that a check stops at its first failed command and the next one still runs.
        if "$0" --only "$check"; then
            say "$check: passed in $(seconds_since "$started") s"
        else
            say "$check: FAILED after $(seconds_since "$started") s"
            failed+=("$check")
        fi
    done
    heading "${0##*/}: $((${#checks[@]} - ${#failed[@]})) of ${#checks[@]} checks passed"
    [[ ${#failed[@]} -eq 0 ]] || fail "failed: ${failed[*]}"
}

# explain FILE [LINES]: the end of a log that tells why something failed.
explain() {
    [[ -s $1 ]] || return 0
    printf '  last lines of %s:\n' "${1##*/}" >&2
    tail -n "${2:-20}" "$1" | sed 's/^/    /' >&2
}

cores() {
    nproc 2>/dev/null || printf '2\n'
}

# seconds_since START: START is a value of EPOCHREALTIME.
seconds_since() {
    local start=${1/[.,]/} now=${EPOCHREALTIME/[.,]/}
    local hundredths=$(((now - start) / 10000))
    printf '%d.%02d' $((hundredths / 100)) $((hundredths % 100))
}

# locked NAME COMMAND...: runs that would work in the same folder wait for each other.
locked() {
    local name=$1
    shift
    mkdir -p build
    (
        if ! flock --nonblock 9; then
            say "Waiting for another run that works on $name"
            flock 9
        fi
        "$@" 9>&-
    ) 9>"build/.$name.lock"
}

# find_root PURPOSE: fills as_root with the words that make a command run as root; fails when there are none.
# shellcheck disable=SC2034  # it is for the sourcing script
find_root() {
    as_root=()
    [[ $EUID -ne 0 ]] || return 0
    if ! command -v sudo >/dev/null; then
        complain "$1 takes root, or a user with sudo: neither is here"
        return 1
    elif sudo --non-interactive true 2>/dev/null; then
        as_root=(sudo --non-interactive)
    elif [[ -t 0 ]]; then
        as_root=(sudo)
    else
        complain "$1 takes root; sudo wants a password and there is no terminal to ask for it"
        return 1
    fi
}

# is_configured FOLDER: by CMake, and for this checkout. A folder that was copied or moved with its checkout is not.
is_configured() {
    local folder sources
    folder=$(sed -n 's/^CMAKE_CACHEFILE_DIR:INTERNAL=//p' "$1/CMakeCache.txt" 2>/dev/null) || return
    sources=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$1/CMakeCache.txt")
    [[ $folder -ef $1 && ($sources -ef $root || $sources -ef $root/src) ]]
}

# configure_in FOLDER CMAKE-ARGUMENT...: prints nothing but what went wrong.
configure_in() {
    local folder=$1 always=(-DCMAKE_CXX_COMPILER_LAUNCHER="$compiler_cache")
    shift
    mkdir -p "$folder"
    is_configured "$folder" || always+=(--fresh)
    if ! cmake -B "$folder" -G Ninja "${always[@]}" "$@" >"$folder/configure.log" 2>&1; then
        explain "$folder/configure.log" 40
        fail "the build in $folder could not be configured"
    fi
}

# configure PRESET [CMAKE-ARGUMENT...]
configure() {
    local preset=$1
    shift
    configure_in "build/$preset" --preset "$preset" "$@"
}

# A terminal shows a build's steps in one line; elsewhere each tenth is enough. What the compiler says always passes.
thin_out() {
    local line
    while IFS= read -r line; do
        if [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]]; then
            [[ ${BASH_REMATCH[1]} -eq ${BASH_REMATCH[2]} || $((BASH_REMATCH[1] % 10)) -eq 0 ]] || continue
        fi
        printf '%s\n' "$line"
    done
}

# compile_in FOLDER [CMAKE-BUILD-ARGUMENT...]
compile_in() {
    local folder=$1
    shift
    if [[ -t 1 ]]; then
        NINJA_STATUS='[%f/%t] ' cmake --build "$folder" --parallel "$(cores)" "$@"
    else
        NINJA_STATUS='[%f/%t] ' cmake --build "$folder" --parallel "$(cores)" "$@" 2>&1 | thin_out
    fi
}

# compile PRESET [TARGET...]
compile() {
    local preset=$1
    shift
    compile_in "build/$preset" ${1:+--target} "$@"
}
