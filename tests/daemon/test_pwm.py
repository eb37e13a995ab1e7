"""The PWM light on a camera: the example configuration, its files in sysfs, power and temperature."""

from __future__ import annotations

import re

import pytest

from beamd_testing import layout
from beamd_testing import syslog as log
from beamd_testing.configuration import light_state
from beamd_testing.daemon import Daemon
from beamd_testing.installation import state_path
from beamd_testing.led_board import FRESH, LedBoard
from beamd_testing.services import Light

CHIP = "/sys/class/pwm/pwmchip0"
EXPORT = f"{CHIP}/export"
ENABLE, PERIOD, DUTY_CYCLE = CHANNEL = [f"{CHIP}/pwm1/{name}" for name in ("enable", "period", "duty_cycle")]
GPIO_FILES = ("active_low", "direction", "edge", "uevent", "value")
SENSOR = 4
SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")

# What is in pwm1/enable: of a restart, the "0" is covered by the "1" that is written after it.
RESTARTED, ENABLED, DISABLED = "11", "1", "0"

# Lines of the debug log.
REDUCTION = re.compile("power_reduce = ")
WRITING = re.compile("manual intensity |brightness ")


def gpio_file(line: int, name: str) -> str:
    return f"/sys/class/gpio/ir_led_0_{line}/{name}"


