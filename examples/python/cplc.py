#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the card production life cycle data."""

import sys

import navo

try:
    with navo.Session() as session:
        print(session.cplc())
except navo.NavoError as error:
    sys.exit(f"{type(error).__name__}: {error}")
