"""The light of backlights and GPIO lines: the example configuration, its files, power and temperature."""

from __future__ import annotations

import math

import pytest

from beamd_testing import layout
from beamd_testing import syslog as log
from beamd_testing.boot_parameters import install_boot_parameters
from beamd_testing.bus_client import BusError
from beamd_testing.led_board import FRESH, LedBoard
from beamd_testing.services import Light

LEDS = 3
SENSORS = {"IlluminationBoard": 3, "IlluminationDriver": 4}
GPIO_FILES = ("active_low", "direction", "edge", "uevent", "value")
SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
TERMINATING = (log.INFO, "Terminating")

LIGHTS_FILE = (FRESH[0], layout.USERS["light"][1], 0o664)
GPIO_FILE = (0, layout.GROUPS["gpio"][0], 0o664)


def led_file(led: int, name: str = "brightness") -> str:
    return f"/sys/class/backlight/ir{led}/{name}"


def gpio_file(line: int, name: str = "value") -> str:
    return f"/sys/class/gpio/ir_led_0_{line}/{name}"


class Board(LedBoard):
    """Three LEDs with a line each, of which the second one is active low."""

    ACTIVE_LOW = (0, 1, 0)

    def __init__(self, sandbox) -> None:
        super().__init__(sandbox, "LEDBL", [*map(led_file, range(LEDS)), *map(gpio_file, range(LEDS))])
        for number, active_low in enumerate(self.ACTIVE_LOW):
            for name in ("bl_power", "brightness", "max_brightness"):
                self.write(led_file(number, name))
            for name in GPIO_FILES:
                self.write(gpio_file(number, name), f"{active_low}\n" if name == "active_low" else "")
        for sensor in SENSORS.values():
            self.heat(sensor, 20)
        # No tick comes in between unless that is what is tested.
        self.configure("dimming.conf", sample_time=3600)

    def lit(self, watts: float, requested: list[int] | None = None, reduction: float = 0.0) -> list[str]:
        """What is written to the files of a light that is on with a grant."""
        requested = requested or self.requested()
        keys = ("intensityLOW", "intensityHIGH", "max_brightness_level")
        low, high, scale = (int(self.setting("led0.conf", key)) for key in keys)
        left = int(watts * 1000.0) - reduction
        shares = (math.floor(each / sum(requested) * left) for each in requested)
        levels = [low if share < low else min(share, high) for share in shares]
        return self.contents([(level - low) * scale // (high - low) for level in levels])

    def dark(self) -> list[str]:
        return self.contents([0] * LEDS)

    def contents(self, brightness: list[int]) -> list[str]:
        lines = [str(int(each != 0) ^ low) for each, low in zip(brightness, self.ACTIVE_LOW)]
        return [*map(str, brightness), *lines]


@pytest.fixture
def board(sandbox, temperature_service) -> Board:
    temperature_service.set_sensors(SENSORS)
    temperature_service.start()
    return Board(sandbox)


@pytest.fixture
def light(daemon, bus, board, power_daemon):
    """The light, served: dark, and without a grant."""

    def light() -> Light:
        power_daemon.start()
        daemon()
        board.forget()
        return Light(bus.client)

    return light


@pytest.fixture
def lit(light, board):
    """The light when it is on, with all the power that it asks for."""

    def lit() -> Light:
        lamp = light()
        lamp.switch(True)
        lamp.call("SetPower", "(d)", 2.0)
        board.forget()
        return lamp

    return lit


class TestStart:
    def test_files_are_given_away(self, daemon, board, power_daemon, syslog):
        power_daemon.start()
        daemon()
        for number in range(LEDS):
            assert board.access(led_file(number, "bl_power")) == LIGHTS_FILE
            assert board.access(led_file(number, "brightness")) == LIGHTS_FILE
            assert board.access(led_file(number, "max_brightness")) == FRESH
            for name in GPIO_FILES:
                assert board.access(gpio_file(number, name)) == GPIO_FILE
        assert syslog.texts() == []

    def test_light_is_dark(self, daemon, board, power_daemon):
        power_daemon.start()
        daemon()
        assert board.take() == board.dark() == ["0", "0", "0", "0", "1", "0"]
        assert power_daemon.requests() == []

    def test_light_control_is_not_enabled(self, daemon, bus, board, power_daemon, syslog):
        install_boot_parameters(board.sandbox, LIGHT_CONTROL_ENABLED="no")
        power_daemon.start()
        daemon()
        assert syslog.texts() == []
        lamp = Light(bus.client)
        assert not lamp.get("CardDetected")
        with pytest.raises(BusError) as refusal:
            lamp.switch(True)
        assert (refusal.value.code, refusal.value.message) == (6, "No IR light PCB found")
        assert board.take() == [""] * 2 * LEDS
        assert board.access(led_file(0)) == board.access(gpio_file(0)) == FRESH

    def test_light_control_is_enabled(self, light, board):
        install_boot_parameters(board.sandbox, LIGHT_CONTROL_ENABLED="yes")
        assert light().get("CardDetected")

    def test_light_control_cannot_be_told(self, daemon, bus, board, power_daemon, syslog):
        board.sandbox.write("/etc/fw_env.config", "/run/no-environment.bin 0x0 0x2000\n")
        power_daemon.start()
        daemon()
        line = "Could not read bootblock parameter LIGHT_CONTROL_ENABLED: Input/output error"
        assert set(syslog.texts()) == {(log.INFO, line)}
        assert Light(bus.client).get("CardDetected")

    @pytest.mark.parametrize("name, to", [("bl_power", ""), ("brightness", "to ")])
    def test_led_that_cannot_be_given_is_the_end(self, launch, board, syslog, name, to):
        path = led_file(1, name)
        board.sandbox.path(path).unlink()
        launch().wait_for_exit(1)
        complaint = f"Failed to set permissions to {path} {to}[gid {LIGHTS_FILE[1]}]"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]
        assert board.access(led_file(0)) == LIGHTS_FILE
        assert board.access(led_file(2)) == board.access(gpio_file(0)) == FRESH

    def test_line_that_cannot_be_given_is_the_end(self, launch, board, syslog):
        board.sandbox.path(gpio_file(1, "edge")).unlink()
        launch().wait_for_exit(1)
        assert syslog.texts() == [
            (log.ERR, "Failed to set group for device edge, No such file or directory."),
            (log.ERR, "Could not set edge file permission, No such file or directory."),
            SETUP_FAILED,
        ]
        assert board.access(gpio_file(1, "direction")) == GPIO_FILE
        assert board.access(gpio_file(1, "uevent")) == board.access(gpio_file(2, "value")) == FRESH

    def test_missing_regulator_is_the_end(self, launch, board, syslog):
        board.sandbox.path("/etc/beamd/dimming.conf").unlink()
        launch().wait_for_exit(1)
        complaint = "could not open /etc/beamd/dimming.conf: No such file or directory"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]

    def test_five_sensors_are_told_of(self, light, board, syslog):
        text = board.sandbox.read("/etc/beamd/dimming.conf")
        more = "".join(f"temp_sensor_id{number}=IlluminationBoard\n" for number in (3, 4, 5))
        board.sandbox.write("/etc/beamd/dimming.conf", text + more)
        light()
        assert syslog.texts() == [(log.WARNING, "Expected at most 4 temperature sensor, but found 5.")]


