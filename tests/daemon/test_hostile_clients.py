"""Clients that do what they should not: the daemon answers the others, and its state file stays whole."""

from __future__ import annotations

import random
from array import array

import pytest
from gi.repository import GLib

from beamd_testing.bus_client import BusClient, BusError
from beamd_testing.installation import install_dummies, state_path
from beamd_testing.services import COMMON, CONTROLLER, LEGACY, POWER, ZOOM, Controller, Light, light_path

INVALID = "org.freedesktop.DBus.Error.InvalidArgs"
PROPERTIES = "org.freedesktop.DBus.Properties"
MEGABYTE = 1 << 20


@pytest.fixture
def light(daemon, sandbox, bus, syslog):
    """A light that answers, and whose state file says what it does, before the test and after it."""
    install_dummies(sandbox, {}, {})
    daemon()
    served = Light(bus.client)
    check(served, sandbox)
    yield served
    check(served, sandbox)


def check(light: Light, sandbox) -> None:
    assert Controller(light.client).count() == 2
    assert len(Controller(light.client).lights()) == 2
    light.switch(True)
    assert light.is_on()
    file = GLib.KeyFile()
    file.load_from_data(sandbox.read(state_path(0)), 2**64 - 1, GLib.KeyFileFlags.NONE)
    assert light.get("ManualSetIntensity") == file.get_integer("common", "manualintensity")
    assert light.get("SyncDayNight") == file.get_boolean("common", "syncdaynight")
    assert light.call("GetEnabled") == file.get_boolean("common", "enable")
    assert light.call("GetCurrentAngleOfIllumination") == file.get_integer("zoom", "angleofillumination")
    assert {path.suffix for path in sandbox.path("/etc/beamd").iterdir()} == {".conf"}


def clients(bus, count: int) -> list[Light]:
    return [Light(BusClient(bus.address, bus.client.name)) for _ in range(count)]


def error_of(call, *arguments, **options) -> str | None:
    with pytest.raises(BusError) as failure:
        call(*arguments, **options)
    return failure.value.name


@pytest.mark.parametrize("method", ["GetNbrOfLEDs", "GetAllLED"])
def test_controller_refuses_arguments(light, method):
    assert error_of(light.client.call, CONTROLLER, COMMON, method, "(i)", 1) == INVALID


@pytest.mark.parametrize("interface, key", [(COMMON, "Day"), (LEGACY, "LightControlAvailable")])
def test_controller_refuses_a_value_of_another_type(light, interface, key):
    assert error_of(light.client.set, CONTROLLER, interface, key, GLib.Variant("s", "yes")) == INVALID


WRONG_ARGUMENTS = [
    ("ActivateLight", "(i)", 1),
    ("ActivateLight", "(s)", "true"),
    ("ActivateLight", None),
    ("ActivateLight", "(bb)", True, True),
    ("SetIntensity", "(u)", 5),
    ("SetIntensity", "(x)", 5),
    ("SetIntensity", "(d)", 5.0),
    ("SetIntensity", "(v)", GLib.Variant("i", 5)),
    ("GetIntensity", "(i)", 5),
    ("SetPower", "(i)", 5),
    ("SetIndividualLEDIntensities", "(asas)", [], []),
    ("SetIndividualLEDIntensities", "(aus)", [1], "manual"),
    ("ChangeAngleOfIllumination", "(y)", 20),
]


def test_wrong_types(light):
    for arguments in WRONG_ARGUMENTS:
        assert error_of(light.call, *arguments) == INVALID
    for key, interface, value in [
        ("SyncDayNight", COMMON, GLib.Variant("i", 1)),
        ("ManualSetIntensity", COMMON, GLib.Variant("b", True)),
        ("ManualSetIntensity", COMMON, GLib.Variant("s", "5")),
        ("ManualSetAngleOfIllumination", ZOOM, GLib.Variant("v", GLib.Variant("i", 20))),
        ("AutomaticAngleOfIllumination", ZOOM, GLib.Variant("ab", [True])),
    ]:
        assert error_of(light.client.set, light.path, interface, key, value) == INVALID
    assert (
        error_of(light.client.call, light.path, PROPERTIES, "Set", "(ssb)", COMMON, "SyncDayNight", True)
        is not None
    )


def test_values_out_of_range(light):
    for value in (101, -1, 2**31 - 1, -(2**31)):
        assert error_of(light.call, "SetIntensity", "(i)", value).endswith("Code2")
        assert error_of(light.call, "ChangeAngleOfIllumination", "(i)", value).endswith("Code3")
        assert error_of(light.set, "ManualSetAngleOfIllumination", value).endswith("Code3")
        for kind in ("manual", "automatic"):
            assert error_of(light.call, "GetIndividualLEDIntensity", "(is)", value, kind).endswith("Code2")
        light.set("ManualSetIntensity", value)
    for watts in (float("nan"), float("inf"), float("-inf"), 1e308, -1e308, 5e-324):
        light.call("SetPower", "(d)", watts)


