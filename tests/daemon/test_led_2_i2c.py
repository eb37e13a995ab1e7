"""What only the light of two channels does, as the example configures it."""

from __future__ import annotations

import pytest

from beamd_testing import syslog as log
from beamd_testing.led_board import LIGHTS, demand_no_board
from beamd_testing.log_lines import NOT_ACTIVATED, SETUP_FAILED
from beamd_testing.mcu_board import MARK, TwoChannels
from beamd_testing.regulator import reduction

BOARD = TwoChannels


class TestBoard:
    def test_qxid_0_is_no_board_while_everything_else_loads(self, light, sandbox, board, syslog):
        sandbox.write(MARK, "0")
        demand_no_board(light())
        assert {board.access(path) for path in board.written} == {LIGHTS}
        assert syslog.texts() == [(log.INFO, "Could not find MCU driver")]

    def test_missing_channel_ends_the_daemon(self, launch, sandbox, board, syslog):
        sandbox.path(board.written[1]).unlink()
        launch().wait_for_exit(1)
        complaint = f"Failed to chown {board.written[1]} to gid {LIGHTS[1]}"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]


class TestPower:
    def test_each_grant_is_followed(self, light, board):
        lamp = light()
        lamp.set("AutomaticIntensity", False)
        lamp.call("ChangeAngleOfIllumination", "(i)", 30)
        lamp.switch(True)
        board.forget()
        for watts in (1.0, 0.45, 0.3, 0.12, 0.01, 0.0, 0.4, -1.0, float("inf"), float("nan"), 0.2):
            lamp.call("SetPower", "(d)", watts)
            board.takes(board.give(30, (100, 100), watts))


class TestShape:
    def test_channels_follow_angle_and_intensity(self, lit, board):
        lamp = lit()
        lamp.set("AutomaticIntensity", False)
        for angle, intensity in [(0, 100), (33, 100), (50, 77), (51, 33), (99, 5), (100, 100), (50, 0)]:
            lamp.call("ChangeAngleOfIllumination", "(i)", angle)
            board.forget()
            lamp.call("SetIntensity", "(i)", intensity)
            board.takes(board.give(angle, (intensity, intensity)))

    def test_channels_may_differ(self, lit, board):
        lamp = lit()
        lamp.set("AutomaticIntensity", False)
        board.forget()
        lamp.call("SetIntensity", "(i)", 80)
        board.takes(board.give(50, (80, 80)))
        lamp.call("SetIndividualLEDIntensity", "(iis)", 0, 30, "manual")
        board.takes(board.give(50, (30, 80)))
        lamp.call("SetIndividualLEDIntensity", "(iis)", 1, 0, "manual")
        board.takes(board.give(50, (30, 0)))


class TestTemperature:
    @pytest.mark.parametrize("hotter", [0, 1])
    @pytest.mark.memcheck
    def test_hotter_sensor_takes_its_share_of_both_channels(self, ticking, board, hotter):
        board.heat(hotter, 55.3)
        ticking().call("ChangeAngleOfIllumination", "(i)", 30)
        full = board.give(30, (50, 50))
        expected = board.contents(full, reduction(55.3, sum(full)))
        assert full[0] != full[1]
        assert not {*expected} & {*board.contents(full), *board.dark()}, "each gives something, but not all"
        board.wait_for(expected)

    def test_runs_also_without_a_grant(self, light, board, syslog):
        board.configure("dimming.conf", sample_time=1)
        board.heat(0, 150.0)
        light("--debug").switch(True)
        assert board.take() == board.dark()
        syslog.wait_for((log.INFO, "power_reduce = 0.00, temp = 150.00"))
        board.wait_for(board.dark())


class TestFailures:
    @pytest.mark.parametrize("missing", [0, 1])
    def test_board_that_vanishes(self, light, board, sandbox, syslog, missing):
        lamp = light()
        mark = syslog.timeline.now()
        sandbox.path(board.written[missing]).unlink()
        lamp.switch(True)
        assert not lamp.is_on()
        no_file = (log.WARNING, f"Failed to open fd for led {missing}")
        assert syslog.texts(after=mark) == [no_file, NOT_ACTIVATED]
        assert sandbox.read(board.written[1 - missing]) == ""


def test_values_are_told_in_debug_mode(light, board, syslog):
    lamp = light("--debug")
    lamp.call("SetPower", "(d)", board.PLENTY)
    mark = syslog.timeline.now()
    lamp.switch(True)
    first, second = board.lit()
    assert (log.INFO, f"led0 {first} led1 {second}") in syslog.texts(after=mark)
