#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Says what happens around the service until it has come and gone once.
set -euo pipefail

while IFS= read -r event; do
    printf '%s\n' "$event"
    [[ $event != *'"event":"service-left"'* ]] || break
done < <(navoctl monitor --json)
