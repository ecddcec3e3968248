# SPDX-License-Identifier: Apache-2.0
"""What can go wrong: one exception for each kind, below one class for all."""

from __future__ import annotations


class NavoError(Exception):
    """Anything that a session or a job can end with."""


class NoBus(NavoError):
    """There is no bus, or it did not let this process in."""


class ServiceUnreachable(NavoError):
    """Nobody has the service's name, it cannot be started, or it is forbidden."""


class SessionRefused(NavoError):
    """The service has a session of this process already."""


class SessionLost(NavoError):
    """The service does not know this session any more; the request was not run."""


class ServiceEnded(NavoError):
    """The service or the bus went while the request ran; what became of it is unknown."""


class TimedOut(NavoError):
    """No answer within the limit; the request may still be running."""


class UnexpectedReply(NavoError):
    """Who has the service's name answered as this service never does."""


class InvalidRequest(NavoError):
    """Not sent: a text that the bus cannot carry, or a closed session."""


class JobFailed(NavoError):
    """The service ran the request and reported a failure.

    `code` is the result code or the verdict, `description` the service's own words for it; "navoctl explain CODE"
    says what to look at.
    """

    def __init__(self, code: str, description: str = "") -> None:
        super().__init__(f"{code}: {description}" if description else code)
        self.code = code
        self.description = description
