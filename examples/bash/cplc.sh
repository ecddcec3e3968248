#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Prints the card production life cycle data, or what to look at when that fails.
set -euo pipefail

if ! cplc=$(navoctl cplc); then
    navoctl doctor >&2
    exit 1
fi
printf '%s\n' "$cplc"
