# SPDX-License-Identifier: Apache-2.0
"""A session with the service: open, call, close."""

from __future__ import annotations

import dataclasses
from typing import Callable, Mapping, Optional

from navo import errors
from navo.bus import NAME, Bus, Closing, reached_nobody

_OPEN_ATTEMPTS = 5
_DONE = ("00000001", "00000002")
_WRONG_COMMAND = "10000001"


@dataclasses.dataclass(frozen=True)
class Progress:
    """A card command that the service sends: its instruction byte, and the service's word for it."""

    instruction: str
    description: str

    def __str__(self) -> str:
        return f"{self.instruction}_{self.description}"


OnProgress = Callable[[Progress], None]


def _is_own(path: str, process: str) -> bool:
    """Progress goes out from a path that ends in the client's process id."""
    last = path.rpartition("/")[2]
    return path.startswith("/navoa/client/") and (last == process or last.endswith("_" + process))


def _checked(request: Mapping[str, str]) -> dict[str, str]:
    for key, value in request.items():
        if "\0" in key or "\0" in value:
            raise errors.InvalidRequest(f'the entry "{key}" has a zero byte')
    if "Session" in request:
        raise errors.InvalidRequest('the key "Session" is for opening and closing only')
    return dict(request)


class Session(Closing):
    """Opens when it is made and closes with its `with`, also under an exception.

    `address` is that of the bus (the system bus when left out), `timeout` the seconds for each single answer (no limit
    when left out: a job that a server drives may take minutes).
    """

    def __init__(self, address: Optional[str] = None, timeout: Optional[float] = None) -> None:
        self._timeout = timeout
        self._service = ""
        self._bus = Bus(address)
        self._process = self._bus.process_id()
        self._open()

    def _open(self) -> None:
        for _ in range(_OPEN_ATTEMPTS):
            try:
                reply, sender = self._bus.call(NAME, "Session", {"Session": "Open"}, self._timeout, may_start=True)
            except errors.ServiceEnded:
                continue  # it was on its way out; the bus starts the next one
            answer = reply.get("ReturnCode", "")
            if answer == "Success":
                self._service = sender
                if self._is_served():
                    return
            elif answer == "Failed":
                # A refused opening counts all the same.
                self._bus.call(sender, "Session", {"Session": "Close"}, self._timeout)
                raise errors.SessionRefused("the service has a session of this process already")
            elif answer != "Wrong parameters":
                raise errors.UnexpectedReply(f'opening a session was answered with "{answer}"')
        raise errors.ServiceUnreachable("the service ended each time that it was asked")

    def _is_served(self) -> bool:
        """An ending service may still say "Success"; a request that does nothing tells."""
        try:
            self.call({"Cmd": "66"})
            return True
        except (errors.SessionLost, errors.ServiceEnded):
            return False

    def close(self) -> None:
        """Ends the session; nothing when it is closed."""
        service, self._service = self._service, ""
        if not service:
            return
        try:
            self._bus.call(service, "Session", {"Session": "Close"}, self._timeout)
        except (errors.ServiceEnded, errors.ServiceUnreachable):
            pass  # a service that has ended counts as closed
        finally:
            self._bus.close()

    def call(self, request: Mapping[str, str], on_progress: Optional[OnProgress] = None) -> dict[str, str]:
        """Sends one request as it stands and gives its reply, whatever that says."""
        if not self._service:
            raise errors.InvalidRequest("the session is closed")

        def deliver(path: str, text: str) -> None:
            if on_progress is not None and _is_own(path, self._process):
                instruction, _, description = text.partition("_")
                on_progress(Progress(instruction, description))

        subscription = self._bus.subscribe(self._service, deliver)
        try:
            reply, _ = self._bus.call(self._service, "Cmd", _checked(request), self._timeout)
        except errors.ServiceUnreachable as error:
            if reached_nobody(error):
                self._service = ""
                raise errors.SessionLost("the service that held this session has ended") from error
            raise
        finally:
            self._bus.unsubscribe(subscription)
        if request and reply.get("ReturnCode") == "Wrong parameters":
            raise errors.SessionLost("the service does not know this session")
        return reply

    # Jobs of the service. Each raises JobFailed when the service reports a failure.

    def se_status(self) -> None:
        """Does nothing in the service; says that it answers and knows this session."""
        failure = _failure(self.call({"Cmd": "66"}).get("ReturnCode", ""))
        if failure.code != _WRONG_COMMAND:
            raise failure

    def cplc(self) -> str:
        """The card production life cycle data, hexadecimal."""
        text = self.call({"Cmd": "67"})["ReturnCode"]
        if "_" in text or not text:
            raise _failure(text)
        return text

    def free_memory(self) -> int:
        """Bytes that are free on the secure element."""
        reply = self.call({"Cmd": "68"})
        if "MemoryInfo" not in reply:
            raise _failure(reply.get("ReturnCode", ""))
        return _number(reply["MemoryInfo"])

    def check_eligibility(self) -> None:
        """Lets the server check whether this device may use its services."""
        _require_done(self.call({"Cmd": "69"}))

    def run(
        self, service_id: str, fc_id: str = "", push_req: str = "", on_progress: Optional[OnProgress] = None
    ) -> None:
        """Lets the server run its script for a service."""
        request = {"Cmd": "65", "ServiceId": service_id, "FcId": fc_id, "pushReq": push_req}
        _require_done(self.call(request, on_progress))

    def play_ccm(self, script: str, on_progress: Optional[OnProgress] = None) -> int:
        """Plays a CCM script, in hexadecimal digits, to the secure element; gives the verdict, 0 or more."""
        reply = self.call({"Cmd": "90", "CcmScriptData": script}, on_progress)
        verdict = reply.get("LccmReturnCode")
        if verdict is None:
            raise _failure(reply.get("ReturnCode", ""))
        if _number(verdict) < 0:
            raise errors.JobFailed(verdict)
        return _number(verdict)

    def phone_info(self) -> str:
        """What the service knows of the device, for privileged clients."""
        reply = self.call({"Cmd": "1F4"})
        if "phoneInfo" not in reply:
            raise _failure(reply.get("ReturnCode", ""))
        return reply["phoneInfo"]

    def set_address(self, address: str) -> None:
        """Stores the address of the key-management server, for privileged clients."""
        _require_done(self.call({"Cmd": "1F5", "hostAddr": address}))

    def inject_key(
        self, name: str, key_type: int, injection: int, data: Optional[str] = None, encoding: int = 1
    ) -> int:
        """Injects a key; the numbers are those of the device's key-provisioning library, as is what it gives."""
        request = {"Cmd": "3F0", "keyName": name, "keyType": str(key_type), "injectionType": str(injection)}
        if data is not None:
            request.update(dalmData=data, encodingType=str(encoding))
        return _verdict(self.call(request))

    def verify_key(self, name: str, key_type: int, injection: int) -> int:
        """Verifies that a key was injected so; gives what the library returned, 0 or more."""
        request = {"Cmd": "3F1", "keyName": name, "keyType": str(key_type), "injectionType": str(injection)}
        return _verdict(self.call(request))

    def key_uid(self, name: str, key_type: int, injection: int, size: int = 10000) -> str:
        """The UID of an injected key."""
        request = {"Cmd": "3F2", "keyName": name, "keyType": str(key_type), "injectionType": str(injection)}
        return _key_data(self.call({**request, "dalmDataSize": str(size)}))

    def get_key(self, name: str, key_type: int, encoding: int = 1, size: int = 10000) -> str:
        """Opens a get-key session and gives the key; `release_key` ends that session."""
        request = {"Cmd": "3F3", "keyName": name, "keyType": str(key_type), "encodingType": str(encoding)}
        return _key_data(self.call({**request, "dalmDataSize": str(size)}))

    def release_key(self) -> int:
        """Ends the get-key session; gives what the library returned, 0 or more."""
        return _verdict(self.call({"Cmd": "3F4"}))


def _failure(text: str) -> errors.JobFailed:
    code, _, description = text.partition("_")
    return errors.JobFailed(code, description)


def _require_done(reply: dict[str, str]) -> None:
    failure = _failure(reply.get("ReturnCode", ""))
    if failure.code not in _DONE:
        raise failure


def _number(text: str) -> int:
    try:
        return int(text)
    except ValueError:
        raise errors.UnexpectedReply(f'the reply has "{text}" where a number stands') from None


def _verdict(reply: dict[str, str]) -> int:
    """The verdict of the key library stands where others have the result message."""
    text = reply.get("ReturnCode", "")
    if "_" in text or not text:
        raise _failure(text)
    if _number(text) < 0:
        raise errors.JobFailed(text)
    return _number(text)


def _key_data(reply: dict[str, str]) -> str:
    """Data that is no text does not fit on the bus and stays out."""
    if _verdict(reply) > 0 and "dalmData" not in reply:
        raise errors.JobFailed(reply["ReturnCode"], "the key data is no UTF-8 text; ask for another encoding")
    return reply.get("dalmData", "")
