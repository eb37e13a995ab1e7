"""The example configurations work as they are."""

from __future__ import annotations

import pytest

from beamd_testing.backlight_board import BacklightBoard
from beamd_testing.fisheye_board import FisheyeBoard
from beamd_testing.installation import install_example
from beamd_testing.led_board import LedBoard
from beamd_testing.log_lines import TERMINATING
from beamd_testing.mcu_board import OneChannel, ThreeOutputs, TwoChannels
from beamd_testing.pwm_board import PwmBoard
from beamd_testing.services import Controller, Light, events
from beamd_testing.sysfs_board import SysfsBoard


def test_dummy(daemon, sandbox, bus, syslog):
    install_example(sandbox, "Dummy")
    running = daemon()
    controller = Controller(bus.client)
    assert controller.count() == 2 and controller.is_available()
    assert [each[:2] for each in controller.lights()] == [("led0", "IR"), ("led1", "White")]
    for number in range(2):
        light = Light(bus.client, number)
        assert not light.is_on()
        light.switch(True)
        assert light.is_on()
    assert [content["state"] for _, content in events(bus)] == ["ON"] * 4
    running.stop()
    assert syslog.texts() == [TERMINATING]


# The number of LEDs, the watts that the light asks for, and what its files hold when it has them.
LIGHTS = [
    (OneChannel, 1, 1.0, ["50"]),
    (PwmBoard, 0, 2.0, ["11", "100000", "55000"]),
    (FisheyeBoard, 4, 5.0, ["1500", "1500", "1000", "1000"]),
    (BacklightBoard, 3, 2.0, ["1023", "613", "409", "1", "0", "1"]),
    (ThreeOutputs, 2, (168 + 2 * 120) * 0.0018, ["120", "168", "120"]),
    (TwoChannels, 2, (60 + 60) * 0.0025, ["60", "60"]),
    (SysfsBoard, 3, 1.5, ["1000", "200", "0"]),
]


@pytest.fixture
def board(example) -> LedBoard:
    """The example without a change."""
    return example


@pytest.mark.parametrize("board_type, leds, watts, contents", LIGHTS, ids=[each[0].EXAMPLE for each in LIGHTS])
def test_light(serve, bus, board, syslog, power_daemon, leds, watts, contents):
    running = serve()
    controller = Controller(bus.client)
    assert controller.count() == 1 and controller.is_available()
    assert controller.lights()[0][:3] == ("led0", "IR", leds)
    light = Light(bus.client)
    assert light.get("CardDetected") and light.get("CorrectPoe")
    light.switch(True)
    assert power_daemon.requests() == [("led0", "normal", pytest.approx(watts))]
    board.forget()
    light.call("SetPower", "(d)", watts)
    assert [text.rstrip("\0") for text in board.take()] == contents
    running.stop()
    assert board.take() == board.dark()
    assert syslog.texts() == [*board.AT_START, TERMINATING]
