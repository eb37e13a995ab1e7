"""What only the light of a fisheye camera does, as the example configures it."""

from __future__ import annotations

import pytest

from beamd_testing import syslog as log
from beamd_testing.fisheye_board import FisheyeBoard, led_file
from beamd_testing.led_board import FRESH, LIGHTS
from beamd_testing.log_lines import NOT_ACTIVATED, NOT_DEACTIVATED, SETUP_FAILED

BOARD = FisheyeBoard


class TestStart:
    def test_without_the_last_led(self, light, board, syslog):
        path = board.written.pop()
        board.sandbox.path(path).unlink()
        lamp = light()
        assert syslog.texts() == [
            (log.ERR, f"Failed to chown {path} to gid {LIGHTS[1]}"),
            (log.ERR, f"activate_light: failed to open {path}: No such file or directory"),
            NOT_DEACTIVATED,
        ]
        assert not lamp.get("CardDetected")

    def test_five_sensors_are_the_end(self, launch, board, syslog):
        board.add_sensors(3)
        launch().wait_for_exit(1)
        complaint = (log.ERR, "Expected at most 4 temperature sensors, but found 5.")
        assert syslog.texts() == [complaint, SETUP_FAILED]
        assert board.access(led_file(0)) == FRESH

    @pytest.mark.parametrize("key", ["sample_time", "k_p", "k_i", "k_d", "ref_temp"])
    def test_missing_settings_are_the_end(self, launch, board, syslog, key):
        text = board.sandbox.read("/etc/beamd/dimming.conf")
        board.sandbox.write("/etc/beamd/dimming.conf", text.replace(f"\n{key}=", f"\n#{key}="))
        launch().wait_for_exit(1)
        missing = "Missing" if key in ("sample_time", "ref_temp") else "missing"
        assert syslog.texts() == [(log.ERR, f"{missing} {key} parameter"), SETUP_FAILED]


class TestSwitching:
    def test_grant_is_shared(self, lit, board):
        lamp = lit()
        for watts in (2.5, 0.001, 4.9999, 1000.0, 6.5, 0.0, -5.0, float("nan"), 3.0):
            lamp.call("SetPower", "(d)", watts)
            assert board.take() == (board.lit(watts) if watts > 0 else board.dark())
        assert board.lit(6.5) == ["1500", "1500", "1300", "1300"]

    def test_intensity_of_one_led(self, lit, board, power_daemon, timeline):
        lamp = lit()
        board.forget()
        mark = timeline.now()
        lamp.call("SetIndividualLEDIntensity", "(iis)", 2, 0, "manual")
        assert power_daemon.requests(mark) == [("led0", "normal", 4.0)]
        assert board.take() == board.lit(5.0, [1500, 1500, 0, 1000])


class TestTemperature:
    @pytest.mark.memcheck
    def test_hottest_counts_and_the_grant_is_the_reference(self, ticking, board):
        board.heat(3, 55)
        board.heat(4, 52)
        lamp = ticking()
        board.wait_for(board.lit(5.0, reduction=2500.0))
        lamp.call("SetPower", "(d)", 3.0)
        board.forget()
        board.wait_for(board.lit(3.0, reduction=1500.0))

    def test_dark_light_stays_dark(self, ticking, board, syslog):
        lamp = ticking()
        board.wait_for(board.lit(5.0))
        lamp.switch(False)
        board.forget()
        board.break_sensor(3)
        mark = syslog.wait_for((log.WARNING, "Could not read temperature")).number
        syslog.wait_for((log.WARNING, "Could not read temperature"), after=mark + 1)
        assert board.take() == [""] * FisheyeBoard.LEDS


class TestFailures:
    FAILURE = (log.ERR, "activate_light: write failure to led 1")

    def test_led_that_is_not_written_keeps_nobody_from_the_rest(self, lit, board, syslog):
        lamp = lit()
        board.fill_up(led_file(1))
        lamp.call("SetPower", "(d)", 2.5)
        board.mend(led_file(1))
        expected = board.lit(2.5)
        assert board.take() == [expected[0], "", *expected[2:]]
        assert syslog.texts() == [self.FAILURE]

    def test_led_that_cannot_be_opened(self, light, board, syslog):
        lamp = light()
        board.sandbox.path(led_file(2)).chmod(0o444)
        board.forget()
        lamp.switch(True)
        assert not lamp.is_on()
        assert board.take() == ["0", "0", "", "0"]
        assert syslog.texts() == [
            (log.ERR, f"activate_light: failed to open {led_file(2)}: Permission denied"),
            NOT_ACTIVATED,
        ]
