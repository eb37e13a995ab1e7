"""The daemon's objects on the bus, as a client uses them."""

from __future__ import annotations

from typing import Any

from gi.repository import GLib

from .bus import Bus
from .bus_client import BusClient, PendingCall
from .bus_monitor import BusMessage

COMMON = "com.velk.LightController.Common"
POWER = "com.velk.LightController.Power"
ZOOM = "com.velk.LightController.Zoom"
LEGACY = "com.velk.Configuration.Legacy"
CONTROLLER = "/com/velk/LightController"
EVENTS = "com.velk.Event"

_INTERFACES = {
    "SetPower": POWER,
    "ChangeAngleOfIllumination": ZOOM,
    "GetCurrentAngleOfIllumination": ZOOM,
    "GetValidAngleOfViews": ZOOM,
    "AutomaticAngleOfIlluminationSupp": ZOOM,
    "AutomaticAngleOfIllumination": ZOOM,
    "ManualSetAngleOfIllumination": ZOOM,
}
_PROPERTY_TYPES = {"ManualSetIntensity": "i", "ManualSetAngleOfIllumination": "i"}


def interface_of(member: str) -> str:
    """The interface on which a light has that method or property."""
    return _INTERFACES.get(member, COMMON)


def light_path(number: int) -> str:
    return f"{CONTROLLER}/led/{number}"


class Light:
    """One light. Members are named without their interface."""

    def __init__(self, client: BusClient, number: int = 0) -> None:
        self.client = client
        self.path = light_path(number)

    def call(self, method: str, signature: str | None = None, *values: Any) -> Any:
        return self.client.call(self.path, interface_of(method), method, signature, *values)

    def call_async(self, method: str, signature: str | None = None, *values: Any) -> PendingCall:
        return self.client.call_async(self.path, interface_of(method), method, signature, *values)

    def switch(self, on: bool) -> None:
        self.call("ActivateLight", "(b)", on)

    def is_on(self) -> bool:
        return self.call("GetLightStatus")

    def get(self, key: str) -> Any:
        return self.client.get(self.path, interface_of(key), key)

    def set(self, key: str, value: bool | int) -> None:
        variant = GLib.Variant(_PROPERTY_TYPES.get(key, "b"), value)
        self.client.set(self.path, interface_of(key), key, variant)


class Controller:
    def __init__(self, client: BusClient) -> None:
        self.client = client

    def count(self) -> int:
        return self.client.call(CONTROLLER, COMMON, "GetNbrOfLEDs")

    def lights(self) -> list[tuple[str, str, int, bool, bool, bool, bool, bool]]:
        return self.client.call(CONTROLLER, COMMON, "GetAllLED")

    def is_available(self) -> bool:
        return self.client.get(CONTROLLER, LEGACY, "LightControlAvailable")


def events(bus: Bus, after: int = 0) -> list[tuple[str, dict[str, Any]]]:
    """The light events that have passed the bus, as pairs of name and content, in order."""
    bus.settle()
    found = bus.timeline.events(
        lambda event: isinstance(event, BusMessage) and event.interface == EVENTS and event.number >= after
    )
    assert all((event.kind, event.path) == ("signal", "/com/velk/Event") for event in found)
    assert all(len(event.arguments) == 1 for event in found)
    return [(event.member, event.arguments[0]) for event in found]


def announced(state: str, number: int = 0, kind: str = "IR") -> list[tuple[str, dict[str, Any]]]:
    """The events of a light that is now in that @p state, "ON" or "OFF"."""
    return [
        ("LightStatusChanged", {"state": state}),
        ("LightStatus", {"id": number, "type": kind, "state": state}),
    ]
