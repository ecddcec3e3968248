# SPDX-License-Identifier: Apache-2.0
"""Watches the service come and go, and everybody's progress. It neither starts the service nor opens a session."""

from __future__ import annotations

import dataclasses
from typing import Iterator, Optional

from navo.bus import Bus, Closing


@dataclasses.dataclass(frozen=True)
class Event:
    """`kind` is "service-came", "service-left" or "progress"."""

    kind: str
    connection: str = ""  # of the service, when it comes or goes
    client: str = ""  # of progress, a process id in most cases
    text: str = ""  # of progress: "A4_Select Service"


class Monitor(Closing):
    """Iterate over it: each event as it happens, beginning with a service that runs already."""

    def __init__(self, address: Optional[str] = None) -> None:
        self._events: list[Event] = []
        self._bus = Bus(address)
        self._bus.watch_owner(self._on_owner)
        self._bus.subscribe(None, self._on_progress)
        owner = self._bus.owner()
        if owner and not self._events:
            self._events.append(Event("service-came", connection=owner))

    def close(self) -> None:
        """Leaves the bus."""
        self._bus.close()

    def __iter__(self) -> Iterator[Event]:
        while True:
            while self._events:
                yield self._events.pop(0)
            self._bus.wait()

    def _on_owner(self, before: str, after: str) -> None:
        if before:
            self._events.append(Event("service-left", connection=before))
        if after:
            self._events.append(Event("service-came", connection=after))

    def _on_progress(self, path: str, text: str) -> None:
        self._events.append(Event("progress", client=path.rpartition("/")[2], text=text))
