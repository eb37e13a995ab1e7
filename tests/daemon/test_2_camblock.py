"""What only the light of two LEDs on a camera block does."""

from __future__ import annotations

import errno

import pytest

from beamd_testing import syslog as log
from beamd_testing.camera_block import (
    ADDRESSED,
    DEVICE,
    LedPair,
    enable_register,
    enabled,
    not_opened,
    register_name,
    write,
)
from beamd_testing.log_lines import NOT_ACTIVATED, NOT_DEACTIVATED
from beamd_testing.services import Light

BOARD = LedPair

DEVICE_KEYS = ["camblockI2Cbus", "camblockI2Caddress", "camblocksubdevice"]
KEYS = [
    *DEVICE_KEYS,
    "camblocksubdevice_led0_enable_disable_reg",
    "camblocksubdevice_led0_power_reg",
    "camblocksubdevice_led1_enable_disable_reg",
    "camblocksubdevice_led1_power_reg",
]


class TestStart:
    def test_leds_are_not_asked(self, light, board, devices, syslog):
        for led in range(board.LEDS):
            devices.fail(f"reading {register_name(enable_register(led))}", errno.EIO)
        lamp = light()
        switched_off = [f"write {register_name(enable_register(led))} 0" for led in range(board.LEDS)]
        assert devices.reports() == [ADDRESSED, *switched_off]
        assert lamp.get("CardDetected")
        assert syslog.texts() == []

    def test_missing_bus_is_told_by_switching_and_leaves_another_light(
        self, serve, sandbox, bus, board, devices, syslog, timeline
    ):
        sandbox.path(DEVICE).unlink()
        board.add_dummy()
        serve()
        assert syslog.texts() == [*not_opened("No such file or directory"), NOT_DEACTIVATED]
        lamp, other = Light(bus.client), Light(bus.client, 1)
        assert lamp.get("CardDetected")
        mark = timeline.now()
        lamp.switch(True)
        assert not lamp.is_on()
        assert syslog.texts(after=mark) == [*not_opened("No such file or directory"), NOT_ACTIVATED]
        other.switch(True)
        assert other.is_on()
        assert devices.reports() == []

    @pytest.mark.parametrize("key", KEYS)
    def test_light_without_a_key_is_there_and_stays_dark(
        self, light, board, devices, temperature_service, syslog, timeline, key
    ):
        board.remove("camblock.conf", key)
        lamp = light()
        first, *others = syslog.texts()
        assert first[0] == log.ERR and first[1].startswith(f"Failed to get {key} from file: Key file does not have ")
        no_device = [(log.ERR, "Failed to open device No such device")] if key in DEVICE_KEYS else []
        assert others == [*no_device, *[NOT_DEACTIVATED for _ in no_device]]
        assert lamp.get("CardDetected")
        assert temperature_service.calls("GetTemperatureIdFromName") == []

        lamp.call("SetPower", "(d)", board.PLENTY)
        mark = timeline.now()
        lamp.switch(True)
        assert lamp.is_on() is not bool(no_device)
        assert all(each[-1] == 0 for each in devices.register_writes(mark))
        assert syslog.texts(after=mark) == [*no_device, *[NOT_ACTIVATED for _ in no_device]]

    def test_more_than_one_sensor(self, light, board, syslog):
        board.add_sensors(1)
        light()
        assert syslog.texts() == [(log.WARNING, "Expected at most 1 temperature sensor, but found 2.")]


def test_leds_may_differ(light, board, devices, timeline):
    lamp = light()
    lamp.call("SetPower", "(d)", board.PLENTY)
    lamp.set("AutomaticIntensity", False)
    lamp.call("SetIndividualLEDIntensity", "(iis)", 0, 500, "manual")
    lamp.call("SetIndividualLEDIntensity", "(iis)", 1, 0, "manual")
    mark = timeline.now()
    lamp.switch(True)
    assert board.give(50, [500, 0]) == [300, 0]
    assert devices.register_writes(mark) == [enabled(0), write(0x11, 76), enabled(1), write(0x13, 0)]