class TestSwitching:
    def test_on_and_off(self, light, board, power_daemon, syslog):
        lamp = light()
        lamp.switch(True)
        assert lamp.is_on()
        assert power_daemon.requests() == [("led0", "normal", sum(board.requested()) / 1000)]
        assert board.take() == board.dark()
        lamp.call("SetPower", "(d)", 2.0)
        assert board.take() == board.lit(2.0) == ["1023", "613", "409", "1", "0", "1"]
        lamp.switch(False)
        assert board.take() == board.dark()
        assert power_daemon.requests()[1:] == [("led0", "off", 0.0)]
        lamp.switch(True)
        assert board.take() == board.lit(2.0)
        assert syslog.texts() == []

    def test_grant_is_shared(self, lit, board):
        lamp = lit()
        for watts in (1.5, 0.001, 1.9999, 1000.0, 2.5, 0.0, -2.0, float("nan"), 0.0005, 1.0):
            lamp.call("SetPower", "(d)", watts)
            assert board.take() == (board.lit(watts) if watts >= 0.001 else board.dark())

    def test_intensity(self, lit, board, power_daemon, timeline):
        lamp = lit()
        lamp.call("SetPower", "(d)", 1.2)
        board.forget()
        for intensity in (500, 1, 700, 1000):
            mark = timeline.now()
            lamp.call("SetIntensity", "(i)", intensity)
            requested = board.requested(intensity)
            assert power_daemon.requests(mark) == [("led0", "normal", sum(requested) / 1000)]
            assert board.take() == board.lit(1.2, requested)
        mark = timeline.now()
        lamp.call("SetIntensity", "(i)", 0)
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]
        assert board.take() == board.dark()

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

    def test_angle_means_nothing(self, lit, board, syslog):
        text = board.sandbox.read("/etc/beamd/led0.conf")
        zoom = "[zoom]\nangleofillumination=30\nangleofilluminationLOW=0\nangleofilluminationHIGH=90\n"
        board.sandbox.write("/etc/beamd/led0.conf", text + zoom)
        lamp = lit()
        lamp.call("ChangeAngleOfIllumination", "(i)", 60)
        assert board.take() == [""] * 2 * LEDS
        assert board.setting("led0.conf", "angleofillumination", "zoom") == "30"
        assert lamp.is_on()
        assert syslog.texts() == []

    def test_end_of_the_daemon_darkens_the_leds(self, launch, bus, board, power_daemon, syslog):
        power_daemon.start()
        running = launch().wait_until_ready()
        lamp = Light(bus.client)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", 2.0)
        board.forget()
        running.stop()
        assert board.take() == board.dark()
        assert syslog.texts() == [TERMINATING]


