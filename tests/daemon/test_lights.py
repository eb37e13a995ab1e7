"""A light's methods: switching, intensity, synchronisation, power, angle, and the events that go out."""

from __future__ import annotations

import time

import pytest

from beamd_testing import syslog as log
from beamd_testing.bus_client import BusError
from beamd_testing.installation import install_dummies
from beamd_testing.services import Light, announced, events

pytestmark = pytest.mark.memcheck

NOT_SET = "Invalid Intensity. Intensity is not set"
NO_ANGLE = "Invalid Angle of illumination. Angle of illumination is not set"
NO_ZOOM = "Angle of illumination is not supported"
NO_INDIVIDUAL = "Individual intensity not supported."
WRONG_COUNT = "Invalid intensity count."


def refused(code: int, message: str, call, *arguments) -> None:
    with pytest.raises(BusError) as refusal:
        call(*arguments)
    assert refusal.value.domain == "light-control-error-quark"
    assert (refusal.value.code, refusal.value.message) == (code, message)


@pytest.fixture
def light(daemon, sandbox, bus):
    """A light with that change of its state file, served."""

    def light(changes: dict | None = None, **common) -> Light:
        install_dummies(sandbox, {"common": common, **(changes or {})})
        daemon()
        return Light(bus.client)

    return light


class TestSwitching:
    def test_each_change_is_announced(self, daemon, sandbox, bus, syslog, timeline):
        install_dummies(sandbox, {}, {"common": {"ledtype": "White"}})
        daemon()
        assert events(bus) == []
        for number, kind in enumerate(["IR", "White"]):
            light = Light(bus.client, number)
            for state in (False, True, False, True):
                mark = timeline.now()
                was_on = light.is_on()
                light.switch(state)
                assert light.is_on() is state
                assert events(bus, mark) == (
                    announced("ON" if state else "OFF", number, kind) if was_on != state else []
                )
        assert syslog.texts() == []

    def test_already_on_is_not_announced(self, light, bus, timeline):
        lamp = light()
        lamp.switch(True)
        mark = timeline.now()
        lamp.switch(True)
        lamp.call("SetEnabled", "(b)", True)
        lamp.call("SetIntensity", "(i)", 7)
        lamp.call("ChangeAngleOfIllumination", "(i)", 20)
        assert lamp.is_on()
        assert events(bus, mark) == []

    def test_disabled_light_waits_until_it_is_enabled(self, light, bus, syslog, timeline):
        lamp = light(enable=False)
        assert not lamp.call("GetEnabled")
        lamp.switch(True)
        assert not lamp.is_on()
        assert syslog.texts() == [(log.INFO, "Light is disabled, will not activate light.")]
        assert events(bus) == []

        for enabled, state in [(True, "ON"), (False, "OFF"), (True, "ON")]:
            mark = timeline.now()
            lamp.call("SetEnabled", "(b)", enabled)
            assert lamp.call("GetEnabled") is enabled
            assert lamp.is_on() is enabled
            assert events(bus, mark) == announced(state)

        mark = timeline.now()
        lamp.switch(False)
        lamp.call("SetEnabled", "(b)", False)
        lamp.call("SetEnabled", "(b)", True)
        assert not lamp.is_on()
        assert events(bus, mark) == announced("OFF")
        assert len(syslog.lines()) == 1

    def test_end_of_the_daemon_is_no_event(self, daemon, sandbox, bus, timeline):
        install_dummies(sandbox, {})
        running = daemon()
        Light(bus.client).switch(True)
        assert events(bus) == announced("ON")
        mark = timeline.now()
        running.stop()
        assert events(bus, mark) == []

    def test_manual_on_changes_nothing_by_itself(self, light, bus):
        lamp = light()
        lamp.call("SetManualOn", "(b)", True)
        assert not lamp.is_on()
        assert lamp.call("GetEnableSyncDayNight")
        assert events(bus) == []


