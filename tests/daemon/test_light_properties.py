"""A light's properties: what they read, what writing them does, and what a light does not support."""

from __future__ import annotations

import pytest

from beamd_testing.bus_client import BusError
from beamd_testing.installation import install_dummies, state_path
from beamd_testing.services import COMMON, ZOOM, Light
from test_lights import refused

pytestmark = pytest.mark.memcheck

NO_SYNC = "Day Night Synchronize is not supported"
NO_AUTOMATIC = "Automatic Intensity is not supported"
NO_MANUAL = "Manual Intensity is not supported"
NO_ANGLE = "Angle of illumination is not supported"
NO_AUTOMATIC_ANGLE = "Automatic Angle of illumination is not supported"
NO_MANUAL_ANGLE = "Manual Angle of illumination is not supported"
NOT_DISABLED = "Automatic Angle of illumination can not be disabled, no manual angle of illumination support."
OUT_OF_RANGE = "Invalid Angle of illumination. Angle of illumination is not set"


@pytest.fixture
def lights(daemon, sandbox, bus):
    """Lights with those changes of their state files, served."""

    def lights(*changes: dict) -> list[Light]:
        install_dummies(sandbox, *changes)
        daemon()
        return [Light(bus.client, number) for number in range(len(changes))]

    return lights


def all_of(light: Light) -> tuple[dict, dict]:
    return tuple(light.client.get_all(light.path, interface) for interface in (COMMON, ZOOM))


class TestReading:
    def test_values(self, lights):
        (light,) = lights({"common": {"syncdaynight": True, "usemanualoverride": True}})
        common = {
            "SyncDayNight": True,
            "ManualSetIntensity": 60,
            "AutomaticIntensity": False,
            "UseDayNight": False,
        }
        zoom = {
            "AutomaticAngleOfIlluminationSupp": True,
            "AutomaticAngleOfIllumination": True,
            "ManualSetAngleOfIllumination": 40,
        }
        found = all_of(light)
        assert found == (common | {"CardDetected": True, "CorrectPoe": True}, zoom)
        assert [type(value) for value in found[0].values()].count(int) == 1
        for key, value in (common | zoom).items():
            assert light.get(key) == value

    def test_unsupported(self, lights, sandbox):
        missing = ("syncdaynight", "automaticintensity", "manualintensity", "manualangleofillumination")
        common = dict.fromkeys(missing)
        no_group, no_angle, no_automatic = lights(
            {"common": common, "zoom": None},
            {"common": common, "zoom": {"angleofillumination": None}},
            {"common": common, "zoom": {"automaticangleofillumination": None}},
        )
        before = [sandbox.read(state_path(number)) for number in range(3)]
        for light in (no_group, no_angle, no_automatic):
            for key, message in {
                "SyncDayNight": NO_SYNC,
                "AutomaticIntensity": NO_AUTOMATIC,
                "ManualSetIntensity": NO_MANUAL,
            }.items():
                refused(5, message, light.get, key)
                refused(5, message, light.set, key, True)
            always = {"UseDayNight": True, "CardDetected": True, "CorrectPoe": True}
            supported = light is no_angle
            assert all_of(light) == (always, {"AutomaticAngleOfIlluminationSupp": supported})
        for light in (no_group, no_angle):
            refused(5, NO_ANGLE, light.get, "AutomaticAngleOfIllumination")
            refused(5, NO_ANGLE, light.get, "ManualSetAngleOfIllumination")
            refused(5, NO_ANGLE, light.set, "AutomaticAngleOfIllumination", True)
            refused(5, NO_ANGLE, light.set, "ManualSetAngleOfIllumination", 30)
        refused(5, NO_AUTOMATIC_ANGLE, no_automatic.get, "AutomaticAngleOfIllumination")
        refused(5, NO_AUTOMATIC_ANGLE, no_automatic.set, "AutomaticAngleOfIllumination", False)
        refused(5, NO_MANUAL_ANGLE, no_automatic.get, "ManualSetAngleOfIllumination")
        refused(5, NO_MANUAL_ANGLE, no_automatic.set, "ManualSetAngleOfIllumination", 30)
        assert [sandbox.read(state_path(number)) for number in range(3)] == before

    def test_wrong_supply_leaves_two_that_can_be_read(self, lights, sandbox):
        (light,) = lights({"common": {"required_total_power": 0.001}})
        before = sandbox.read(state_path(0))
        assert light.get("CardDetected") and not light.get("CorrectPoe")
        zoom_keys = (
            "AutomaticAngleOfIlluminationSupp",
            "AutomaticAngleOfIllumination",
            "ManualSetAngleOfIllumination",
        )
        written = {"SyncDayNight": True, "AutomaticIntensity": True, "ManualSetIntensity": 1}
        written |= {"AutomaticAngleOfIllumination": False, "ManualSetAngleOfIllumination": 30}
        for key in ("SyncDayNight", "AutomaticIntensity", "ManualSetIntensity", "UseDayNight", *zoom_keys):
            refused(7, "Wrong poe", light.get, key)
        for key, value in written.items():
            refused(7, "Wrong poe", light.set, key, value)
        assert all_of(light) == ({"CardDetected": True, "CorrectPoe": False}, {})
        assert sandbox.read(state_path(0)) == before

    def test_read_only_and_unknown(self, lights):
        (light,) = lights({})
        for key in (
            "UseDayNight",
            "CardDetected",
            "CorrectPoe",
            "AutomaticAngleOfIlluminationSupp",
            "Unknown",
        ):
            with pytest.raises(BusError, match=r"org\.freedesktop\.DBus\.Error\.InvalidArgs"):
                light.set(key, False)
        with pytest.raises(BusError, match=r"org\.freedesktop\.DBus\.Error\.InvalidArgs"):
            light.get("Unknown")


