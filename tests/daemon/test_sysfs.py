"""What only the light of attribute files does, as the example configures it; its zoom is tested apart."""

from __future__ import annotations

import pytest
from beamd_testing import syslog as log
from beamd_testing.led_board import LIGHTS
from beamd_testing.log_lines import NOT_ACTIVATED, SETUP_FAILED
from beamd_testing.sysfs_board import SysfsBoard, angle_of, led_file

BOARD = SysfsBoard
NO_DIMMING = (log.INFO, "/etc/beamd/dimming.conf could not be found. Dimming of leds is disabled")


class TestStart:
    def test_table_is_told_in_debug_mode(self, light, syslog):
        light("--debug")
        assert (log.INFO, "Angle: 0, intensity[1]:100 led[1] intensity:400") in syslog.texts()

    def test_no_dimming_file(self, lit, board, devices, syslog):
        board.sandbox.path("/etc/beamd/dimming.conf").unlink()
        lit()
        assert syslog.texts() == [NO_DIMMING]
        devices.set_field_of_view(30.0)
        assert board.wait_for_writes() == board.levels(30)

    def test_no_table(self, light, board, devices, syslog):
        board.sandbox.path("/etc/beamd/illumination.conf").unlink()
        lamp = light()
        reason = "Could not open /etc/beamd/illumination.conf: No such file or directory"
        assert syslog.texts() == [(log.ERR, reason)]
        assert not lamp.get("CardDetected")
        assert devices.reports() == []

    def test_missing_led_is_the_end(self, launch, board, devices, syslog):
        board.sandbox.path(led_file(1)).unlink()
        launch(devices=devices).wait_for_exit(1)
        complaint = f"Failed to chown {led_file(1)} to gid {LIGHTS[1]}"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]
        assert devices.reports() == []

    def test_wrong_number_of_levels_is_the_end(self, launch, board, devices, syslog):
        text = board.sandbox.read("/etc/beamd/illumination.conf")
        board.sandbox.write("/etc/beamd/illumination.conf", text.replace("100=0;1600;1200;", "100=0;1600;"))
        launch(devices=devices).wait_for_exit(1)
        complaint = "Wrong number of leds found in /etc/beamd/illumination.conf. Found 2 leds, should be 3"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]

    def test_missing_number_of_leds_is_the_end(self, launch, board, devices, syslog):
        board.sandbox.write("/etc/beamd/illumination.conf", "[0]\n0=0;0;0;\n")
        launch(devices=devices).wait_for_exit(1)
        complaint = "Could not get number of leds: Key file does not have group “info”"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]


class TestSwitching:
    def test_intensity(self, lit, board, power_daemon, timeline):
        lamp = lit()
        for intensity in (100, 1, 33, 0, 60):
            mark = timeline.now()
            lamp.call("SetIntensity", "(i)", intensity)
            need = board.need(board.powers(70, intensity))
            mode = "normal" if intensity else "off"
            assert power_daemon.requests(mark) == [("led0", mode, need)]
            assert board.take() == board.levels(70, intensity)

    def test_grant(self, lit, board):
        lamp = lit()
        lamp.call("SetIntensity", "(i)", 100)
        board.forget()
        for watts in (2.0, 1.2345, 2.999, 0.001, 0.0, 3.0, 1000.0):
            lamp.call("SetPower", "(d)", watts)
            assert board.take() == board.levels(70, 100, watts)
        for watts in (-5.0, float("nan")):
            lamp.call("SetPower", "(d)", watts)
            assert board.take() == board.dark()

    def test_angle_asked_for_by_a_client(self, lit, board):
        lamp = lit()
        for angle in (1, 19, 20, 44, 45, 69, 120):
            lamp.call("ChangeAngleOfIllumination", "(i)", angle)
            assert board.take() == board.levels(angle)
            assert angle_of(lamp) == angle


class TestTemperature:
    @pytest.mark.memcheck
    def test_hottest_counts_and_the_grant_is_the_reference(self, ticking, board):
        board.heat(3, 52)
        board.heat(4, 55)
        lamp = ticking()
        board.wait_for(board.levels(70, reduction=600))
        lamp.call("SetPower", "(d)", 0.75)
        board.forget()
        board.wait_for(board.levels(70, watts=0.75, reduction=300))

    def test_sensor_that_cannot_be_read(self, ticking, board, syslog):
        board.break_sensor(3)
        board.heat(4, 55)
        ticking()
        board.wait_for(board.levels(70, reduction=600))
        syslog.wait_for((log.WARNING, "Could not read temperature"))


class TestFailures:
    def test_led_in_the_middle_that_is_not_written_ends_it(self, lit, board, syslog):
        lamp = lit()
        board.fill_up(led_file(1))
        lamp.call("SetPower", "(d)", 0.75)
        board.mend(led_file(1))
        expected = board.levels(70, watts=0.75)
        assert board.take() == [expected[0], "", ""]
        assert syslog.texts() == [(log.ERR, f"Write failure to led 1 - {expected[1]}mW")]
        assert lamp.is_on()
        lamp.call("SetPower", "(d)", board.PLENTY)
        assert board.take() == board.levels(70)

    def test_led_that_cannot_be_opened(self, light, board, syslog):
        lamp = light()
        board.sandbox.path(led_file(2)).chmod(0o444)
        lamp.switch(True)
        assert not lamp.is_on()
        assert board.take() == ["0", "0", ""]
        assert syslog.texts() == [
            (log.ERR, f"Failed to open file {led_file(2)}"),
            NOT_ACTIVATED,
        ]
