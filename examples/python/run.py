#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Lets the server run its script for a service, and says what the card is told meanwhile: run.py SERVICE-ID [FC-ID]."""

import sys

import navo

if len(sys.argv) < 2:
    sys.exit("Usage: run.py SERVICE-ID [FC-ID]")

try:
    with navo.Session() as session:
        session.run(*sys.argv[1:3], on_progress=lambda progress: print(progress, flush=True))
    print("done")
except navo.NavoError as error:
    sys.exit(f"{type(error).__name__}: {error}")