class TestIntensity:
    def test_manual_intensity_is_applied_in_manual_mode(self, lights):
        (light,) = lights({"common": {"automaticintensity": False}})
        light.call("SetIntensity", "(i)", 20)
        light.set("ManualSetIntensity", 60)  # no change, nothing to apply
        assert light.call("GetIntensity") == 20
        for value in (70, 0, 100_000, -5):  # no range is checked
            light.set("ManualSetIntensity", value)
            assert light.get("ManualSetIntensity") == value
            assert light.call("GetIntensity") == value

    def test_manual_intensity_is_kept_for_later_in_automatic_mode(self, lights):
        (light,) = lights({"common": {"automaticintensity": True}})
        light.set("ManualSetIntensity", 7)
        assert light.get("ManualSetIntensity") == 7
        assert light.call("GetIntensity") == 50
        light.set("AutomaticIntensity", False)
        assert light.call("GetIntensity") == 7
        light.set("AutomaticIntensity", True)
        assert light.call("GetIntensity") == 7

    def test_same_mode_again_applies_nothing(self, lights):
        (light,) = lights({"common": {"automaticintensity": False}})
        light.call("SetIntensity", "(i)", 20)
        light.set("AutomaticIntensity", False)
        assert light.call("GetIntensity") == 20

    def test_modes_need_both(self, lights):
        automatic, manual = lights(
            {"common": {"manualintensity": None}}, {"common": {"automaticintensity": None}}
        )
        automatic.set("AutomaticIntensity", True)
        automatic.set("AutomaticIntensity", False)
        assert automatic.call("GetIntensity") == 50
        manual.set("ManualSetIntensity", 9)
        assert manual.get("ManualSetIntensity") == 9
        assert manual.call("GetIntensity") == 50


class TestAngle:
    def test_manual_angle_is_taken_when_automatic_is_switched_off(self, lights):
        (light,) = lights({})
        light.set("ManualSetAngleOfIllumination", 50)
        assert light.call("GetCurrentAngleOfIllumination") == 30
        light.set("AutomaticAngleOfIllumination", False)
        assert light.call("GetCurrentAngleOfIllumination") == 50
        light.set("ManualSetAngleOfIllumination", 20)
        assert light.call("GetCurrentAngleOfIllumination") == 50
        light.set("AutomaticAngleOfIllumination", True)
        assert light.call("GetCurrentAngleOfIllumination") == 50
        light.set("AutomaticAngleOfIllumination", False)
        assert light.call("GetCurrentAngleOfIllumination") == 20

    def test_manual_angle_out_of_range(self, lights, sandbox):
        (light,) = lights({})
        before = sandbox.read(state_path(0))
        for valid in (10, 60):
            light.set("ManualSetAngleOfIllumination", valid)
        light.set("ManualSetAngleOfIllumination", 40)
        for invalid in (9, 61, -1, 2**31 - 1):
            refused(3, OUT_OF_RANGE, light.set, "ManualSetAngleOfIllumination", invalid)
        assert light.get("ManualSetAngleOfIllumination") == 40
        assert sandbox.read(state_path(0)) == before

    @pytest.mark.parametrize("value", [True, False])
    def test_automatic_needs_a_manual_angle(self, lights, value):
        (light,) = lights({"common": {"manualangleofillumination": None}})
        refused(5, NOT_DISABLED, light.set, "AutomaticAngleOfIllumination", value)
        assert light.get("AutomaticAngleOfIllumination")
        assert light.call("GetCurrentAngleOfIllumination") == 30

    def test_without_an_angle_automatic_is_stored_all_the_same(self, lights, sandbox):
        (light,) = lights({"zoom": {"angleofillumination": None}})
        light.set("AutomaticAngleOfIllumination", False)
        refused(5, NO_ANGLE, light.get, "AutomaticAngleOfIllumination")
        assert "automaticangleofillumination=false" in sandbox.read(state_path(0)).splitlines()

    def test_without_an_angle_only_the_manual_angle_0_is_stored(self, lights, sandbox):
        (light,) = lights({"zoom": None})
        refused(5, NO_ANGLE, light.set, "ManualSetAngleOfIllumination", 1)
        light.set("ManualSetAngleOfIllumination", 0)
        assert "manualangleofillumination=0" in sandbox.read(state_path(0)).splitlines()