class Board(LedBoard):
    """Written are the channel, then the lines."""

    def __init__(self, sandbox) -> None:
        super().__init__(sandbox, "LED1PWM", CHANNEL)
        for path in (EXPORT, *CHANNEL):
            self.write(path)
        self.heat(SENSOR, 20)
        # No tick comes in between unless that is what is tested.
        self.configure("dimming.conf", sample_time=3600)

    def add_lines(self, *active_low: int) -> None:
        for line, inverted in enumerate(active_low):
            for name in GPIO_FILES:
                self.write(gpio_file(line, name), f"{inverted}\n" if name == "active_low" else "")
            self.written.append(gpio_file(line, "value"))

    def channel(self, enabled: str, milliwatts: int) -> list[str]:
        """What is written to the channel of a light that gives that much."""
        period, high, low = (
            int(self.setting("pwm.conf", key, "pwm")) for key in ("ld_period", "duty_high", "duty_low")
        )
        percent = milliwatts * 100 // int(self.setting("led0.conf", "intensityHIGH"))
        return [enabled, str(period), str(low + high - high * percent // 100)]


@pytest.fixture
def board(sandbox, temperature_service) -> Board:
    temperature_service.set_sensors({"IlluminationBoard": SENSOR})
    temperature_service.start()
    return Board(sandbox)


@pytest.fixture
def daemons() -> list[Daemon]:
    """What the light is served by."""
    return []


@pytest.fixture
def light(launch, bus, power_daemon, board, daemons):
    """The light of the example, served, without a grant yet."""

    def light(*options: str) -> Light:
        power_daemon.start()
        daemons.append(launch(argv=["--no-daemon", *options]).wait_until_ready())
        return Light(bus.client)

    return light


class TestStart:
    @pytest.mark.parametrize("lines", [0, 2])
    def test_files_are_given_to_the_user(self, light, board, syslog, lines):
        board.add_lines(*[0] * lines)
        light()
        for path in (EXPORT, *CHANNEL):
            assert board.access(path) == (FRESH[0], layout.USERS["light"][1], 0o664)
        for line in range(lines):
            for name in GPIO_FILES:
                assert board.access(gpio_file(line, name)) == (0, layout.GROUPS["gpio"][0], 0o664)
        assert board.sandbox.read(EXPORT) == "1"
        assert syslog.texts() == []

    def test_light_is_dark(self, light, board):
        board.add_lines(0, 1)
        light()
        assert board.take() == [*board.channel(DISABLED, 0), "0", "1"]

    def test_missing_times_are_the_end(self, launch, board, syslog):
        board.sandbox.path("/etc/beamd/pwm.conf").unlink()
        launch().wait_for_exit(1)
        assert syslog.texts() == [
            (log.INFO, "could not open /etc/beamd/pwm.conf: No such file or directory"),
            SETUP_FAILED,
        ]
        assert board.take() == ["", "", ""]

    def test_line_that_cannot_be_given_is_the_end(self, launch, board, syslog):
        board.add_lines(0)
        board.sandbox.path(gpio_file(0, "edge")).unlink()
        launch().wait_for_exit(1)
        assert syslog.texts() == [
            (log.ERR, "Failed to set group for device edge, No such file or directory."),
            (log.ERR, "Could not set edge file permission, No such file or directory."),
            SETUP_FAILED,
        ]


class TestSwitching:
    @pytest.mark.parametrize("lines", [0, 2])
    def test_on_and_off(self, light, board, power_daemon, syslog, lines):
        board.add_lines(*[0, 1][:lines])
        lamp = light()
        lamp.call("SetPower", "(d)", 2.0)
        board.forget()
        lamp.switch(True)
        assert power_daemon.requests() == [("led0", "normal", 2.0)]
        assert board.take() == [*board.channel(RESTARTED, 2000), *["1", "0"][:lines]]

        lamp.switch(False)
        assert power_daemon.requests()[1:] == [("led0", "off", 0.0)]
        assert board.take() == [*board.channel(DISABLED, 0), *["0", "1"][:lines]]

        lamp.switch(True)
        assert board.take() == [*board.channel(ENABLED, 2000), *["1", "0"][:lines]]
        assert syslog.texts() == []

    def test_lit_light_is_switched_off_in_the_end(self, light, board, daemons):
        board.add_lines(0)
        lamp = light()
        lamp.call("SetPower", "(d)", 2.0)
        lamp.switch(True)
        board.forget()
        daemons[0].stop()
        assert board.take() == [*board.channel(DISABLED, 0), "0"]

    def test_intensity(self, light, board, power_daemon):
        lamp = light()
        lamp.call("SetPower", "(d)", 4.0)
        lamp.switch(True)
        for milliwatts in (4000, 39, 40, 3999, 0):
            board.forget()
            lamp.call("SetIntensity", "(i)", milliwatts)
            assert board.take() == board.channel(RESTARTED, milliwatts)
        assert [watts for _, _, watts in power_daemon.requests()] == [2.0, 4.0, 0.039, 0.04, 3.999, 0.0]

    def test_grant_is_all_that_it_gives(self, light, board):
        lamp = light()
        board.forget()
        lamp.switch(True)
        assert board.take() == board.channel(ENABLED, 0)
        for watts, milliwatts in [(2.0, 2000), (1.0, 1000), (0.5, 500), (1.5, 1500), (4.0, 2000), (0.0, 0)]:
            lamp.call("SetPower", "(d)", watts)
            assert board.take() == board.channel(RESTARTED, milliwatts)
        lamp.call("SetPower", "(d)", -1.0)
        assert board.take() == board.channel(ENABLED, 0)

    def test_angle_means_nothing(self, light, board):
        board.sandbox.write(state_path(0), light_state())
        lamp = light()
        lamp.switch(True)
        board.forget()
        lamp.call("ChangeAngleOfIllumination", "(i)", 60)
        assert lamp.is_on()
        assert board.take() == ["", "", ""]


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
        assert board.take() == board.channel(RESTARTED, 2000)[:2]
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

        assert switch_without_it(True) == [gone, (log.ERR, "Unable to activate light")]
        assert not granted.is_on()
        assert board.take() == ["", "", ""]
        granted.switch(True)
        assert granted.is_on()

        assert switch_without_it(False) == [gone, (log.ERR, "Unable to deactivate light")]
        assert granted.is_on()
        assert board.take() == [DISABLED, "", ""]
        granted.switch(False)
        assert not granted.is_on()
        assert board.take() == board.channel(DISABLED, 0)

    def test_enable_must_be_readable_as_well(self, granted, board, syslog):
        board.sandbox.path(ENABLE).chmod(0o220)
        granted.switch(True)
        assert not granted.is_on()
        purposes = ("reenable", "enable", "disable")
        refusals = [f"Failed to open pwm1 {purpose} fd for led 0 ({ENABLE}),(13)" for purpose in purposes]
        assert syslog.texts() == [
            *((log.WARNING, text) for text in refusals),
            (log.ERR, "Unable to activate light"),
        ]

    def test_line_that_cannot_be_written(self, light, board, syslog):
        board.add_lines(0, 0)
        lamp = light()
        board.sandbox.path(gpio_file(1, "value")).chmod(0o444)
        board.forget()
        lamp.switch(True)
        assert not lamp.is_on()
        assert board.take() == [*board.channel(DISABLED, 0), "1", ""]
        assert syslog.texts() == [
            (log.WARNING, f"Failed to open value fd for led 0 ({gpio_file(1, 'value')})"),
            (log.ERR, "Unable to activate light"),
        ]


class Regulator:
    """What the example's dimming.conf makes of a temperature that stays."""

    def __init__(self, board: Board) -> None:
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
    @pytest.fixture
    def lit(self, light, board):
        """The light at the example's 2000 mW, with a tick each second."""

        def lit(*options: str) -> Light:
            board.configure("dimming.conf", sample_time=1)
            lamp = light(*options)
            lamp.call("SetPower", "(d)", 2.0)
            lamp.switch(True)
            return lamp

        return lit

    def test_hot_and_cool_again(self, lit, board):
        lit()
        board.wait_for(board.channel(ENABLED, 2000))
        board.heat(SENSOR, 200)
        board.wait_for(board.channel(ENABLED, 0))
        board.heat(SENSOR, -100)
        board.wait_for(board.channel(ENABLED, 2000))

    def test_each_step(self, lit, board, daemons, syslog):
        # None of the steps that a test lives to see gives whole milliwatts, where rounding would decide.
        celsius = 54.877
        board.heat(SENSOR, celsius)
        lit("--debug")

        def next_tick() -> int:
            now = syslog.timeline.now()
            return syslog.wait_for(lambda line: REDUCTION.match(line.text), after=now).number

        def texts(pattern: re.Pattern, after: int = 0) -> list[str]:
            return [text for _, text in syslog.texts(after=after) if pattern.match(text)]

        mark = next_tick()
        for _ in range(3):
            next_tick()
        daemons[0].stop()

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
        assert board.take() == board.channel(RESTARTED, 2000)
        assert syslog.texts() == [(log.INFO, "Unavailable Temperature sensor name 'IlluminationBoard'")]
