# SPDX-License-Identifier: Apache-2.0
"""A private connection to the bus, served by a main context of its own."""

from __future__ import annotations

from types import TracebackType
from typing import Any, Callable, Optional, Type, TypeVar

from gi.repository import Gio, GLib

from navo import errors

NAME = "com.orvenco.navoa"
PATH = "/com/orvenco/navoa"
INTERFACE = "com.orvenco.navoa"

_DAEMON = "org.freedesktop.DBus"
_UNREACHABLE = (
    f"{_DAEMON}.Error.ServiceUnknown",
    f"{_DAEMON}.Error.NameHasNoOwner",
    f"{_DAEMON}.Error.AccessDenied",
    f"{_DAEMON}.Error.Spawn.",
    "org.freedesktop.systemd1.",
)
_NOBODY_THERE = _UNREACHABLE[:2]
_NO_LIMIT = 2**31 - 1


_Self = TypeVar("_Self", bound="Closing")


class Closing:
    """What closes with its `with`, also under an exception."""

    def close(self) -> None:
        raise NotImplementedError

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()


def _error_of(error: GLib.Error) -> errors.NavoError:
    name = Gio.DBusError.get_remote_error(error) or ""
    text = str(error.message)
    if error.matches(Gio.io_error_quark(), Gio.IOErrorEnum.TIMED_OUT) or name == f"{_DAEMON}.Error.Timeout":
        return errors.TimedOut(text)
    if name.startswith(_UNREACHABLE):
        return errors.ServiceUnreachable(text)
    if name == f"{_DAEMON}.Error.NoReply" or error.matches(Gio.io_error_quark(), Gio.IOErrorEnum.CLOSED):
        return errors.ServiceEnded(text)
    return errors.UnexpectedReply(text)


class Bus:
    """Calls wait, and signals that arrive meanwhile are delivered in the thread that waits."""

    def __init__(self, address: Optional[str]) -> None:
        self._context = GLib.MainContext.new()
        self._context.push_thread_default()
        try:
            self._connection = self._connect(address)
        except GLib.Error as error:
            raise errors.NoBus(str(error.message)) from error
        finally:
            self._context.pop_thread_default()

    @staticmethod
    def _connect(address: Optional[str]) -> Any:
        where = address or Gio.dbus_address_get_for_bus_sync(Gio.BusType.SYSTEM, None)
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        connection = Gio.DBusConnection.new_for_address_sync(where, flags, None, None)
        connection.set_exit_on_close(False)
        return connection

    def close(self) -> None:
        self._connection.close_sync(None)

    def process_id(self) -> str:
        """This process as the bus sees it: in a container that may differ from what it thinks itself."""
        name = GLib.Variant("(s)", (self._connection.get_unique_name(),))
        answer = self._connection.call_sync(
            _DAEMON, "/org/freedesktop/DBus", _DAEMON, "GetConnectionUnixProcessID", name,
            GLib.VariantType("(u)"), Gio.DBusCallFlags.NONE, -1, None,
        )
        return str(answer.unpack()[0])

    def call(
        self, to: str, method: str, request: dict[str, str], timeout: Optional[float], may_start: bool = False
    ) -> tuple[dict[str, str], str]:
        """The reply, and the unique name of who gave it."""
        message = Gio.DBusMessage.new_method_call(to, PATH, INTERFACE, method)
        message.set_body(GLib.Variant("(a{ss})", (request,)))
        if not may_start:
            message.set_flags(Gio.DBusMessageFlags.NO_AUTO_START)
        reply = self._exchange(message, _NO_LIMIT if timeout is None else max(1, int(timeout * 1000)))
        body = reply.get_body()
        if body is None or body.get_type_string() != "(a{ss})":
            raise errors.UnexpectedReply("the reply is no map of texts")
        return dict(body.unpack()[0]), str(reply.get_sender())

    def _exchange(self, message: Any, limit: int) -> Any:
        results: list[Any] = []
        self._context.push_thread_default()
        try:
            self._connection.send_message_with_reply(
                message, Gio.DBusSendMessageFlags.NONE, limit, None, lambda _, result: results.append(result)
            )
            while not results:
                self._context.iteration(True)
            reply = self._connection.send_message_with_reply_finish(results[0])
            reply.to_gerror()
            return reply
        except GLib.Error as error:
            raise _error_of(error) from error
        finally:
            self._context.pop_thread_default()

    def owner(self) -> str:
        """Who has the service's name; empty when nobody has."""
        try:
            answer = self._connection.call_sync(
                _DAEMON, "/org/freedesktop/DBus", _DAEMON, "GetNameOwner", GLib.Variant("(s)", (NAME,)),
                GLib.VariantType("(s)"), Gio.DBusCallFlags.NONE, -1, None,
            )
        except GLib.Error:
            return ""
        return str(answer.unpack()[0])

    def watch_owner(self, handler: Callable[[str, str], None]) -> None:
        """The owner of the service's name before and after each change; empty where nobody has it."""

        def deliver(_connection: Any, _sender: str, _path: str, _interface: str, _signal: str, body: Any) -> None:
            _, before, after = body.unpack()
            handler(before, after)

        self._context.push_thread_default()
        try:
            self._connection.signal_subscribe(
                _DAEMON, _DAEMON, "NameOwnerChanged", "/org/freedesktop/DBus", NAME,
                Gio.DBusSignalFlags.NONE, deliver,
            )
        finally:
            self._context.pop_thread_default()

    def wait(self) -> None:
        """Until something has arrived. Raises NoBus when the bus has gone."""
        self._context.iteration(True)
        if self._connection.is_closed():
            raise errors.NoBus("the bus has gone")

    def subscribe(self, sender: Optional[str], handler: Callable[[str, str], None]) -> int:
        """Progress of this sender: the path and the text. Gives the number that ends it."""

        def deliver(_connection: Any, _sender: str, path: str, _interface: str, _signal: str, body: Any) -> None:
            if body.get_type_string() == "(s)":
                handler(path, body.unpack()[0])

        self._context.push_thread_default()
        try:
            return int(
                self._connection.signal_subscribe(
                    sender, INTERFACE, "Progress", None, None, Gio.DBusSignalFlags.NONE, deliver
                )
            )
        finally:
            self._context.pop_thread_default()

    def unsubscribe(self, number: int) -> None:
        self._connection.signal_unsubscribe(number)


def reached_nobody(error: errors.NavoError) -> bool:
    """Whether a call found nobody under the name, so that nothing was run."""
    cause = error.__cause__
    name = Gio.DBusError.get_remote_error(cause) if isinstance(cause, GLib.Error) else None
    return name in _NOBODY_THERE
