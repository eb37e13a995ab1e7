"""A client of the sandbox's system bus."""

from __future__ import annotations

import re
import time
from pathlib import Path
from typing import Any

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

from .timeline import TIMEOUT  # noqa: E402

_PROPERTIES = "org.freedesktop.DBus.Properties"
_UNMAPPED = re.compile(r"org\.gtk\.GDBus\.UnmappedGError\.Quark\._(\w+)\.Code(\d+)")


class BusError(Exception):
    """An error reply. For an error of GLib's, @p domain and @p code are those of the sender's GError."""

    def __init__(self, name: str | None, message: str) -> None:
        super().__init__(f"{name}: {message}")
        self.name = name  # None: no reply came
        self.message = message
        unmapped = _UNMAPPED.fullmatch(name or "")
        self.domain = _unescape(unmapped[1]) if unmapped else None
        self.code = int(unmapped[2]) if unmapped else None

    @classmethod
    def from_glib(cls, error: GLib.Error) -> BusError:
        name = Gio.DBusError.get_remote_error(error)
        Gio.DBusError.strip_remote_error(error)
        text = error.message
        prefix = f"GDBus.Error:{name}: "
        return cls(name, text.removeprefix(prefix))


def _unescape(name: str) -> str:
    return re.sub(r"_([0-9a-f]{2})", lambda match: chr(int(match[1], 16)), name)


class PendingCall:
    """A call whose reply is fetched later."""

    def __init__(self) -> None:
        self._outcome: tuple[Any, ...] | BusError | None = None

    def done(self) -> bool:
        GLib.MainContext.default().iteration(False)
        return self._outcome is not None

    def result(self, timeout: float = TIMEOUT) -> Any:
        """What BusClient.call() returns or raises."""
        deadline = time.monotonic() + timeout
        while not self.done():
            if time.monotonic() > deadline:
                raise AssertionError(f"no reply within {timeout} s")
            time.sleep(0.001)
        if isinstance(self._outcome, BusError):
            raise self._outcome
        return _simplify(self._outcome)

    def finish(self, connection: Gio.DBusConnection, result: Gio.AsyncResult) -> None:
        try:
            self._outcome = connection.call_finish(result).unpack()
        except GLib.Error as error:
            self._outcome = BusError.from_glib(error)


def _simplify(values: tuple[Any, ...]) -> Any:
    if not values:
        return None
    return values[0] if len(values) == 1 else values


class BusClient:
    """One connection as (namespace) root.

    Arguments are given as a signature with values ("(ib)", 3, True) or as one GVariant. A reply comes back as
    plain Python: None, its only value, or the tuple of its values. An error reply raises BusError.
    """

    def __init__(self, address: Path, name: str) -> None:
        flags = (
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        )
        self.name = name  # the service that is called unless another one is named
        self.connection = Gio.DBusConnection.new_for_address_sync(f"unix:path={address}", flags, None, None)

    def call(
        self,
        path: str,
        interface: str,
        method: str,
        signature: str | GLib.Variant | None = None,
        *values: Any,
        name: str | None = None,
        timeout: float = TIMEOUT,
    ) -> Any:
        arguments = _arguments(signature, values)
        try:
            reply = self.connection.call_sync(
                name or self.name,
                path,
                interface,
                method,
                arguments,
                None,
                Gio.DBusCallFlags.NONE,
                int(timeout * 1000),
                None,
            )
        except GLib.Error as error:
            raise BusError.from_glib(error) from None
        return _simplify(reply.unpack())

    def call_async(
        self,
        path: str,
        interface: str,
        method: str,
        signature: str | GLib.Variant | None = None,
        *values: Any,
        name: str | None = None,
        timeout: float = TIMEOUT,
    ) -> PendingCall:
        """Sends the call and returns at once; any number may be under way."""
        pending = PendingCall()
        self.connection.call(
            name or self.name,
            path,
            interface,
            method,
            _arguments(signature, values),
            None,
            Gio.DBusCallFlags.NONE,
            int(timeout * 1000),
            None,
            pending.finish,
        )
        return pending

    def get(self, path: str, interface: str, key: str, name: str | None = None) -> Any:
        return self.call(path, _PROPERTIES, "Get", "(ss)", interface, key, name=name)

    def set(self, path: str, interface: str, key: str, value: GLib.Variant, name: str | None = None) -> None:
        self.call(path, _PROPERTIES, "Set", "(ssv)", interface, key, value, name=name)

    def get_all(self, path: str, interface: str, name: str | None = None) -> dict[str, Any]:
        return self.call(path, _PROPERTIES, "GetAll", "(s)", interface, name=name)

    def introspect(self, path: str, name: str | None = None) -> Gio.DBusNodeInfo:
        xml = self.call(path, "org.freedesktop.DBus.Introspectable", "Introspect", name=name)
        return Gio.DBusNodeInfo.new_for_xml(xml)

    def ask_bus(self, method: str, signature: str | None = None, *values: Any) -> Any:
        """Calls the bus itself."""
        bus = "org.freedesktop.DBus"
        return self.call("/org/freedesktop/DBus", bus, method, signature, *values, name=bus)

    def close(self) -> None:
        if not self.connection.is_closed():
            self.connection.close_sync(None)


def _arguments(signature: str | GLib.Variant | None, values: tuple[Any, ...]) -> GLib.Variant | None:
    if signature is None or isinstance(signature, GLib.Variant):
        return signature
    return GLib.Variant(signature, values)
