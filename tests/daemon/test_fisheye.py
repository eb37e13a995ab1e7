"""The light of a fisheye camera: the example configuration, its LEDs' files, power and temperature."""

from __future__ import annotations

import pytest

from beamd_testing import layout
from beamd_testing import syslog as log
from beamd_testing.boot_parameters import install_boot_parameters
from beamd_testing.bus_client import BusError
from beamd_testing.led_board import FRESH, LedBoard
from beamd_testing.services import Light

LEDS = 4
SENSORS = {"IlluminationBoard": 3, "IlluminationDriver": 4}
SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
TERMINATING = (log.INFO, "Terminating")
DARK = ["0"] * LEDS


def led_file(led: int) -> str:
    return f"/sys/class/leds/fisheye{led}/power"


class Board(LedBoard):
    def __init__(self, sandbox) -> None:
        super().__init__(sandbox, "LEDFISHEYEI2C", map(led_file, range(LEDS)))
        for path in self.written:
            self.write(path, "0\n")
        for sensor in SENSORS.values():
            self.heat(sensor, 20)
        # No tick comes in between unless that is what is tested.
        self.configure("dimming.conf", sample_time=3600)

    def levels(self, watts: float, requested: list[int] | None = None, reduction: float = 0.0) -> list[str]:
        """What the LEDs have to be given of a grant."""
        requested = requested or self.requested()
        highest = int(self.setting("led0.conf", "intensityHIGH"))
        left = watts * 1000.0 - reduction
        return [str(min(max(int(left * (each / sum(requested))), 0), highest)) for each in requested]


@pytest.fixture
def board(sandbox, temperature_service) -> Board:
    temperature_service.set_sensors(SENSORS)
    temperature_service.start()
    return Board(sandbox)


@pytest.fixture
def light(daemon, bus, board, power_daemon):
    """The light, served: dark, and without a grant."""

    def light(*options: str) -> Light:
        power_daemon.start()
        daemon(argv=["--no-daemon", *options])
        board.forget()
        return Light(bus.client)

    return light


@pytest.fixture
def lit(light, board):
    """The light when it is on, with all the power that it asks for."""

    def lit(*options: str) -> Light:
        lamp = light(*options)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", 5.0)
        board.forget()
        return lamp

    return lit


