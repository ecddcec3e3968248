#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Read.sh PROGRAM ARGUMENT...: fails when the program complains by its status or on its outputs. 77 without the program.
set -euo pipefail

command -v "$1" >/dev/null || { echo "$1 is not installed" && exit 77; }
status=0
complaints=$("$@" 2>&1) || status=$?
printf '%s\n' "$complaints"
[[ $status -eq 0 ]] || exit 1
[[ -z $complaints || $complaints == Success:* ]] || exit 1
