#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Says what the service does, until it has come and gone once."""

import sys

import navo

try:
    with navo.Monitor() as monitor:
        print("watching", flush=True)
        for event in monitor:
            print(event.kind, event.client, event.text, flush=True)
            if event.kind == "service-left":
                break
except navo.NavoError as error:
    sys.exit(f"{type(error).__name__}: {error}")
