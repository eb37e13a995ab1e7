"""Stand-ins for the services that beamd talks to.

What they are asked is on the timeline, like everything on the bus.
"""

from __future__ import annotations

import json
import os
import subprocess
from collections.abc import Mapping
from contextlib import AbstractContextManager
from pathlib import Path
from typing import Any

from gi.repository import GLib

from .bus import Bus

_TEMPLATE = Path(__file__).with_name("peer_template.py")
_MOCK = "org.freedesktop.DBus.Mock"
_TYPES = {bool: "b", int: "i", float: "d", str: "s"}


class Peer:
    """A service with one object. It may start late, stop and come back: answers and properties stay."""

    def __init__(self, bus: Bus, name: str, path: str, interface: str) -> None:
        self.bus = bus
        self.name = name
        self.path = path
        self.interface = interface
        self.methods: dict[str, tuple[str, str, str]] = {}  # name: in signature, out signature, code
        self.properties: dict[str, Any] = {}
        self._process: subprocess.Popen | None = None

    def running(self) -> bool:
        return self._process is not None

    def start(self) -> None:
        methods = [[name, *method] for name, method in self.methods.items()]
        parameters = {"methods": methods, "properties": self.properties}
        environment = {"PEER_NAME": self.name, "PEER_PATH": self.path, "PEER_INTERFACE": self.interface}
        self._process = self.bus.sandbox.popen(
            ["/usr/bin/python3", "-m", "dbusmock", "--template", _TEMPLATE, "-p", json.dumps(parameters)],
            env={**os.environ, **environment, "PYTHONDONTWRITEBYTECODE": "1"},
            stdout=subprocess.DEVNULL,
        )
        self.bus.wait_for_owner(self.name, self._process)

    def stop(self) -> None:
        """Lets the service vanish from the bus."""
        self.bus.sandbox.end(self._process)
        self._process = None
        self.bus.wait_for_no_owner(self.name)

    def paused(self) -> AbstractContextManager[None]:
        """While it lasts, the service is on the bus and does nothing."""
        return self.bus.sandbox.paused(self._process)

    def answer(self, method: str, in_signature: str = "", out_signature: str = "", code: str = "") -> None:
        """Answers @p method by running the Python @p code, which finds "args" and sets "ret" or raises."""
        self.methods[method] = (in_signature, out_signature, code)
        if self.running():
            self._mock("AddMethod", "(sssss)", self.interface, method, in_signature, out_signature, code)

    def set(self, properties: Mapping[str, Any]) -> None:
        """Changes properties that there are, or gives new ones to a service that is not running."""
        self.properties |= properties
        if self.running():
            self._mock("UpdateProperties", "(sa{sv})", self.interface, _variants(properties))

    def announce(self, properties: Mapping[str, Any]) -> None:
        """Signals a change of @p properties, whether they exist or not."""
        arguments = [GLib.Variant("s", self.interface), GLib.Variant("a{sv}", _variants(properties))]
        arguments.append(GLib.Variant("as", []))
        properties_interface = "org.freedesktop.DBus.Properties"
        self._mock("EmitSignal", "(sssav)", properties_interface, "PropertiesChanged", "sa{sv}as", arguments)

    def calls(self, method: str, after: int = 0) -> list[tuple[Any, ...]]:
        """The arguments of each call of @p method that was made, in order."""
        found = self.bus.messages("call", method, self.interface, self.path, after)
        return [call.arguments for call in found]

    def wait_for_call(self, method: str, after: int = 0) -> tuple[Any, ...]:
        return self.bus.wait_for("call", method, self.interface, self.path, after).arguments

    def _mock(self, method: str, signature: str, *values: Any) -> None:
        self.bus.client.call(self.path, _MOCK, method, signature, *values, name=self.name)


def _variants(properties: Mapping[str, Any]) -> dict[str, GLib.Variant]:
    return {
        key: value if isinstance(value, GLib.Variant) else GLib.Variant(_TYPES[type(value)], value)
        for key, value in properties.items()
    }


class TemperatureService(Peer):
    """Knows temperature sensors by name. It fails for other names as the real one does."""

    UNAVAILABLE = "org.gtk.GDBus.UnmappedGError.Quark._temperature_2derror.Code1"

    def __init__(self, bus: Bus, sensors: Mapping[str, int] | None = None) -> None:
        name = "com.velk.TemperatureController"
        super().__init__(bus, name, "/com/velk/TemperatureController", name)
        self.set_sensors(sensors or {})

    def set_sensors(self, sensors: Mapping[str, int], error: str = UNAVAILABLE) -> None:
        """The sensor ids by name, and the name of the D-Bus error for any other sensor."""
        failure = f"raise dbus.exceptions.DBusException('no such sensor', name={error!r})"
        code = f"ret = {dict(sensors)!r}.get(str(args[0]))\nif ret is None:\n  {failure}"
        self.answer("GetTemperatureIdFromName", "s", "i", code)


class PowerDaemon:
    """The power daemon: consumers register and ask for power at one name, another tells of the supply.

    It grants nothing by itself: a test calls the light's SetPower.
    """

    def __init__(self, bus: Bus, status: Mapping[str, Any] | None = None) -> None:
        consumer = "com.velk.PowerControl.Consumer"
        self.consumer = Peer(bus, consumer, "/com/velk/PowerControl/Consumer", consumer)
        self.consumer.answer("Register", "sbsss")
        self.consumer.answer("RequestPower", "ssd")
        name = "com.velk.PowerControl.Status"
        self.status = Peer(bus, name, "/com/velk/PowerControl/Status", name)
        self.status.set(status or {})

    def start(self) -> None:
        self.status.start()
        self.consumer.start()

    def stop(self) -> None:
        self.consumer.stop()
        self.status.stop()

    def registrations(self, after: int = 0) -> list[tuple[Any, ...]]:
        return self.consumer.calls("Register", after)

    def requests(self, after: int = 0) -> list[tuple[Any, ...]]:
        """The power requests: consumer, mode, watts."""
        return self.consumer.calls("RequestPower", after)
