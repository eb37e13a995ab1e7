"""beamctl list and show: all that the daemon tells of its lights."""

from __future__ import annotations

import re

import pytest
from beamd_testing.configuration import LIGHT_DEFAULTS
from beamd_testing.installation import install_dummies
from beamd_testing.services import COMMON, ZOOM, Light, light_path

TABLE = """\
LIGHT  TYPE  LEDS  ENABLED  DAY/NIGHT SYNC  ON   AUTO INTENSITY  AUTO ANGLE
led0   IR       2  yes      no              yes  no              yes
led1   Weiß     2  no       yes             no   yes             no
"""


@pytest.fixture
def two_lights(daemon, sandbox, bus) -> None:
    other = {"enable": False, "syncdaynight": True, "automaticintensity": True, "ledtype": "Weiß"}
    install_dummies(sandbox, {}, {"common": other, "zoom": {"automaticangleofillumination": None}}, leds=2)
    daemon()
    Light(bus.client, 0).switch(True)


def test_list(two_lights, beamctl) -> None:
    assert beamctl.says("list") == TABLE
    assert beamctl.tells("list") == {
        "lights": [
            {
                "name": "led0",
                "type": "IR",
                "leds": 2,
                "enabled": True,
                "sync_day_night": False,
                "on": True,
                "automatic_intensity": False,
                "automatic_angle": True,
                "error": None,
            },
            {
                "name": "led1",
                "type": "Weiß",
                "leds": 2,
                "enabled": False,
                "sync_day_night": True,
                "on": False,
                "automatic_intensity": True,
                "automatic_angle": False,
                "error": None,
            },
        ]
    }


def test_list_of_no_lights(daemon, sandbox, beamctl) -> None:
    install_dummies(sandbox)
    daemon()
    assert beamctl.says("list") == "beamd has no lights\n"
    assert beamctl.tells("list") == {"lights": []}


@pytest.fixture
def one_without_board(daemon, sandbox) -> None:
    install_dummies(sandbox, {}, {}, leds=2)
    sandbox.path(f"{LIGHT_DEFAULTS['common']['basepath']}/QXID").unlink()
    daemon()


SHOWN = """\
led0                             METHOD OR PROPERTY                     VALUE
Type                             GetLEDType                             IR
LEDs                             GetNumberOfLEDs                        2
Board detected                   CardDetected                           yes
Power supply sufficient          CorrectPoe                             yes
Enabled                          GetEnabled                             yes
On                               GetLightStatus                         yes
Intensity                        GetIntensity                           60
Valid intensities                GetValidIntensities                    0 to 100
Automatic intensity              AutomaticIntensity                     no
Manual intensity                 ManualSetIntensity                     60
Manual intensity of each LED     GetIndividualLEDIntensities manual     60 60
Automatic intensity of each LED  GetIndividualLEDIntensities automatic  60 60
Angle of illumination            GetCurrentAngleOfIllumination          30
Valid angles                     GetValidAngleOfViews                   10 to 60
Automatic angle supported        AutomaticAngleOfIlluminationSupp       yes
Automatic angle                  AutomaticAngleOfIllumination           yes
Manual angle                     ManualSetAngleOfIllumination           40
Follows day and night            SyncDayNight                           no
Following not suspended          GetEnableSyncDayNight                  yes
No manual override               UseDayNight                            yes
"""


@pytest.mark.parametrize("name", ["led0", "0"])
def test_show(two_lights, beamctl, name: str) -> None:
    assert beamctl.says("show", name) == SHOWN
    assert beamctl.tells("show", name) == {
        "light": "led0",
        "path": light_path(0),
        "values": {
            "type": "IR",
            "leds": 2,
            "board_detected": True,
            "correct_poe": True,
            "enabled": True,
            "on": True,
            "intensity": 60,
            "valid_intensities": [0, 100],
            "automatic_intensity": False,
            "manual_intensity": 60,
            "led_intensities_manual": [60, 60],
            "led_intensities_automatic": [60, 60],
            "angle": 30,
            "valid_angles": [10, 60],
            "automatic_angle_supported": True,
            "automatic_angle": True,
            "manual_angle": 40,
            "sync_day_night": False,
            "sync_day_night_now": True,
            "use_day_night": True,
        },
        "refused": {},
    }


