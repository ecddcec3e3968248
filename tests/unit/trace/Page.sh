#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Page.sh FOLDER NAVO-TRACE: checks the page in a browser. 77 where the browser or what drives it is not there.
set -euo pipefail

for program in node "${NAVO_BROWSER:-chromium}"; do
    command -v "$program" >/dev/null || { echo "skipped: $program is not installed (script/bootstrap page)" && exit 77; }
done
[[ -d $1/node_modules/playwright-core ]] || { echo "skipped: playwright-core is not there (script/bootstrap page)" && exit 77; }
cd "$1"
exec node check.mjs "$2"