class TestIntensity:
    def test_range_is_inclusive(self, light):
        lamp = light(intensityLOW=-5, intensityHIGH=80)
        assert lamp.call("GetValidIntensities") == (-5, 80)
        for valid in (80, -5, 33):
            lamp.call("SetIntensity", "(i)", valid)
            assert lamp.call("GetIntensity") == valid
        for invalid in (81, -6, 2**31 - 1, -(2**31)):
            refused(2, NOT_SET, lamp.call, "SetIntensity", "(i)", invalid)
            assert lamp.call("GetIntensity") == 33

    def test_at_start_it_is_the_manual_one_or_the_automatic_one(self, daemon, sandbox, bus):
        install_dummies(
            sandbox,
            {"common": {"automaticintensity": False}},
            {"common": {"automaticintensity": True}},
            {"common": {"automaticintensity": None}},
            {"common": {"manualintensity": None}},
        )
        daemon()
        assert [Light(bus.client, number).call("GetIntensity") for number in range(4)] == [60, 50, 50, 50]


class TestIndividualIntensities:
    def test_without_leds(self, light):
        lamp = light(individualintensitysupport=True)
        assert lamp.call("GetNumberOfLEDs") == 0
        for kind in ("manual", "automatic"):
            assert lamp.call("GetIndividualLEDIntensities", "(s)", kind) == []
            lamp.call("SetIndividualLEDIntensities", "(ais)", [], kind)
            refused(2, WRONG_COUNT, lamp.call, "SetIndividualLEDIntensities", "(ais)", [1], kind)
            for number in (0, 1, -1):
                refused(2, NOT_SET, lamp.call, "GetIndividualLEDIntensity", "(is)", number, kind)
                refused(5, NO_INDIVIDUAL, lamp.call, "SetIndividualLEDIntensity", "(iis)", number, 50, kind)
            refused(2, NOT_SET, lamp.call, "SetIndividualLEDIntensity", "(iis)", 0, 101, kind)

    @pytest.mark.parametrize("kind", ["Manual", "", "both", "manual ", "%s%n"])
    def test_unknown_type(self, light, kind):
        lamp = light()
        message = f"Intensity type '{kind}' not supported."
        refused(5, message, lamp.call, "GetIndividualLEDIntensity", "(is)", 0, kind)
        refused(5, message, lamp.call, "GetIndividualLEDIntensities", "(s)", kind)
        refused(5, message, lamp.call, "SetIndividualLEDIntensity", "(iis)", 0, 101, kind)
        refused(5, message, lamp.call, "SetIndividualLEDIntensities", "(ais)", [1, 2, 3], kind)


class TestSynchronisation:
    def test_requests_to_disable_it_are_counted(self, light):
        lamp = light()

        def after(*requests: bool) -> bool:
            for request in requests:
                lamp.call("SetEnableSyncDayNight", "(b)", request)
            return lamp.call("GetEnableSyncDayNight")

        assert after()
        assert not after(False, False, True)
        assert after(True)
        assert after(True, True)
        assert not after(False)

    def test_manual_override(self, light):
        lamp = light(usemanualoverride=True)
        assert not lamp.get("UseDayNight")
        for manual in (False, True, False):
            lamp.call("SetManualOn", "(b)", manual)
            assert lamp.call("GetEnableSyncDayNight") is not manual


class TestPower:
    def test_less_power_holds_the_reply_back_for_the_ramp(self, light):
        lamp = light(rampdown_time=300_000)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", 10.0)
        start = time.monotonic()
        lowered = lamp.call_async("SetPower", "(d)", 9.5)
        meanwhile = [lamp.call_async("SetIntensity", "(i)", number) for number in range(50)]
        read = lamp.call_async("GetIntensity")
        lowered.result()
        assert time.monotonic() - start >= 0.3
        assert [call.result() for call in meanwhile] == [None] * 50
        assert read.result() == 49

    def test_as_much_or_more_does_not(self, light):
        lamp = light(rampdown_time=2_000_000_000)
        for watts in (0.0, 5.0, 5.0, 5.5, float("inf"), float("inf")):
            lamp.call("SetPower", "(d)", watts)

    @pytest.mark.parametrize("ramp", [0, -1, -(2**31)])
    def test_no_ramp(self, light, ramp):
        lamp = light(rampdown_time=ramp)
        for watts in (5.0, 2.0, float("nan"), 1.0, -3.0, float("-inf"), 0.0):
            lamp.call("SetPower", "(d)", watts)
        assert lamp.call("GetIntensity") == 60