def test_show_asks_for_everything_that_can_be_read(two_lights, bus) -> None:
    node = bus.client.introspect(light_path(0))
    interfaces = [node.lookup_interface(name) for name in (COMMON, ZOOM)]
    readable = {entry.name for interface in interfaces for entry in interface.properties}
    readable |= {
        method.name for interface in interfaces for method in interface.methods if method.name.startswith("Get")
    }
    # The intensity of one LED is among those of all.
    asked = {line.split("  ")[-2].split()[0] for line in re.sub("  +", "  ", SHOWN).splitlines()[1:]}
    assert asked == readable - {"GetIndividualLEDIntensity"}


def test_what_is_not_supported_is_named_with_its_reason(daemon, sandbox, beamctl) -> None:
    keys = ["syncdaynight", "automaticintensity", "manualintensity"]
    missing = dict.fromkeys([*keys, "manualangleofillumination", "individualintensitysupport"])
    install_dummies(sandbox, {"common": missing, "zoom": None}, leds=2)
    daemon()
    reasons = {
        "automatic_intensity": "Automatic Intensity is not supported",
        "manual_intensity": "Manual Intensity is not supported",
        "led_intensities_manual": "Individual intensity not supported.",
        "led_intensities_automatic": "Individual intensity not supported.",
        "angle": "Angle of illumination is not supported",
        "valid_angles": "Angle of illumination is not supported",
        "automatic_angle": "Angle of illumination is not supported",
        "manual_angle": "Angle of illumination is not supported",
        "sync_day_night": "Day Night Synchronize is not supported",
    }
    told = beamctl.tells("show", "led0")
    assert told["refused"] == {
        key: {"code": "not-supported", "message": reason} for key, reason in reasons.items()
    }
    assert {key for key, value in told["values"].items() if value is None} == set(reasons)
    lines = beamctl.says("show", "led0").splitlines()
    shown = [line.partition("  not supported: ")[2] for line in lines if "not supported: " in line]
    assert shown == list(reasons.values())


def test_interfaces_that_a_light_does_not_offer(daemon, sandbox, beamctl) -> None:
    install_dummies(sandbox, {"common": {"nbrofinterfaces": 1}}, leds=2)
    daemon()
    refused = beamctl.tells("show", "led0")["refused"]
    angles = {"angle", "valid_angles", "automatic_angle_supported", "automatic_angle", "manual_angle"}
    assert set(refused) == angles
    assert {refusal["code"] for refusal in refused.values()} == {"not-offered"}
    assert beamctl.says("show", "led0").count("  not supported: ") == len(angles)
    message, advice = beamctl.fails(1, "not-offered", "angle", "led0")
    assert "com.velk.LightController.Zoom" in message or "GetCurrentAngleOfIllumination" in message
    assert advice == '"beamctl show led0" tells what is supported'


class TestWithoutBoard:
    def test_list_and_show_go_on(self, one_without_board, bus, beamctl) -> None:
        no_board = "No IR light PCB found"
        lines = beamctl.says("list").splitlines()
        assert [line.split()[0] for line in lines] == ["LIGHT", "led0", "led1"]
        assert all(line.endswith(f"  {no_board}") for line in lines[1:])
        for light in beamctl.tells("list")["lights"]:
            assert light["error"] == {"code": "no-board", "message": no_board}
            assert light["type"] is None

        told = beamctl.tells("show", "led0")
        assert told["values"]["board_detected"] is False and told["values"]["correct_poe"] is True
        assert {key for key, value in told["values"].items() if value is not None} == {"board_detected", "correct_poe"}
        assert set(told["refused"]["intensity"].items()) == {("code", "no-board"), ("message", no_board)}
        assert f"refused: {no_board}\n" in beamctl.says("show", "led0")


