"""What only the PWM light does, as the example configures it: its channel and its lines."""

from __future__ import annotations

import re

import pytest

from beamd_testing import gpio_lines, syslog as log
from beamd_testing.gpio_lines import gpio_file
from beamd_testing.log_lines import NOT_ACTIVATED, NOT_DEACTIVATED, SETUP_FAILED
from beamd_testing.pwm_board import DISABLED, DUTY_CYCLE, ENABLE, ENABLED, EXPORT, RESTARTED
from beamd_testing.pwm_board import PwmBoard, PwmBoardWithLines
from beamd_testing.services import Light

BOARD = PwmBoard
SENSOR = PwmBoard.SENSORS["IlluminationBoard"]

# Lines of the debug log.
REDUCTION = re.compile("power_reduce = ")
WRITING = re.compile("manual intensity |brightness ")

WITHOUT_AND_WITH_LINES = pytest.mark.parametrize("board_type", [PwmBoard, PwmBoardWithLines])


class TestStart:
    @WITHOUT_AND_WITH_LINES
    def test_channel_is_exported_and_lines_are_given_away(self, light, board, syslog):
        light()
        for line, _ in enumerate(board.lines.active_low):
            for name in gpio_lines.FILES:
                assert board.access(gpio_file(line, name)) == gpio_lines.GIVEN
        assert board.sandbox.read(EXPORT) == "1"
        assert syslog.texts() == []

    def test_missing_times_are_the_end(self, launch, board, syslog):
        board.sandbox.path("/etc/beamd/pwm.conf").unlink()
        launch().wait_for_exit(1)
        assert syslog.texts() == [
            (log.INFO, "could not open /etc/beamd/pwm.conf: No such file or directory"),
            SETUP_FAILED,
        ]
        assert board.take() == ["", "", ""]


class TestSwitching:
    @WITHOUT_AND_WITH_LINES
    @pytest.mark.memcheck
    def test_on_and_off(self, light, board, power_daemon, syslog):
        lamp = light()
        lamp.call("SetPower", "(d)", 2.0)
        board.forget()
        lamp.switch(True)
        assert power_daemon.requests() == [("led0", "normal", 2.0)]
        assert board.take() == board.contents(RESTARTED, 2000)

        lamp.switch(False)
        assert power_daemon.requests()[1:] == [("led0", "off", 0.0)]
        assert board.take() == board.dark()

        lamp.switch(True)
        assert board.take() == board.contents(ENABLED, 2000)
        assert syslog.texts() == []

    def test_intensity(self, light, board, power_daemon):
        lamp = light()
        lamp.call("SetPower", "(d)", 4.0)
        lamp.switch(True)
        for milliwatts in (4000, 39, 40, 3999, 0):
            board.forget()
            lamp.call("SetIntensity", "(i)", milliwatts)
            assert board.take() == board.contents(RESTARTED, milliwatts)
        assert [watts for _, _, watts in power_daemon.requests()] == [2.0, 4.0, 0.039, 0.04, 3.999, 0.0]

    def test_grant_is_all_that_it_gives(self, light, board):
        lamp = light()
        lamp.switch(True)
        assert board.take() == board.contents(ENABLED, 0)
        for watts, milliwatts in [(2.0, 2000), (1.0, 1000), (0.5, 500), (1.5, 1500), (4.0, 2000), (0.0, 0)]:
            lamp.call("SetPower", "(d)", watts)
            assert board.take() == board.contents(RESTARTED, milliwatts)
        lamp.call("SetPower", "(d)", -1.0)
        assert board.take() == board.contents(ENABLED, 0)