METHODS = [
    ("ActivateLight", "(b)", True),
    ("SetManualOn", "(b)", True),
    ("SetIntensity", "(i)", 1000),
    ("GetIntensity",),
    ("GetLightStatus",),
    ("SetEnabled", "(b)", False),
    ("GetEnabled",),
    ("SetEnableSyncDayNight", "(b)", False),
    ("GetEnableSyncDayNight",),
    ("GetLEDType",),
    ("GetIndividualLEDIntensity", "(is)", 0, "manual"),
    ("GetIndividualLEDIntensities", "(s)", "none"),
    ("SetIndividualLEDIntensity", "(iis)", 0, 1, "manual"),
    ("SetIndividualLEDIntensities", "(ais)", [1], "manual"),
    ("GetNumberOfLEDs",),
    ("GetValidIntensities",),
    ("SetPower", "(d)", 1.0),
    ("ChangeAngleOfIllumination", "(i)", 20),
    ("GetCurrentAngleOfIllumination",),
    ("GetValidAngleOfViews",),
]


@pytest.mark.parametrize("requirement", [{"required_total_power": 5.0}, {"minimum_poe_class": 1}])
def test_wrong_supply_closes_every_method(light, bus, sandbox, requirement):
    lamp = light(**requirement)
    before = sandbox.read("/etc/beamd/led0.conf")
    for method in METHODS:
        refused(7, "Wrong poe", lamp.call, *method)
    assert events(bus) == []
    assert sandbox.read("/etc/beamd/led0.conf") == before


class TestAngle:
    def test_range_is_inclusive(self, light):
        lamp = light()
        assert lamp.call("GetCurrentAngleOfIllumination") == 30
        assert lamp.call("GetValidAngleOfViews") == (10, 60)
        for valid in (10, 60, 33):
            lamp.call("ChangeAngleOfIllumination", "(i)", valid)
            assert lamp.call("GetCurrentAngleOfIllumination") == valid
        for invalid in (9, 61, -1, 2**31 - 1):
            refused(3, NO_ANGLE, lamp.call, "ChangeAngleOfIllumination", "(i)", invalid)
            assert lamp.call("GetCurrentAngleOfIllumination") == 33

    @pytest.mark.parametrize("zoom", [None, {"angleofillumination": None}], ids=["no group", "no key"])
    def test_light_without_angle(self, light, zoom):
        lamp = light({"zoom": zoom})
        refused(5, NO_ZOOM, lamp.call, "ChangeAngleOfIllumination", "(i)", 1000)
        refused(5, NO_ZOOM, lamp.call, "GetCurrentAngleOfIllumination")
        refused(5, NO_ZOOM, lamp.call, "GetValidAngleOfViews")


def test_debug_prints_name_what_is_asked(daemon, sandbox, bus, syslog):
    install_dummies(sandbox, {})
    daemon(argv=["--no-daemon", "--debug"])
    light = Light(bus.client)
    mark = bus.timeline.now()
    light.call("GetIntensity")
    light.get("SyncDayNight")
    light.set("SyncDayNight", True)
    assert syslog.texts(after=mark)[:2] == [
        (log.INFO, "Handle dbus method call: GetIntensity"),
        (log.INFO, "Handle get property: SyncDayNight"),
    ]
    assert (log.INFO, "Handle set property: SyncDayNight") in syslog.texts(after=mark)