def test_light_with_too_weak_a_supply_stands_beside_the_others(daemon, sandbox, power_daemon, beamctl) -> None:
    power_daemon.status.set({"PowerReceived": 10.0})
    power_daemon.start()
    install_dummies(sandbox, {"common": {"usepowerrequest": True, "required_total_power": 20.0}}, {}, leds=2)
    daemon()
    assert beamctl.says("list") == (
        "LIGHT  TYPE  LEDS  ENABLED  DAY/NIGHT SYNC  ON  AUTO INTENSITY  AUTO ANGLE  REFUSED\n"
        "led0   -        -  -        -               -   -               -           Wrong poe\n"
        "led1   IR       2  yes      no              no  no              yes\n"
    )
    weak, usable = beamctl.tells("list")["lights"]
    assert weak["error"] == {"code": "wrong-poe", "message": "Wrong poe"}
    assert usable == {
        "name": "led1",
        "type": "IR",
        "leds": 2,
        "enabled": True,
        "sync_day_night": False,
        "on": False,
        "automatic_intensity": False,
        "automatic_angle": True,
        "error": None,
    }
    message, advice = beamctl.fails(1, "wrong-poe", "on", "led0")
    assert (message, advice.partition(":")[0]) == ("Wrong poe", "the power supply is too weak for the light")


def test_what_is_not_supported_is_neither_on_nor_off(daemon, sandbox, power_daemon, beamctl) -> None:
    power_daemon.status.set({"PowerReceived": 10.0})
    power_daemon.start()
    weak = {"usepowerrequest": True, "required_total_power": 20.0}
    simple = {"nbrofinterfaces": 1, "syncdaynight": None, "automaticintensity": None}
    install_dummies(sandbox, {"common": weak}, {"common": simple}, leds=2)
    daemon()
    told = beamctl.tells("list")["lights"][1]
    assert [told[key] for key in ("sync_day_night", "automatic_intensity", "automatic_angle")] == [None] * 3
    assert told["error"] is None
    assert beamctl.says("list").splitlines()[2] == "led1   IR       2  yes      -               no  -               -"


def test_light_with_one_interface(daemon, sandbox, beamctl) -> None:
    install_dummies(sandbox, {"common": {"nbrofinterfaces": 1}}, leds=2)
    daemon()
    assert beamctl.says("list").splitlines()[1].startswith("led0   IR")
    assert beamctl.says("get", "led0", "SyncDayNight") == "false\n"
    assert beamctl.says("set", "led0", "SyncDayNight", "on") == "led0: SyncDayNight is now true\n"
    for arguments in (["get", "led0", "AutomaticAngleOfIllumination"], ["set", "led0", "AutomaticAngleOfIllumination", "1"]):
        _, advice = beamctl.fails(5, "no-such-property", *arguments)
        assert "there are: " in advice and "Angle" not in advice.partition("there are: ")[2]


def test_type_that_is_not_for_a_terminal(daemon, sandbox, beamctl) -> None:
    kind = "\033[31m\aIR" + "x" * 5000
    install_dummies(sandbox, {"common": {"ledtype": f"{kind}\\n"}}, leds=2)
    daemon()
    odd = "\N{REPLACEMENT CHARACTER}"
    clean = f"{odd}[31m{odd}IR" + "x" * 5000 + odd
    assert beamctl.tells("list")["lights"][0]["type"] == f"{kind}\n"
    assert beamctl.says("list").splitlines()[1].startswith(f"led0   {clean}  ")
    assert beamctl.tells("show", "led0")["values"]["type"] == f"{kind}\n"
    assert f"  GetLEDType                             {clean}\n" in beamctl.says("show", "led0")
