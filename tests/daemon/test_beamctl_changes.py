"""beamctl on, off, enable, disable, intensity, angle, get and set."""

from __future__ import annotations

import pytest
from beamd_testing.beamctl import FakeDaemon
from beamd_testing.configuration import LIGHT_DEFAULTS
from beamd_testing.coordinator import Coordinator
from beamd_testing.installation import install_dummies, install_example
from beamd_testing.services import Light, light_path


@pytest.fixture
def light(daemon, sandbox, bus):
    """Starts the daemon with a light of two LEDs with these keys, and another one."""

    def light(changes: dict | None = None, **common: object) -> Light:
        install_dummies(sandbox, {"common": common, **(changes or {})}, {}, leds=2)
        daemon()
        return Light(bus.client)

    return light


class TestSwitching:
    def test_on_and_off(self, light, beamctl) -> None:
        lamp = light()
        assert beamctl.says("on", "led0") == "led0 is on and enabled\n"
        assert lamp.is_on()
        assert beamctl.tells("off", "0") == {"light": "led0", "on": False, "enabled": True}
        assert not lamp.is_on()
        assert beamctl.tells("on", "0") == {"light": "led0", "on": True, "enabled": True}
        assert beamctl.says("off", "0") == "led0 is off and enabled\n"

    def test_disabled_light(self, light, beamctl) -> None:
        lamp = light(enable=False)
        remark = ": it shines once it is enabled (beamctl enable led0)"
        assert beamctl.says("on", "led0") == f"led0 is off and disabled{remark}\n"
        assert beamctl.says("enable", "led0") == "led0 is on and enabled\n"
        assert lamp.is_on()
        assert beamctl.tells("disable", "led0") == {"light": "led0", "on": False, "enabled": False}
        assert beamctl.says("off", "led0") == "led0 is off and disabled\n"
        assert beamctl.tells("enable", "led0") == {"light": "led0", "on": False, "enabled": True}
        assert beamctl.says("disable", "led0") == "led0 is off and disabled\n"

    def test_hardware_that_does_not_obey(self, daemon, sandbox, bus, beamctl) -> None:
        install_example(sandbox, "LED2UART")
        unit = Coordinator(bus)
        unit.start()
        daemon()
        assert beamctl.says("on", "led0") == "led0 is on and enabled\n"
        unit.stop()
        advice = "beamd's log tells why: journalctl -u beamd"
        for command in ("off", "disable"):
            failure = beamctl.fails(1, "not-switched", command, "led0")
            assert failure == ("beamd could not switch led0 off", advice)
        unit.start()
        beamctl.says("off", "led0")
        beamctl.says("enable", "led0")
        unit.stop()
        assert beamctl.fails(1, "not-switched", "on", "led0") == ("beamd could not switch led0 on", advice)

    @pytest.mark.parametrize("command", ["on", "off", "enable", "disable"])
    def test_light_without_board(self, daemon, sandbox, beamctl, command: str) -> None:
        install_dummies(sandbox, {})
        sandbox.path(f"{LIGHT_DEFAULTS['common']['basepath']}/QXID").unlink()
        daemon()
        message, advice = beamctl.fails(1, "no-board", command, "led0")
        assert message == "No IR light PCB found"
        assert advice.startswith("check the light's board")