class TestStart:
    def test_files_are_given_to_the_user(self, daemon, board, syslog):
        daemon()
        owner = FRESH[0]
        for path in board.written:
            assert board.access(path) == (owner, layout.USERS["light"][1], 0o664)
        assert syslog.texts() == [(log.INFO, "Can not register at wattd: wattd is down")]

    def test_light_is_dark(self, daemon, board, power_daemon, syslog):
        power_daemon.start()
        board.forget()
        for path in board.written:
            board.sandbox.path(path).write_text("7")
        daemon()
        assert board.take() == DARK
        assert power_daemon.requests() == []
        assert syslog.texts() == []

    def test_files_for_the_hardware(self, daemon, board, power_daemon, syslog):
        install_boot_parameters(board.sandbox, HWID="X1")
        board.sandbox.write("/etc/beamd/illumination.conf.X1", "[info]\nleds=2\n")
        power_daemon.start()
        daemon(argv=["--no-daemon", "--debug"])
        lines = [text for _, text in syslog.texts()]
        assert "Using illumination config file /etc/beamd/illumination.conf.X1" in lines
        assert "Using dimming config file /etc/beamd/dimming.conf" in lines
        assert [board.access(path) == FRESH for path in board.written] == [False, False, True, True]

    def test_without_board(self, daemon, bus, board, power_daemon, syslog):
        board.sandbox.path(led_file(0)).unlink()
        power_daemon.start()
        daemon()
        assert syslog.texts() == [(log.INFO, "Could not find MCU hardware")]
        lamp = Light(bus.client)
        assert not lamp.get("CardDetected")
        with pytest.raises(BusError) as refusal:
            lamp.switch(True)
        assert (refusal.value.code, refusal.value.message) == (6, "No IR light PCB found")
        assert board.access(led_file(1)) == FRESH

    def test_without_the_last_led(self, daemon, bus, board, power_daemon, syslog):
        path = led_file(LEDS - 1)
        board.sandbox.path(path).unlink()
        power_daemon.start()
        daemon()
        assert syslog.texts() == [
            (log.ERR, f"Failed to chown {path} to gid {layout.USERS['light'][1]}"),
            (log.ERR, f"activate_light: failed to open {path}: No such file or directory"),
            (log.ERR, "Unable to deactivate light"),
        ]
        assert not Light(bus.client).get("CardDetected")

    def test_five_sensors_are_the_end(self, launch, board, syslog):
        text = board.sandbox.read("/etc/beamd/dimming.conf")
        more = "".join(f"temp_sensor_id{number}=IlluminationBoard\n" for number in (3, 4, 5))
        board.sandbox.write("/etc/beamd/dimming.conf", text + more)
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
    def test_on_and_off(self, light, board, power_daemon, syslog):
        lamp = light()
        lamp.switch(True)
        assert lamp.is_on()
        assert power_daemon.requests() == [("led0", "normal", sum(board.requested()) / 1000)]
        assert board.take() == DARK
        lamp.call("SetPower", "(d)", 5.0)
        assert board.take() == board.levels(5.0) == ["1500", "1500", "1000", "1000"]
        lamp.switch(False)
        assert board.take() == DARK
        assert power_daemon.requests()[1:] == [("led0", "off", 0.0)]
        lamp.switch(True)
        assert board.take() == board.levels(5.0)
        assert syslog.texts() == []

    def test_grant_is_shared(self, lit, board):
        lamp = lit()
        for watts in (2.5, 0.001, 4.9999, 1000.0, 6.5, 0.0, -5.0, float("nan"), 3.0):
            lamp.call("SetPower", "(d)", watts)
            assert board.take() == (board.levels(watts) if watts > 0 else DARK)
        assert board.levels(6.5) == ["1500", "1500", "1300", "1300"]

    def test_intensity(self, lit, board, power_daemon, timeline):
        lamp = lit()
        lamp.call("SetPower", "(d)", 2.5)
        board.forget()
        for intensity in (1200, 1, 900, 1500):
            mark = timeline.now()
            lamp.call("SetIntensity", "(i)", intensity)
            requested = board.requested(intensity)
            assert power_daemon.requests(mark) == [("led0", "normal", sum(requested) / 1000)]
            assert board.take() == board.levels(2.5, requested)
        mark = timeline.now()
        lamp.call("SetIntensity", "(i)", 0)
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]
        assert board.take() == DARK

    def test_intensity_of_one_led(self, lit, board, power_daemon, timeline):
        lamp = lit()
        board.forget()
        mark = timeline.now()
        lamp.call("SetIndividualLEDIntensity", "(iis)", 2, 0, "manual")
        assert power_daemon.requests(mark) == [("led0", "normal", 4.0)]
        assert board.take() == board.levels(5.0, [1500, 1500, 0, 1000])

    def test_angle_means_nothing(self, lit, board, syslog):
        text = board.sandbox.read("/etc/beamd/led0.conf")
        zoom = "[zoom]\nangleofillumination=30\nangleofilluminationLOW=0\nangleofilluminationHIGH=90\n"
        board.sandbox.write("/etc/beamd/led0.conf", text + zoom)
        lamp = lit()
        lamp.call("ChangeAngleOfIllumination", "(i)", 60)
        assert board.take() == [""] * LEDS
        assert board.setting("led0.conf", "angleofillumination", "zoom") == "30"
        assert lamp.is_on()
        assert syslog.texts() == []

    def test_end_of_the_daemon_darkens_the_leds(self, launch, bus, board, power_daemon, syslog):
        power_daemon.start()
        running = launch().wait_until_ready()
        lamp = Light(bus.client)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", 5.0)
        board.forget()
        running.stop()
        assert board.take() == DARK
        assert syslog.texts() == [TERMINATING]


