"""Sees every message on the bus, in the order in which the bus passes them on."""

from __future__ import annotations

import os
import socket
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

from .timeline import Event, Predicate, Timeline  # noqa: E402

_KINDS = {
    Gio.DBusMessageType.METHOD_CALL: "call",
    Gio.DBusMessageType.METHOD_RETURN: "return",
    Gio.DBusMessageType.ERROR: "error",
    Gio.DBusMessageType.SIGNAL: "signal",
}
_HEADER = 16
_LONGEST_SHOWN = 200


@dataclass
class BusMessage(Event):
    kind: str  # "call", "return", "error" or "signal"
    sender: str  # the unique name
    destination: str | None
    path: str | None
    interface: str | None
    member: str | None
    arguments: tuple[Any, ...]
    error: str | None

    def __str__(self) -> str:
        what = f"{self.path} {self.interface}.{self.member}" if self.member else self.error or ""
        arguments = str(self.arguments)[:_LONGEST_SHOWN]
        return f"{self.kind} {self.sender} -> {self.destination} {what} {arguments}"


def message(kind: str, member: str, interface: str | None = None, path: str | None = None) -> Predicate:
    """Recognises messages on a timeline."""

    def matches(event: Event) -> bool:
        return (
            isinstance(event, BusMessage)
            and (event.kind, event.member) == (kind, member)
            and interface in (None, event.interface)
            and path in (None, event.path)
        )

    return matches


class BusMonitor:
    """A timeline's source. It reads its socket itself, when the timeline says so: the order matters."""

    def __init__(self, address: Path, timeline: Timeline) -> None:
        self._pending = b""
        self._messages: list[Event] = []
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.connect(str(address))
        self._authenticate()
        self._call("org.freedesktop.DBus", "Hello", None)
        self._call("org.freedesktop.DBus.Monitoring", "BecomeMonitor", GLib.Variant("(asu)", ([], 0)))
        self._socket.setblocking(False)
        self._timeline = timeline
        timeline.record(self)

    def fileno(self) -> int:
        return self._socket.fileno()

    def receive(self) -> bool:
        try:
            while data := self._socket.recv(1 << 16):
                self._pending += data
        except BlockingIOError:
            return True
        except ConnectionResetError:
            pass
        return False

    def take_events(self) -> list[Event]:
        return [self._event(found) for found in self._take_messages()]

    def close(self) -> None:
        self._timeline.forget(self)
        self._socket.close()

    def _authenticate(self) -> None:
        identity = str(os.getuid()).encode().hex()
        self._socket.sendall(b"\0AUTH EXTERNAL " + identity.encode() + b"\r\n")
        answer = self._socket.recv(1 << 10)
        if not answer.startswith(b"OK "):
            raise RuntimeError(f"the bus refused the monitor: {answer!r}")
        self._socket.sendall(b"BEGIN\r\n")

    def _call(self, interface: str, member: str, body: GLib.Variant | None) -> None:
        call = Gio.DBusMessage.new_method_call(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", interface, member
        )
        call.set_serial(1)
        if body is not None:
            call.set_body(body)
        self._socket.sendall(call.to_blob(Gio.DBusCapabilityFlags.NONE))
        while True:
            self._pending += self._socket.recv(1 << 16)
            for answer in self._take_messages():
                if answer.get_message_type() == Gio.DBusMessageType.ERROR:
                    raise RuntimeError(f"{member}: {answer.get_error_name()}")
                if answer.get_message_type() == Gio.DBusMessageType.METHOD_RETURN:
                    return

    def _take_messages(self) -> list[Gio.DBusMessage]:
        messages = []
        while len(self._pending) >= _HEADER:
            size = Gio.DBusMessage.bytes_needed(self._pending[:_HEADER])
            if len(self._pending) < size:
                break
            blob, self._pending = self._pending[:size], self._pending[size:]
            messages.append(Gio.DBusMessage.new_from_blob(blob, Gio.DBusCapabilityFlags.NONE))
        return messages

    @staticmethod
    def _event(found: Gio.DBusMessage) -> BusMessage:
        body = found.get_body()
        return BusMessage(
            kind=_KINDS[found.get_message_type()],
            sender=found.get_sender(),
            destination=found.get_destination(),
            path=found.get_path(),
            interface=found.get_interface(),
            member=found.get_member(),
            arguments=body.unpack() if body is not None else (),
            error=found.get_error_name(),
        )