class TestIntensity:
    def test_of_the_light(self, light, beamctl) -> None:
        lamp = light(intensityLOW=-5)
        assert beamctl.says("intensity", "led0") == "60\n"
        assert beamctl.says("intensity", "led0", "33") == "led0: intensity is now 33\n"
        assert lamp.call("GetIntensity") == 33
        assert beamctl.tells("intensity", "led0", "-5") == {"light": "led0", "intensity": -5}
        assert lamp.call("GetIntensity") == -5
        assert beamctl.tells("intensity", "led0") == {"light": "led0", "intensity": -5}

    @pytest.mark.parametrize("value", ["101", "-1", "2147483647"])
    def test_out_of_range(self, light, beamctl, value: str) -> None:
        lamp = light()
        message, advice = beamctl.fails(1, "invalid-intensity", "intensity", "led0", value)
        assert message == "Invalid Intensity. Intensity is not set"
        assert advice == '"beamctl show led0" tells the valid intensities and how many LEDs there are'
        assert lamp.call("GetIntensity") == 60

    @pytest.mark.parametrize("value", ["2147483648", "bright", "1.5", "", "5 ", "0x10", "-"])
    def test_no_number(self, light, beamctl, value: str) -> None:
        light()
        message, _ = beamctl.fails(2, "usage", "intensity", "led0", value)
        assert message == f'"{value}" is no whole number'

    @pytest.mark.parametrize("kind", ["manual", "automatic"])
    def test_of_each_led(self, light, beamctl, kind: str) -> None:
        lamp = light()
        option = f"--{kind}"
        heading = f"LED  {kind.upper()} INTENSITY"
        assert beamctl.says("intensity", "led0", option, "--led", "1", "7").splitlines() == [
            heading,
            f"  1{7:>{len(heading) - 3}}",
        ]
        assert lamp.call("GetIndividualLEDIntensities", "(s)", kind) == [60, 7]
        told = {"light": "led0", "kind": kind}
        both = [{"led": 0, "intensity": 60}, {"led": 1, "intensity": 7}]
        assert beamctl.tells("intensity", option, "led0") == told | {"leds": both}
        assert beamctl.tells(option, "--led=1", "intensity", "led0") == told | {"leds": both[1:]}
        assert beamctl.says("intensity", "led0", option).splitlines()[1:] == [
            f"  0{60:>{len(heading) - 3}}",
            f"  1{7:>{len(heading) - 3}}",
        ]
        both = [{"led": 0, "intensity": 9}, {"led": 1, "intensity": 9}]
        assert beamctl.tells("intensity", "led0", "9", option) == told | {"leds": both}
        assert lamp.call("GetIndividualLEDIntensities", "(s)", kind) == [9, 9]

    @pytest.mark.parametrize("automatic, kind", [(True, "automatic"), (False, "manual"), (None, "manual")])
    def test_led_alone_means_the_kind_in_use(self, light, beamctl, automatic: bool | None, kind: str) -> None:
        lamp = light(automaticintensity=automatic)
        assert beamctl.tells("intensity", "led0", "7", "--led", "0")["kind"] == kind
        assert lamp.call("GetIndividualLEDIntensities", "(s)", kind)[0] == 7

    def test_no_such_led(self, light, beamctl) -> None:
        light()
        beamctl.fails(1, "invalid-intensity", "intensity", "led0", "--led", "2", "--manual")
        beamctl.fails(1, "not-supported", "intensity", "led0", "5", "--led", "2", "--manual")
        message, _ = beamctl.fails(2, "usage", "intensity", "led0", "--led", "two")
        assert message == '"two" is no whole number'

    def test_not_supported(self, light, beamctl) -> None:
        light(individualintensitysupport=False)
        message, advice = beamctl.fails(1, "not-supported", "intensity", "led0", "5", "--manual")
        assert message == "Individual intensity not supported."
        assert '"beamctl show led0" tells what is supported' in advice

    def test_both_kinds(self, light, beamctl) -> None:
        message, advice = beamctl.fails(2, "usage", "intensity", "led0", "--manual", "--automatic")
        assert (message, advice) == (
            "an intensity is either automatic or manual",
            "use one of --automatic and --manual",
        )

    def test_without_leds(self, daemon, sandbox, beamctl) -> None:
        install_dummies(sandbox, {})
        daemon()
        assert beamctl.says("intensity", "0", "--manual") == "led0 has no LEDs that can be set one by one\n"
        assert beamctl.tells("intensity", "0", "--automatic")["leds"] == []
        for kind in ("--manual", "--automatic"):
            message, advice = beamctl.fails(1, "not-supported", "intensity", "0", "5", kind)
            assert message == "led0 has no LEDs that can be set one by one"
            assert advice == '"beamctl intensity led0 VALUE" sets that of the whole light'


class TestAngle:
    def test_shown_and_set(self, light, beamctl) -> None:
        lamp = light()
        assert beamctl.says("angle", "led0") == "30\n"
        assert beamctl.says("angle", "led0", "20") == "led0: angle is now 20\n"
        assert lamp.call("GetCurrentAngleOfIllumination") == 20
        assert beamctl.tells("angle", "led0", "60") == {"light": "led0", "angle": 60}
        assert beamctl.tells("angle", "led0") == {"light": "led0", "angle": 60}

    def test_refused(self, light, beamctl) -> None:
        light()
        message, advice = beamctl.fails(1, "invalid-angle", "angle", "led0", "-7")
        assert message == "Invalid Angle of illumination. Angle of illumination is not set"
        assert advice == '"beamctl show led0" tells the valid angles'
        beamctl.fails(2, "usage", "angle", "led0", "wide")

    def test_not_supported(self, light, beamctl) -> None:
        light({"zoom": None}, manualangleofillumination=None)
        message, _ = beamctl.fails(1, "not-supported", "angle", "led0")
        assert message == "Angle of illumination is not supported"