def test_unknown_names(light):
    for path in ("/", "/com", CONTROLLER, light.path, light_path(2), f"{light.path}/0", light_path(10**9)):
        for interface in ("org.example.Unknown", COMMON, POWER, LEGACY, "a." * 100 + "b"):
            for method in ("Unknown", "getintensity", "M" * 200):
                error = error_of(light.client.call, path, interface, method)
                assert error.startswith("org.freedesktop.DBus.Error.Unknown")
    for key in ("Unknown", "", "syncdaynight", "S" * MEGABYTE, "%s%n"):
        for interface in (COMMON, ZOOM, POWER, "org.example.Unknown"):
            assert error_of(light.client.get, light.path, interface, key) is not None
            assert error_of(light.client.set, light.path, interface, key, GLib.Variant("b", True)) is not None


def test_a_thousand_calls_in_flight(light, bus):
    rivals = clients(bus, 10)  # the bus lets each have 128 calls under way
    calls = []
    for number in range(250):
        rival = rivals[number % len(rivals)]
        calls.append(rival.call_async("ActivateLight", "(b)", number % 2 == 0))
        calls.append(rival.call_async("SetIntensity", "(i)", number % 101))
        calls.append(rival.call_async("GetIntensity"))
        calls.append(rival.client.call_async(CONTROLLER, COMMON, "GetAllLED"))
    results = [call.result(60) for call in calls]
    assert results[0::4] == results[1::4] == [None] * 250
    assert all(0 <= intensity <= 100 for intensity in results[2::4])
    assert all([each[0] for each in lights] == ["led0", "led1"] for lights in results[3::4])
    for rival in rivals:
        rival.client.close()


@pytest.mark.parametrize("writes", [False, True], ids=["reads", "writes"])
def test_clients_that_vanish_amid_their_calls(light, bus, writes):
    for vanishing in clients(bus, 5):
        for number in range(100):
            if writes:
                value = GLib.Variant("i", number)
                arguments = ("(ssv)", COMMON, "ManualSetIntensity", value)
                vanishing.client.call_async(light.path, PROPERTIES, "Set", *arguments)
            else:
                vanishing.client.call_async(CONTROLLER, COMMON, "GetAllLED")
        vanishing.client.connection.flush_sync(None)
        vanishing.client.close()


def test_huge_array(light):
    content = GLib.Bytes.new(array("i", [50]) * 1_000_000)
    values = GLib.Variant.new_from_bytes(GLib.VariantType("ai"), content, True)
    arguments = GLib.Variant.new_tuple(values, GLib.Variant("s", "manual"))
    with pytest.raises(BusError, match=r"Invalid intensity count\."):
        light.call("SetIndividualLEDIntensities", arguments)


def test_very_long_texts(light):
    text = "%s%n" * MEGABYTE
    with pytest.raises(BusError) as failure:
        light.call("GetIndividualLEDIntensities", "(s)", text)
    assert failure.value.message == f"Intensity type '{text}' not supported."
    assert failure.value.code == 5


def test_property_writes_racing(light, bus, sandbox):
    rivals = clients(bus, 4)
    dice = random.Random(1)
    last = {}
    calls = []
    for number in range(400):
        rival = dice.randrange(len(rivals))
        key = dice.choice(["ManualSetIntensity", "ManualSetAngleOfIllumination"])
        value = 10 + number % 50
        variant = GLib.Variant("i", value)
        interface = COMMON if key == "ManualSetIntensity" else ZOOM
        calls.append(
            rivals[rival].client.call_async(light.path, PROPERTIES, "Set", "(ssv)", interface, key, variant)
        )
        last[key, rival] = value
    for call in calls:
        call.result(60)
    for key in ("ManualSetIntensity", "ManualSetAngleOfIllumination"):
        assert light.get(key) in {value for (written, _), value in last.items() if written == key}
    for rival in rivals:
        rival.client.close()


def test_last_of_many_writes_holds(light, sandbox):
    calls = []
    for number in range(120):
        variant = GLib.Variant("i", number)
        calls.append(
            light.client.call_async(
                light.path, PROPERTIES, "Set", "(ssv)", COMMON, "ManualSetIntensity", variant
            )
        )
    for call in calls:
        call.result(60)
    assert "manualintensity=119" in sandbox.read(state_path(0)).splitlines()
