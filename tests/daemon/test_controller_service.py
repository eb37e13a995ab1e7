"""The controller on the bus: name, objects, methods and properties."""

from __future__ import annotations

import time

import pytest
from gi.repository import GLib

from beamd_testing import syslog as log
from beamd_testing.bus_client import BusClient, BusError
from beamd_testing.installation import BEAMD_CONF, install_dummies, install_light
from beamd_testing.services import COMMON, CONTROLLER, LEGACY, POWER, ZOOM, Controller, Light, light_path

NAME = "com.velk.LightController"
OF_EVERY_OBJECT = {
    "org.freedesktop.DBus.Properties",
    "org.freedesktop.DBus.Introspectable",
    "org.freedesktop.DBus.Peer",
}
WRONG_POE = {"common": {"required_total_power": 5.0}}

# An interface: its methods with "direction name type" of each argument; its properties with type and access.
Interface = tuple[dict[str, list[str]], dict[str, str]]


def described(bus, path: str) -> dict[str, Interface]:
    """The interfaces at @p path, without those that every object has. Members are in order."""
    found = {}
    for interface in bus.client.introspect(path).interfaces:
        if interface.name in OF_EVERY_OBJECT:
            continue
        assert interface.signals == []
        methods = {}
        for method in interface.methods:
            arguments = [f"in {arg.name} {arg.signature}" for arg in method.in_args]
            methods[method.name] = arguments + [f"out {arg.name} {arg.signature}" for arg in method.out_args]
        access = {1: "read", 2: "write", 3: "readwrite"}
        properties = {
            each.name: f"{each.signature} {access[int(each.flags)]}" for each in interface.properties
        }
        found[interface.name] = (methods, properties)
    return found


def in_order(interface: Interface) -> tuple[list, list]:
    return list(interface[0].items()), list(interface[1].items())


CONTROLLER_COMMON = (
    {"GetNbrOfLEDs": ["out nbrofleds i"], "GetAllLED": ["out ledlist a(ssibbbbb)"]},
    {"IRCutFilterAvailable": "b read", "Day": "b read"},
)
CONTROLLER_LEGACY = ({}, {"LightControlAvailable": "b read"})
LIGHT_COMMON = (
    {
        "ActivateLight": ["in activate b"],
        "SetManualOn": ["in activate b"],
        "SetIntensity": ["in intensity i"],
        "GetIntensity": ["out intensity i"],
        "GetLightStatus": ["out status b"],
        "SetEnabled": ["in enable b"],
        "GetEnabled": ["out enable b"],
        "SetEnableSyncDayNight": ["in enable b"],
        "GetEnableSyncDayNight": ["out enable b"],
        "GetLEDType": ["out ledtyp s"],
        "GetIndividualLEDIntensity": ["in ledid i", "in intensity_type s", "out intensity i"],
        "GetIndividualLEDIntensities": ["in intensity_type s", "out intensities ai"],
        "SetIndividualLEDIntensity": ["in ledid i", "in intensity i", "in intensity_type s"],
        "SetIndividualLEDIntensities": ["in intensities ai", "in intensity_type s"],
        "GetNumberOfLEDs": ["out nleds i"],
        "GetValidIntensities": ["out values v"],
    },
    {
        "SyncDayNight": "b readwrite",
        "ManualSetIntensity": "i readwrite",
        "AutomaticIntensity": "b readwrite",
        "UseDayNight": "b read",
        "CardDetected": "b read",
        "CorrectPoe": "b read",
    },
)
LIGHT_POWER = ({"SetPower": ["in intensity d"]}, {})
LIGHT_ZOOM = (
    {
        "ChangeAngleOfIllumination": ["in zoom i"],
        "GetCurrentAngleOfIllumination": ["out zoom i"],
        "GetValidAngleOfViews": ["out values v"],
    },
    {
        "AutomaticAngleOfIlluminationSupp": "b read",
        "AutomaticAngleOfIllumination": "b readwrite",
        "ManualSetAngleOfIllumination": "i readwrite",
    },
)


class TestObjects:
    def test_interfaces_and_members(self, daemon, bus, sandbox):
        numbers = [3, 0, 1, 2, 4, 2147483647, -1]
        install_dummies(sandbox, *({"common": {"nbrofinterfaces": number}} for number in numbers))
        daemon()

        controller = described(bus, CONTROLLER)
        expected = {COMMON: CONTROLLER_COMMON, LEGACY: CONTROLLER_LEGACY}
        assert {name: in_order(each) for name, each in controller.items()} == {
            name: in_order(each) for name, each in expected.items()
        }

        ordered = [(COMMON, LIGHT_COMMON), (POWER, LIGHT_POWER), (ZOOM, LIGHT_ZOOM)]
        for light, number in enumerate(numbers):
            published = {name: in_order(each) for name, each in ordered[: max(number, 0)]}
            found = described(bus, light_path(light))
            assert {name: in_order(each) for name, each in found.items()} == published

        folders = [node.path for node in bus.client.introspect(CONTROLLER).nodes]
        lights = [node.path for node in bus.client.introspect(f"{CONTROLLER}/led").nodes]
        assert (folders, sorted(lights)) == (["led"], ["0", "2", "3", "4", "5"])

    def test_third_light(self, daemon, bus, sandbox):
        install_dummies(sandbox, *({"common": {"ledtype": f"type {number}"}} for number in range(3)))
        daemon()
        third = bus.client.call("/com/velk/LightController/led/2", COMMON, "GetLEDType")
        assert third == "type 2"

    def test_what_does_not_exist_is_refused(self, daemon, bus, sandbox, syslog):
        install_dummies(sandbox, {})
        daemon()
        for path, interface, method in [
            (CONTROLLER, COMMON, "GetNothing"),
            (CONTROLLER, POWER, "SetPower"),
            (CONTROLLER, LEGACY, "GetAllLED"),
            (light_path(0), POWER, "Missing"),
            (light_path(0), LEGACY, "Missing"),
            (light_path(1), COMMON, "GetIntensity"),
            ("/com/velk", COMMON, "GetNbrOfLEDs"),
        ]:
            with pytest.raises(BusError) as refusal:
                bus.client.call(path, interface, method)
            assert refusal.value.name.startswith("org.freedesktop.DBus.Error.Unknown")
        assert syslog.texts() == []