class TestTemperature:
    @pytest.fixture
    def ticking(self, lit, board):
        """The lit light with a tick each second, of a regulator without memory."""

        def ticking(**settings) -> Light:
            board.configure("dimming.conf", sample_time=1, k_i=0, **settings)
            return lit()

        return ticking

    def test_hot_and_cool_again(self, ticking, board):
        board.heat(4, 50)
        ticking()
        board.wait_for(board.lit(2.0))
        board.heat(4, 200)
        # Of the 2 W that are granted only the intensity, 1 W, is taken off.
        board.wait_for(board.lit(2.0, reduction=1000.0))
        board.heat(4, -100)
        board.wait_for(board.lit(2.0))

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

    def test_sensors_that_cannot_be_read(self, ticking, board, syslog):
        for sensor in SENSORS.values():
            board.sandbox.path(f"/sys/class/thermal/thermal_zone{sensor}/temp").unlink()
        ticking()
        unread = (log.WARNING, "Could not read temperature")
        lost = [
            (log.WARNING, f"update_temperature: unable to read temperature from             sensor {sensor}")
            for sensor in SENSORS.values()
        ]
        syslog.wait_for(lost[1])
        assert syslog.texts()[:4] == [unread, lost[0], unread, lost[1]]
        board.heat(3, 55)
        board.wait_for(board.lit(2.0, reduction=500.0))


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
        not_off = (log.ERR, "Unable to deactivate light")
        assert syslog.texts() == [(log.ERR, "Write failure to led 1 (brightness)"), not_off]
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
        not_on = (log.ERR, "Unable to activate light")
        assert syslog.texts() == [
            (log.WARNING, f"Failed to open fd for led 0 ({led_file(0)})"),
            not_on,
            (log.WARNING, f"Failed to open value fd for led 0 ({gpio_file(0)})"),
            not_on,
        ]