class TestTemperature:
    @pytest.fixture
    def ticking(self, lit, board):
        """The lit light with a tick each second, of a regulator without memory."""

        def ticking() -> Light:
            board.configure("dimming.conf", sample_time=1, k_i=0)
            return lit()

        return ticking

    def test_hot_and_cool_again(self, ticking, board):
        board.heat(4, 50)
        ticking()
        board.wait_for(board.levels(5.0))
        board.heat(4, 200)
        board.wait_for(DARK)
        board.heat(4, -100)
        board.wait_for(board.levels(5.0))

    def test_hottest_counts_and_the_grant_is_the_reference(self, ticking, board):
        board.heat(3, 55)
        board.heat(4, 52)
        lamp = ticking()
        board.wait_for(board.levels(5.0, reduction=2500.0))
        lamp.call("SetPower", "(d)", 3.0)
        board.forget()
        board.wait_for(board.levels(3.0, reduction=1500.0))

    def test_sensors_that_cannot_be_read(self, ticking, board, syslog):
        for sensor in SENSORS.values():
            board.sandbox.path(f"/sys/class/thermal/thermal_zone{sensor}/temp").unlink()
        ticking()
        unread = (log.WARNING, "Could not read temperature")
        lost = [
            (log.WARNING, f"update_temperature: unable to read temperature from sensor {sensor}")
            for sensor in SENSORS.values()
        ]
        syslog.wait_for(lost[1])
        assert syslog.texts()[:4] == [unread, lost[0], unread, lost[1]]
        board.heat(3, 55)
        board.wait_for(board.levels(5.0, reduction=2500.0))

    def test_dark_light_stays_dark(self, ticking, board, syslog):
        lamp = ticking()
        board.wait_for(board.levels(5.0))
        lamp.switch(False)
        board.forget()
        board.sandbox.path("/sys/class/thermal/thermal_zone3/temp").unlink()
        mark = syslog.wait_for((log.WARNING, "Could not read temperature")).number
        syslog.wait_for((log.WARNING, "Could not read temperature"), after=mark + 1)
        assert board.take() == [""] * LEDS


class TestFailures:
    FAILURE = (log.ERR, "activate_light: write failure to led 1")

    def test_led_that_is_not_written_keeps_nobody_from_the_rest(self, lit, board, syslog):
        lamp = lit()
        board.fill_up(led_file(1))
        lamp.call("SetPower", "(d)", 2.5)
        board.mend(led_file(1))
        expected = board.levels(2.5)
        assert board.take() == [expected[0], "", *expected[2:]]
        assert syslog.texts() == [self.FAILURE]

    def test_light_that_cannot_be_switched_off_stays_on(self, lit, board, power_daemon, syslog):
        lamp = lit()
        board.fill_up(led_file(1))
        lamp.switch(False)
        assert lamp.is_on()
        board.mend(led_file(1))
        assert board.take() == ["0", "", "0", "0"]
        assert syslog.texts() == [self.FAILURE, (log.ERR, "Unable to deactivate light")]
        assert power_daemon.requests()[1:] == []
        lamp.switch(False)
        assert not lamp.is_on()
        assert power_daemon.requests()[1:] == [("led0", "off", 0.0)]

    def test_led_that_cannot_be_opened(self, light, board, syslog):
        lamp = light()
        board.sandbox.path(led_file(2)).chmod(0o444)
        board.forget()
        lamp.switch(True)
        assert not lamp.is_on()
        assert board.take() == ["0", "0", "", "0"]
        assert syslog.texts() == [
            (log.ERR, f"activate_light: failed to open {led_file(2)}: Permission denied"),
            (log.ERR, "Unable to activate light"),
        ]