class TestName:
    def test_it_cannot_be_taken_away(self, daemon, bus, sandbox):
        install_dummies(sandbox, {})
        daemon()
        replace, do_not_queue, exists = 2, 4, 3
        assert bus.client.ask_bus("RequestName", "(su)", NAME, replace | do_not_queue) == exists

    def test_it_waits_while_somebody_else_owns_it(self, launch, bus, sandbox):
        install_dummies(sandbox, {})
        squatter = BusClient(bus.address, NAME)
        squatter.ask_bus("RequestName", "(su)", NAME, 0)
        running = launch()
        deadline = time.monotonic() + 60
        while len(bus.client.ask_bus("ListQueuedOwners", "(s)", NAME)) < 2:
            assert time.monotonic() < deadline, "beamd never asked for its name"
            time.sleep(0.005)
        beamd = bus.client.ask_bus("ListQueuedOwners", "(s)", NAME)[1]
        assert bus.client.call(CONTROLLER, COMMON, "GetNbrOfLEDs", name=beamd) == 1
        squatter.close()
        running.wait_until_ready()

    def test_the_end_of_the_bus_ends_it(self, daemon, bus, sandbox, syslog):
        install_dummies(sandbox, {})
        running = daemon()
        bus.stop()
        running.wait_for_exit(0)
        assert syslog.texts()[-1] == (log.INFO, "Terminating")


class TestGetAllLed:
    def test_each_field(self, daemon, bus, sandbox):
        plain = {
            "syncdaynight": None,
            "automaticintensity": None,
            "manualintensity": None,
            "ledtype": "White",
        }
        install_dummies(sandbox, {}, {"common": plain, "zoom": None})
        daemon()
        controller, light, other = Controller(bus.client), Light(bus.client), Light(bus.client, 1)
        leds = light.call("GetNumberOfLEDs")
        expected = ["led0", "IR", leds, True, False, False, False, True]
        unchanged = ("led1", "White", leds, True, False, False, False, False)
        assert controller.lights() == [tuple(expected), unchanged]

        changes = [
            (3, lambda: light.call("SetEnabled", "(b)", False)),
            (3, lambda: light.call("SetEnabled", "(b)", True)),
            (4, lambda: light.set("SyncDayNight", True)),
            (5, lambda: light.switch(True)),
            (6, lambda: light.set("AutomaticIntensity", True)),
            (7, lambda: light.set("AutomaticAngleOfIllumination", False)),
        ]
        for field, change in changes:
            change()
            expected[field] = not expected[field]
            assert controller.lights() == [tuple(expected), unchanged]
        other.switch(True)
        assert [each[5] for each in controller.lights()] == [True, True]

    def test_long_numbers_and_types(self, daemon, bus, sandbox):
        install_dummies(sandbox, *({} for _ in range(11)))
        install_light(sandbox, 10, {"common": {"ledtype": "Ü" * 300}})
        daemon()
        lights = Controller(bus.client).lights()
        assert [each[0] for each in lights] == [f"led{number}" for number in range(11)]
        assert lights[10][1] == "Ü" * 300

    def test_one_wrong_supply_fails_it_while_another_light_can_be_controlled(self, daemon, bus, sandbox):
        install_dummies(sandbox, WRONG_POE, {}, {"common": {"minimum_poe_class": 1}})
        daemon()
        controller = Controller(bus.client)
        with pytest.raises(BusError) as refusal:
            controller.lights()
        assert refusal.value.domain == "light-control-error-quark"
        assert (refusal.value.code, refusal.value.message) == (7, "Wrong poe")
        assert controller.count() == 3
        assert controller.is_available()

    def test_no_light_can_be_controlled(self, daemon, bus, sandbox):
        install_dummies(sandbox, WRONG_POE)
        daemon()
        assert Controller(bus.client).count() == 1
        assert not Controller(bus.client).is_available()

    def test_no_lights(self, daemon, bus, sandbox, syslog):
        sandbox.write(BEAMD_CONF, "[LED]\nNbrOfLeds=0\n")
        daemon()
        controller = Controller(bus.client)
        assert (controller.count(), controller.lights()) == (0, [])
        assert not controller.is_available()
        assert syslog.texts() == []


class TestProperties:
    def test_they_can_be_read_and_not_written(self, daemon, bus, sandbox):
        install_dummies(sandbox, {})
        daemon()
        expected = {
            COMMON: {"Day": False, "IRCutFilterAvailable": False},
            LEGACY: {"LightControlAvailable": True},
        }
        for interface, values in expected.items():
            for key, value in values.items():
                with pytest.raises(BusError) as refusal:
                    bus.client.set(CONTROLLER, interface, key, GLib.Variant("b", not value))
                assert refusal.value.name == "org.freedesktop.DBus.Error.InvalidArgs"
                assert bus.client.get(CONTROLLER, interface, key) is value
            assert bus.client.get_all(CONTROLLER, interface) == values
        with pytest.raises(BusError):
            bus.client.get(CONTROLLER, COMMON, "LightControlAvailable")