class TestReadingBack:
    def test_intensities_that_become_others(self, bus, beamctl) -> None:
        fake = FakeDaemon(bus)
        fake.start()
        fake.add_light(
            {
                "SetIntensity": ("i", "", ""),
                "GetIntensity": ("i", "ret = 42"),
                "SetIndividualLEDIntensity": ("iis", "", ""),
                "GetIndividualLEDIntensity": ("is", "i", "ret = 43"),
                "GetNumberOfLEDs": ("i", "ret = 2"),
                "SetIndividualLEDIntensities": ("ais", "", ""),
                "GetIndividualLEDIntensities": ("s", "ai", "ret = [44, 45]"),
            }
        )
        assert beamctl.says("intensity", "led0", "7") == "led0: intensity is now 42\n"
        assert beamctl.tells("intensity", "led0", "7")["intensity"] == 42
        one = beamctl.tells("intensity", "led0", "7", "--manual", "--led", "1")
        assert one["leds"] == [{"led": 1, "intensity": 43}]
        both = beamctl.tells("intensity", "led0", "7", "--manual")
        assert [led["intensity"] for led in both["leds"]] == [44, 45]

    def test_angle_and_property(self, light, bus, beamctl) -> None:
        lamp = light()
        beamctl.says("angle", "led0", "20")
        beamctl.says("set", "led0", "SyncDayNight", "on")
        assert len(bus.messages("call", "GetCurrentAngleOfIllumination", path=lamp.path)) == 1
        assert len(bus.messages("call", "Get", path=lamp.path)) == 1


VALUES = {
    "AutomaticAngleOfIllumination": (True, ("false", False)),
    "AutomaticAngleOfIlluminationSupp": (True, None),
    "AutomaticIntensity": (False, ("yes", True)),
    "CardDetected": (True, None),
    "CorrectPoe": (True, None),
    "ManualSetAngleOfIllumination": (40, ("11", 11)),
    "ManualSetIntensity": (60, ("-8", -8)),
    "SyncDayNight": (False, ("on", True)),
    "UseDayNight": (True, None),
}


def text(value: bool | int) -> str:
    return str(value).lower()


class TestProperties:
    def test_each_of_a_light_is_tested(self, light, bus) -> None:
        light()
        node = bus.client.introspect(light_path(0))
        declared = [entry for interface in node.interfaces for entry in interface.properties]
        assert {entry.name for entry in declared} == set(VALUES)

    @pytest.mark.parametrize("name", VALUES)
    def test_get_and_set(self, light, beamctl, name: str) -> None:
        lamp = light()
        before, change = VALUES[name]
        assert beamctl.says("get", "led0", name) == f"{text(before)}\n"
        assert beamctl.tells("get", "led0", name) == {"light": "led0", "property": name, "value": before}
        if change is None:
            message, advice = beamctl.fails(2, "read-only-property", "set", "led0", name, "1")
            assert message == f"{name} can only be read"
            writable = {name for name, (_, change) in VALUES.items() if change}
            assert set(advice.removeprefix("these can be set: ").split(", ")) == writable
            return
        given, after = change
        assert beamctl.says("set", "led0", name, given) == f"led0: {name} is now {text(after)}\n"
        assert lamp.get(name) == after
        assert beamctl.tells("set", "led0", name, text(before)) == {
            "light": "led0",
            "property": name,
            "value": before,
        }
        assert lamp.get(name) == before

    @pytest.mark.parametrize("name, guess", [("SyncDayNigth", "SyncDayNight"), ("cardDETECTED", "CardDetected")])
    def test_misspelt(self, light, beamctl, name: str, guess: str) -> None:
        light()
        message, advice = beamctl.fails(5, "no-such-property", "get", "led0", name)
        assert message == f'there is no property "{name}"'
        meant, _, known = advice.partition("? there are: ")
        assert meant == f'did you mean "{guess}"'
        assert set(known.split(", ")) == set(VALUES)
        assert beamctl.fails(5, "no-such-property", "set", "led0", name, "1") == (message, advice)

    def test_nothing_like_it(self, light, beamctl) -> None:
        light()
        _, advice = beamctl.fails(5, "no-such-property", "get", "led0", "Colour")
        assert advice.startswith("there are: ")

    @pytest.mark.parametrize(
        "name, value, wanted",
        [
            ("SyncDayNight", "maybe", "true or false"),
            ("SyncDayNight", "2", "true or false"),
            ("ManualSetIntensity", "true", "a whole number of 32 bits"),
            ("ManualSetIntensity", "2147483648", "a whole number of 32 bits"),
            ("ManualSetIntensity", "", "a whole number of 32 bits"),
        ],
    )
    def test_value_of_another_type(self, light, beamctl, name: str, value: str, wanted: str) -> None:
        lamp = light()
        before = lamp.get(name)
        message, advice = beamctl.fails(2, "invalid-value", "set", "led0", name, value)
        assert message == f'"{value}" is no value of {name}'
        assert advice == f"{name} is {wanted}"
        assert lamp.get(name) == before

    def test_refused(self, light, beamctl) -> None:
        light(syncdaynight=None)
        message, _ = beamctl.fails(1, "not-supported", "get", "led0", "SyncDayNight")
        assert message == "Day Night Synchronize is not supported"
        assert beamctl.fails(1, "not-supported", "set", "led0", "SyncDayNight", "true")[0] == message
        beamctl.fails(1, "invalid-angle", "set", "led0", "ManualSetAngleOfIllumination", "61")