class TestFailures:
    @pytest.fixture
    def granted(self, light) -> Light:
        """The light, dark, with all the power that it asks for."""
        lamp = light()
        lamp.call("SetPower", "(d)", 2.0)
        return lamp

    def test_time_that_is_not_taken_does_not_keep_it_dark(self, granted, board, syslog):
        board.forget()
        board.fill_up(DUTY_CYCLE)
        board.written.remove(DUTY_CYCLE)
        granted.switch(True)
        assert granted.is_on()
        assert board.take() == board.contents(RESTARTED, 2000)[:2]
        assert syslog.texts() == [(log.ERR, "Write failure to /pwm1/duty_cycle (28)")]

    def test_channel_that_goes_away_and_comes_back(self, granted, board, syslog):
        duty_cycle = board.sandbox.path(DUTY_CYCLE)
        hidden = duty_cycle.with_name("hidden")
        gone = (log.WARNING, f"Failed to open fd for /pwm1/duty_cycle ({DUTY_CYCLE})(2)")

        def switch_without_it(on: bool) -> list[tuple[int, str]]:
            mark = syslog.timeline.now()
            board.forget()
            duty_cycle.rename(hidden)
            granted.switch(on)
            hidden.rename(duty_cycle)
            return syslog.texts(after=mark)

        assert switch_without_it(True) == [gone, NOT_ACTIVATED]
        assert not granted.is_on()
        assert board.take() == ["", "", ""]
        granted.switch(True)
        assert granted.is_on()

        assert switch_without_it(False) == [gone, NOT_DEACTIVATED]
        assert granted.is_on()
        assert board.take() == [DISABLED, "", ""]
        granted.switch(False)
        assert not granted.is_on()
        assert board.take() == board.dark()

    def test_enable_must_be_readable_as_well(self, granted, board, syslog):
        board.sandbox.path(ENABLE).chmod(0o220)
        granted.switch(True)
        assert not granted.is_on()
        purposes = ("reenable", "enable", "disable")
        refusals = [f"Failed to open pwm1 {purpose} fd for led 0 ({ENABLE}),(13)" for purpose in purposes]
        assert syslog.texts() == [*((log.WARNING, text) for text in refusals), NOT_ACTIVATED]

    @pytest.mark.parametrize("board_type", [PwmBoardWithLines])
    def test_line_that_cannot_be_written(self, light, board, syslog):
        lamp = light()
        board.sandbox.path(gpio_file(1)).chmod(0o444)
        lamp.switch(True)
        assert not lamp.is_on()
        assert board.take() == [*board.dark()[:3], "1", "", ""]
        assert syslog.texts() == [
            (log.WARNING, f"Failed to open value fd for led 0 ({gpio_file(1)})"),
            NOT_ACTIVATED,
        ]


class Regulator:
    """What the example's dimming.conf makes of a temperature that stays."""

    def __init__(self, board: PwmBoard) -> None:
        names = ("sample_time", "ref_temp", "k_p", "k_i", "k_d")
        self.settings = {name: float(board.setting("dimming.conf", name, "regulator")) for name in names}
        assert self.settings["k_d"] == 0
        self.error = self.integral = 0.0

    def tick(self, celsius: float, intensity: float) -> float:
        """The reduction, as long as the light gives neither nothing nor all."""
        self.integral += self.settings["sample_time"] * self.settings["k_i"] * self.error
        self.error = self.settings["ref_temp"] - celsius
        share = self.error * self.settings["k_p"] + self.integral
        assert 0 < share < 1
        return intensity * (1 - share)


class TestTemperature:
    def test_each_step(self, serve, bus, board, syslog):
        # None of the steps that a test lives to see gives whole milliwatts, where rounding would decide.
        celsius = 54.877
        board.heat(SENSOR, celsius)
        board.configure("dimming.conf", sample_time=1)
        running = serve("--debug")
        lamp = Light(bus.client)
        lamp.call("SetPower", "(d)", 2.0)
        lamp.switch(True)

        def next_tick() -> int:
            now = syslog.timeline.now()
            return syslog.wait_for(lambda line: REDUCTION.match(line.text), after=now).number

        def texts(pattern: re.Pattern, after: int = 0) -> list[str]:
            return [text for _, text in syslog.texts(after=after) if pattern.match(text)]

        mark = next_tick()
        for _ in range(3):
            next_tick()
        running.stop()

        regulator = Regulator(board)
        reductions = [regulator.tick(celsius, 2000) for _ in texts(REDUCTION)]
        expected = [f"power_reduce = {reduction:.2f}, temp = {celsius:.2f}" for reduction in reductions]
        assert texts(REDUCTION) == expected

        expected = []
        for reduction in reductions[-len(texts(REDUCTION, mark)) :]:
            milliwatts = int(2000 - reduction)
            expected += [f"manual intensity {milliwatts}", f"brightness {milliwatts * 100 // 4000}"]
        assert texts(WRITING, mark) == [*expected, "brightness 0"]

    def test_unknown_sensor_never_dims(self, light, board, temperature_service, syslog):
        temperature_service.set_sensors({})
        board.heat(SENSOR, 200)
        lamp = light()
        lamp.call("SetPower", "(d)", 2.0)
        board.forget()
        lamp.switch(True)
        assert board.take() == board.contents(RESTARTED, 2000)
        assert syslog.texts() == [(log.INFO, "Unavailable Temperature sensor name 'IlluminationBoard'")]
