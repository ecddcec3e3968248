# SPDX-License-Identifier: Apache-2.0
"""Sessions with the NAVO agent.

    import navo

    with navo.Session() as session:
        print(session.cplc())
        session.run("WALLET-01", "ISSUE", on_progress=print)

One session for each process: the service knows a client by its package and its process id. A session belongs to the
thread that opened it.
"""

from __future__ import annotations

from navo.errors import (
    InvalidRequest,
    JobFailed,
    NavoError,
    NoBus,
    ServiceEnded,
    ServiceUnreachable,
    SessionLost,
    SessionRefused,
    TimedOut,
    UnexpectedReply,
)
from navo.monitor import Event, Monitor
from navo.session import Progress, Session

__all__ = [
    "Event",
    "InvalidRequest",
    "JobFailed",
    "Monitor",
    "NavoError",
    "NoBus",
    "Progress",
    "ServiceEnded",
    "ServiceUnreachable",
    "Session",
    "SessionLost",
    "SessionRefused",
    "TimedOut",
    "UnexpectedReply",
]

__version__ = "1.6.0"
