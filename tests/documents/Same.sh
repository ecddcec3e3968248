#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Same.sh FILE PROGRAM ARGUMENT...: fails unless the program prints what the file holds.
set -euo pipefail

file=$1
shift
diff "$file" <("$@")
