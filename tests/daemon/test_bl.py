"""What only the light of backlights and GPIO lines does, as the example configures it."""

from __future__ import annotations

import pytest

from beamd_testing import gpio_lines, syslog as log
from beamd_testing.backlight_board import BacklightBoard, led_file
from beamd_testing.boot_parameters import install_boot_parameters
from beamd_testing.gpio_lines import gpio_file
from beamd_testing.led_board import FRESH, LIGHTS, demand_no_board
from beamd_testing.log_lines import NOT_ACTIVATED, NOT_DEACTIVATED, SETUP_FAILED
from beamd_testing.services import Light

BOARD = BacklightBoard
LEDS = BacklightBoard.LEDS


class TestStart:
    def test_lines_are_given_away(self, light, board):
        light()
        for number in range(LEDS):
            assert board.access(led_file(number, "max_brightness")) == FRESH
            for name in gpio_lines.FILES:
                assert board.access(gpio_file(number, name)) == gpio_lines.GIVEN

    def test_light_control_is_not_enabled(self, serve, bus, board, syslog):
        install_boot_parameters(board.sandbox, LIGHT_CONTROL_ENABLED="no")
        serve()
        assert syslog.texts() == []
        demand_no_board(Light(bus.client))
        assert board.take() == [""] * 2 * LEDS
        assert board.access(led_file(0)) == board.access(gpio_file(0)) == FRESH

    def test_light_control_is_enabled(self, light, board):
        install_boot_parameters(board.sandbox, LIGHT_CONTROL_ENABLED="yes")
        assert light().get("CardDetected")

    def test_light_control_cannot_be_told(self, light, board, syslog):
        board.sandbox.write("/etc/fw_env.config", "/run/no-environment.bin 0x0 0x2000\n")
        lamp = light()
        line = "Could not read bootblock parameter LIGHT_CONTROL_ENABLED: Input/output error"
        assert set(syslog.texts()) == {(log.INFO, line)}
        assert lamp.get("CardDetected")

    @pytest.mark.parametrize("name, to", [("bl_power", ""), ("brightness", "to ")])
    def test_led_that_cannot_be_given_is_the_end(self, launch, board, syslog, name, to):
        path = led_file(1, name)
        board.sandbox.path(path).unlink()
        launch().wait_for_exit(1)
        complaint = f"Failed to set permissions to {path} {to}[gid {LIGHTS[1]}]"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]
        assert board.access(led_file(0)) == LIGHTS
        assert board.access(led_file(2)) == board.access(gpio_file(0)) == FRESH

    def test_missing_regulator_is_the_end(self, launch, board, syslog):
        board.sandbox.path("/etc/beamd/dimming.conf").unlink()
        launch().wait_for_exit(1)
        complaint = "could not open /etc/beamd/dimming.conf: No such file or directory"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]

    def test_five_sensors_are_told_of(self, light, board, syslog):
        board.add_sensors(3)
        light()
        assert syslog.texts() == [(log.WARNING, "Expected at most 4 temperature sensor, but found 5.")]


class TestSwitching:
    def test_grant_is_shared(self, lit, board):
        lamp = lit()
        for watts in (1.5, 0.001, 1.9999, 1000.0, 2.5, 0.0, -2.0, float("nan"), 0.0005, 1.0):
            lamp.call("SetPower", "(d)", watts)
            assert board.take() == (board.lit(watts) if watts >= 0.001 else board.dark())

    def test_line_of_an_led_that_wants_nothing(self, lit, board):
        lamp = lit()
        lamp.call("SetIndividualLEDIntensity", "(iis)", 1, 0, "manual")
        assert board.take() == board.lit(2.0, [1000, 0, 400])
        assert board.lit(2.0, [1000, 0, 400])[LEDS:] == ["1", "1", "1"], "which is off for the second line"

    def test_line_that_is_missing_for_the_last_led(self, lit, board, syslog):
        board.sandbox.path(gpio_file(LEDS - 1)).parent.rename(board.sandbox.path("/sys/class/gpio/other"))
        board.written.pop()
        lamp = lit()
        lamp.call("SetPower", "(d)", 1.0)
        assert board.take() == board.lit(1.0)[:-1]
        assert syslog.texts() == []


class TestTemperature:
    @pytest.mark.memcheck
    def test_hottest_counts_and_the_intensity_is_the_reference(self, ticking, board):
        board.heat(3, 52)
        board.heat(4, 55)
        lamp = ticking()
        board.wait_for(board.lit(2.0, reduction=500.0))
        lamp.call("SetPower", "(d)", 1.0)
        board.forget()
        board.wait_for(board.lit(1.0, reduction=500.0))
        lamp.call("SetIntensity", "(i)", 600)
        board.forget()
        board.wait_for(board.lit(1.0, board.requested(600), reduction=300.0))

    def test_disabled_regulator_leaves_a_hot_board_alone(self, ticking, board):
        board.heat(3, 200)
        ticking(enabled=False)
        board.wait_for(board.lit(2.0))


class TestFailures:
    def test_leds_after_the_one_that_is_not_written_keep_what_they_had(self, lit, board, syslog):
        lamp = lit()
        board.fill_up(led_file(1))
        lamp.call("SetPower", "(d)", 1.0)
        board.mend(led_file(1))
        assert board.take() == [board.lit(1.0)[0], "", "", "1", "", ""]
        assert syslog.texts() == [(log.ERR, "Write failure to led 1 (brightness)")]

    def test_light_that_cannot_be_switched_off_stays_on(self, lit, board, power_daemon, syslog):
        lamp = lit()
        board.fill_up(led_file(1))
        lamp.switch(False)
        assert lamp.is_on()
        board.mend(led_file(1))
        # The lines come first on the way down.
        assert board.take() == ["0", "", "", "0", "1", ""]
        assert syslog.texts() == [(log.ERR, "Write failure to led 1 (brightness)"), NOT_DEACTIVATED]
        assert power_daemon.requests()[1:] == []
        lamp.switch(False)
        assert not lamp.is_on()
        assert board.take() == board.dark()

    def test_line_that_goes_away(self, lit, board, syslog):
        lamp = lit()
        folder = board.sandbox.path(gpio_file(0)).parent
        folder.rename(folder.with_name("gone"))
        lamp.call("SetPower", "(d)", 1.0)
        folder.with_name("gone").rename(folder)
        assert board.take() == [board.lit(1.0)[0], "", "", "", "", ""]
        path = gpio_file(0, "active_low")
        assert syslog.texts() == [(log.WARNING, f"Failed to open active_low fd for led 0 ({path})")]

    def test_led_and_line_that_are_not_the_lights_to_write(self, light, board, syslog):
        lamp = light()
        board.sandbox.path(led_file(0)).chmod(0o444)
        lamp.switch(True)
        board.sandbox.path(gpio_file(0)).chmod(0o444)
        lamp.switch(True)
        assert not lamp.is_on()
        assert syslog.texts() == [
            (log.WARNING, f"Failed to open fd for led 0 ({led_file(0)})"),
            NOT_ACTIVATED,
            (log.WARNING, f"Failed to open value fd for led 0 ({gpio_file(0)})"),
            NOT_ACTIVATED,
        ]
