"""What only the light on a camera block does whose LEDs are listed one by one."""

from __future__ import annotations

import errno

import pytest

from beamd_testing import syslog as log
from beamd_testing.camera_block import DEVICE, READ_FAILED, ListedLeds, enable_register, not_opened, register_name
from beamd_testing.led_board import demand_no_board
from beamd_testing.log_lines import SETUP_FAILED
from beamd_testing.services import Light

BOARD = ListedLeds

NO_HARDWARE = (log.INFO, "Could not find MCU hardware")


class TestStart:
    @pytest.mark.parametrize(
        "request_name, error, complaint",
        [
            ("funcs", errno.EIO, "Error I2C_FUNCS Input/output error : res = -1"),
            ("slave", errno.EBUSY, "Error I2C_SLAVE_FORCE Device or resource busy : res = -1"),
        ],
    )
    def test_bus_that_refuses(self, light, devices, syslog, request_name, error, complaint):
        devices.fail(request_name, error)
        demand_no_board(light())
        assert syslog.texts() == [(log.ERR, complaint), NO_HARDWARE]
        assert devices.register_writes() == []

    @pytest.mark.parametrize("led", range(BOARD.LEDS))
    def test_led_that_does_not_answer(self, light, devices, syslog, led):
        devices.fail(f"reading {register_name(enable_register(led))}", errno.EIO)
        demand_no_board(light())
        assert syslog.texts() == [READ_FAILED, (log.ERR, f"Failure to access led:{led}"), NO_HARDWARE]
        assert devices.register_writes() == []

    def test_missing_bus_leaves_another_light(self, serve, sandbox, bus, board, devices, syslog):
        sandbox.path(DEVICE).unlink()
        board.add_dummy()
        running = serve()
        assert syslog.texts() == [not_opened("No such file or directory")[0], NO_HARDWARE]
        demand_no_board(Light(bus.client))
        other = Light(bus.client, 1)
        other.switch(True)
        assert other.is_on() and other.get("CardDetected")
        running.stop()
        assert devices.reports() == []

    @pytest.mark.parametrize("key", ["camblockI2Cbus", "camblockI2Caddress", "camblocksubdevice"])
    def test_missing_key_ends_the_daemon(self, launch, board, devices, syslog, key):
        board.remove("camblock.conf", key)
        launch(devices=devices).wait_for_exit(1)
        assert syslog.texts() == [(log.ERR, f"Could not read param '{key}'"), SETUP_FAILED]

    def test_fewer_sensors_than_leds(self, light, board, syslog):
        board.remove("dimming.conf", "temp_sensor_id3")
        light()
        assert syslog.texts() == [(log.WARNING, "Expected at most 3 temperature sensors, but found 2.")]


def test_leds_may_differ(lit, board, devices, timeline):
    lamp = lit()
    lamp.set("AutomaticIntensity", False)
    lamp.call("SetIndividualLEDIntensity", "(iis)", 1, 330, "manual")
    mark = timeline.now()
    lamp.call("SetIndividualLEDIntensity", "(iis)", 2, 0, "manual")
    assert devices.register_writes(mark) == board.lit(board.give(50, [1000, 330, 0]))
