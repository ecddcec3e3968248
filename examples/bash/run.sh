#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Lets the server run its script for a service, and counts what the card is told: run.sh SERVICE-ID [FC-ID].
set -euo pipefail

[[ $# -ge 1 ]] || { echo "Usage: run.sh SERVICE-ID [FC-ID]" >&2 && exit 2; }
navoctl run --service-id "$1" --fc-id "${2:-}" 2>&1 | while IFS= read -r line; do
    printf '%(%H:%M:%S)T  %s\n' -1 "$line"
done
