"""The light of attribute files that follows the lens: the example configuration, power, temperature and zoom."""

from __future__ import annotations

import array
import errno
import fcntl
import termios
import time
from fractions import Fraction
from typing import BinaryIO

import pytest

from beamd_testing import layout
from beamd_testing import syslog as log
from beamd_testing.boot_parameters import install_boot_parameters
from beamd_testing.bus_client import BusError
from beamd_testing.led_board import FRESH, LedBoard
from beamd_testing.services import Light
from beamd_testing.timeline import TIMEOUT

LEDS = 3
SENSORS = {"IlluminationBoard": 3, "IlluminationDriver": 4}
DATA_CACHE = "/dev/datacache0"
PLENTY = 5.0  # watts
DARK = ["0"] * LEDS
DEBUG = "--debug"

SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
NOT_DEACTIVATED = (log.ERR, "Unable to deactivate light")
NO_DIMMING = (log.INFO, "/etc/beamd/dimming.conf could not be found. Dimming of leds is disabled")
NO_DATA_CACHE = (log.ERR, "Failed to initialize data cache")
UNREAD = (log.INFO, "Failed to read HFOV from datacache")
TERMINATING = (log.INFO, "Terminating")


def led_file(led: int) -> str:
    return f"/sys/class/leds/ir{led}/brightness"


def single(value: Fraction | float) -> Fraction:
    """@p value rounded to single precision, ties to even."""
    value = Fraction(value)
    if not value:
        return value
    exponent = abs(value.numerator).bit_length() - value.denominator.bit_length()
    if abs(value) < Fraction(2) ** exponent:
        exponent -= 1
    unit = Fraction(2) ** (exponent - 23)
    return round(value / unit) * unit


class Board(LedBoard):
    """Knows what the example's table makes of an angle, an intensity, a grant and a reduction."""

    def __init__(self, sandbox) -> None:
        super().__init__(sandbox, "LEDSYSFS", map(led_file, range(LEDS)))
        for path in self.written:
            self.write(path, "7")
        for sensor in SENSORS.values():
            self.heat(sensor, 20)
        # No tick comes in between unless that is what is tested.
        self.configure("dimming.conf", sample_time=3600)
        self.factor = single(float(self.setting("led0.conf", "powerusagefactor")))

    def rows(self) -> list[tuple[int, list[tuple[int, list[int]]]]]:
        """The table: angles with intensities with the milliwatts of each LED."""
        rows: list[tuple[int, list[tuple[int, list[int]]]]] = []
        for line in self.sandbox.read("/etc/beamd/illumination.conf").splitlines():
            if line.startswith("["):
                name = line.strip("[]")
                rows.append((int(name) if name != "info" else -1, []))
            elif line and not line.startswith("#") and rows[-1][0] >= 0:
                intensity, levels = line.split("=")
                rows[-1][1].append((int(intensity), [int(level) for level in levels.split(";") if level]))
        return rows[1:]

    def powers(self, angle: int, intensity: int = 50) -> list[int]:
        """The milliwatts of each LED."""
        rows = self.rows()
        points = next((points for row, points in reversed(rows) if row <= angle), rows[0][1])
        assert len(points) == 2
        (low_intensity, low), (high_intensity, high) = points
        quota = single(single(intensity - low_intensity) / (high_intensity - low_intensity))
        return [int(single((above - below) * quota + below)) for below, above in zip(low, high)]

    def need(self, powers: list[int]) -> float:
        return float(single(sum(powers) * self.factor))

    def levels(self, angle: int, intensity: int = 50, watts: float = PLENTY, reduction: float = 0.0) -> list[str]:
        """What the LEDs have to be given."""
        powers = self.powers(angle, intensity)
        allowed = int(watts / float(self.factor))
        if sum(powers) > allowed:
            powers = [int(each / sum(powers) * allowed) for each in powers]
        if sum(powers) and reduction:
            total = sum(powers)
            powers = [int(float(each - Fraction(each / total) * Fraction(reduction))) for each in powers]
        return [str(max(each, 0)) for each in powers]

    def wait_for_writes(self) -> list[str]:
        """Waits until all LEDs have been written, in their order, and takes what it was."""
        deadline = time.monotonic() + TIMEOUT
        while not self.sandbox.read(self.written[-1]):
            assert time.monotonic() < deadline, "nothing is written"
            time.sleep(0.0005)
        return self.take()

    def unread_news(self) -> int:
        """How much the data cache has told that has not been read."""
        count = array.array("i", [0])
        with self.data_cache() as cache:
            fcntl.ioctl(cache, termios.FIONREAD, count)
        return count[0]

    def wait_until_read(self) -> None:
        """Returns when there is no more news; fails when it does not become less."""
        left = self.unread_news()
        deadline = time.monotonic() + TIMEOUT
        while now := self.unread_news():
            if now < left:
                left, deadline = now, time.monotonic() + TIMEOUT
            assert time.monotonic() < deadline, f"{left} of the data cache's news are not read"
            time.sleep(0.001)

    def data_cache(self) -> BinaryIO:
        return self.sandbox.path(DATA_CACHE).open("r+b", buffering=0)


@pytest.fixture
def board(sandbox, temperature_service) -> Board:
    temperature_service.set_sensors(SENSORS)
    temperature_service.start()
    return Board(sandbox)


@pytest.fixture
def light(launch, bus, board, devices, power_daemon):
    """The light, served: dark, and without a grant."""

    def light(*options: str) -> Light:
        power_daemon.start()
        launch(argv=["--no-daemon", *options], devices=devices).wait_until_ready()
        board.forget()
        return Light(bus.client)

    return light


@pytest.fixture
def lit(light, board):
    """The light when it is on, with more power than it asks for."""

    def lit(*options: str) -> Light:
        lamp = light(*options)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", PLENTY)
        board.forget()
        return lamp

    return lit


def angle_of(lamp: Light) -> int:
    return lamp.call("GetCurrentAngleOfIllumination")


class TestStart:
    def test_files_are_given_to_the_user(self, light, board, syslog):
        light()
        for path in board.written:
            assert board.access(path) == (FRESH[0], layout.USERS["light"][1], 0o664)
        assert syslog.texts() == []

    def test_light_is_dark(self, launch, board, devices, power_daemon):
        power_daemon.start()
        launch(devices=devices).wait_until_ready()
        assert board.take() == DARK
        assert power_daemon.requests() == []

    def test_subscription(self, light, devices, syslog):
        light(DEBUG)
        assert devices.reports() == ["subscribe zoom"]
        assert (log.INFO, "Subscribed to datacache: zoom") in syslog.texts()

    def test_subscription_ends_with_the_daemon(self, launch, bus, board, devices, syslog, power_daemon):
        power_daemon.start()
        running = launch(argv=["--no-daemon", DEBUG], devices=devices).wait_until_ready()
        running.stop()
        devices.wait_for("unsubscribe 1")
        assert devices.reports() == ["subscribe zoom", "unsubscribe 1"]
        assert (log.INFO, "Unsubscribed to datacache: zoom") in syslog.texts()

    def test_files_for_the_hardware(self, light, board, syslog):
        install_boot_parameters(board.sandbox, HWID="X1")
        board.sandbox.write("/etc/beamd/illumination.conf.X1", "[info]\nleds=2\n[0]\n0=0;0;\n100=7;9;\n")
        light(DEBUG)
        lines = [text for _, text in syslog.texts()]
        assert "Using illumination config file /etc/beamd/illumination.conf.X1" in lines
        assert "Using dimming config file /etc/beamd/dimming.conf" in lines
        assert "Angle: 0, intensity[1]:100 led[1] intensity:9" in lines
        assert board.access(led_file(2)) == FRESH

    def test_no_dimming_file(self, lit, board, devices, syslog):
        board.sandbox.path("/etc/beamd/dimming.conf").unlink()
        lit()
        assert syslog.texts() == [NO_DIMMING]
        devices.set_field_of_view(30.0)
        assert board.wait_for_writes() == board.levels(30)

    def test_no_board(self, light, board, devices, syslog):
        board.sandbox.path(led_file(0)).unlink()
        board.written = board.written[1:]
        lamp = light()
        assert syslog.texts() == [(log.INFO, "Could not find MCU hardware")]
        assert not lamp.get("CardDetected")
        with pytest.raises(BusError) as refusal:
            lamp.switch(True)
        assert (refusal.value.code, refusal.value.message) == (6, "No IR light PCB found")
        assert devices.reports() == []
        assert board.access(led_file(1)) == FRESH

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
        complaint = f"Failed to chown {led_file(1)} to gid {layout.USERS['light'][1]}"
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
    def test_on_and_off(self, light, board, power_daemon, syslog):
        lamp = light()
        lamp.switch(True)
        assert lamp.is_on()
        assert power_daemon.requests() == [("led0", "normal", board.need(board.powers(70)))]
        assert board.take() == DARK
        lamp.call("SetPower", "(d)", board.need(board.powers(70)) + 0.001)
        assert board.take() == board.levels(70) == ["1000", "200", "0"]
        lamp.switch(False)
        assert board.take() == DARK
        assert power_daemon.requests()[1:] == [("led0", "off", 0.0)]
        lamp.switch(True)
        assert board.take() == board.levels(70)
        assert syslog.texts() == []

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
            assert board.take() == DARK

    def test_angle_asked_for_by_a_client(self, lit, board):
        lamp = lit()
        for angle in (1, 19, 20, 44, 45, 69, 120):
            lamp.call("ChangeAngleOfIllumination", "(i)", angle)
            assert board.take() == board.levels(angle)
            assert angle_of(lamp) == angle

    def test_end_of_the_daemon_darkens_the_leds(self, launch, bus, board, devices, power_daemon, syslog):
        power_daemon.start()
        running = launch(devices=devices).wait_until_ready()
        lamp = Light(bus.client)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", PLENTY)
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
        board.heat(4, 55)
        ticking()
        full = sum(board.powers(70))
        board.wait_for(board.levels(70, reduction=full / 2))
        board.heat(4, 500)
        board.wait_for(DARK)
        board.heat(4, -500)
        board.wait_for(board.levels(70))

    def test_hottest_counts_and_the_grant_is_the_reference(self, ticking, board):
        board.heat(3, 52)
        board.heat(4, 55)
        lamp = ticking()
        board.wait_for(board.levels(70, reduction=600))
        lamp.call("SetPower", "(d)", 0.75)
        board.forget()
        board.wait_for(board.levels(70, watts=0.75, reduction=300))

    def test_sensor_that_cannot_be_read(self, ticking, board, syslog):
        board.sandbox.path("/sys/class/thermal/thermal_zone3/temp").unlink()
        board.heat(4, 55)
        ticking()
        board.wait_for(board.levels(70, reduction=600))
        syslog.wait_for((log.WARNING, "Could not read temperature"))


class TestZoom:
    def test_follows_the_lens(self, lit, board, devices):
        lamp = lit()
        for degrees in (47.9, 44.999, 20.0, 19.99, 3.5, 80.0):
            devices.set_field_of_view(degrees)
            assert board.wait_for_writes() == board.levels(int(degrees))
            assert angle_of(lamp) == int(degrees)

    def test_asks_for_nothing(self, lit, board, devices, power_daemon, timeline):
        lit()
        mark = timeline.now()
        devices.set_field_of_view(30.0)
        board.wait_for_writes()
        assert power_daemon.requests(mark) == []

    def test_waits_while_it_is_off(self, light, board, devices, power_daemon):
        lamp = light()
        devices.set_field_of_view(30.7)
        board.wait_until_read()
        assert angle_of(lamp) == 30
        assert board.take() == [""] * LEDS
        lamp.switch(True)
        assert power_daemon.requests() == [("led0", "normal", board.need(board.powers(30)))]

    def test_keeps_its_shape_when_it_is_not_automatic(self, lit, board, devices):
        lamp = lit()
        lamp.set("AutomaticAngleOfIllumination", False)
        assert board.take() == board.levels(45)
        devices.set_field_of_view(10.0)
        assert board.wait_for_writes() == board.levels(45)
        assert angle_of(lamp) == 10
        lamp.call("SetIntensity", "(i)", 80)
        assert board.take() == board.levels(10, 80)

    def test_reads_nothing_when_it_cannot_follow(self, lit, board, devices):
        text = board.sandbox.read("/etc/beamd/led0.conf")
        board.sandbox.write("/etc/beamd/led0.conf", text.replace("automaticangleofillumination=true\n", ""))
        lamp = lit()
        assert not lamp.get("AutomaticAngleOfIlluminationSupp")
        devices.set_field_of_view(10.0)
        assert board.wait_for_writes() == board.levels(70)
        assert board.unread_news() == 1
        assert angle_of(lamp) == 70

    def test_sweep(self, lit, board, devices, syslog):
        lamp = lit()
        lamp.call("SetPower", "(d)", 1000.0)
        intensity = 50
        board.forget()
        for step in range(1000):
            if step % 50 == 0:
                intensity = 1 + step * 7 // 71
                lamp.call("SetIntensity", "(i)", intensity)
                board.forget()
            degrees = 0.3 + step * 0.097
            devices.set_field_of_view(degrees)
            angle = int(single(degrees))
            assert board.wait_for_writes() == board.levels(angle, intensity, 1000.0), f"{degrees}, {intensity}"
        assert angle_of(lamp) == 97
        assert syslog.texts() == []

    def test_sweep_through_rows_with_more_points(self, lit, board, devices):
        """Between the second and the third intensity, and beyond them in both directions."""
        rows = ""
        for angle in (10, 40, 70):
            rows += f"[{angle}]\n0=0;0;0;\n40={angle * 3};100;1000;\n60={angle * 7};1000;1;\n90=1999;{angle};7;\n"
        board.sandbox.write("/etc/beamd/illumination.conf", f"[info]\nleds=3\n{rows}")
        lamp = lit()
        lamp.call("SetPower", "(d)", 1000.0)
        for intensity in (41, 59, 60, 61, 77, 90, 91, 100):
            lamp.call("SetIntensity", "(i)", intensity)
            for degrees in (5.0, 39.99, 40.0, 75.5):
                board.forget()
                devices.set_field_of_view(degrees)
                row = 70 if degrees >= 70 else 40 if degrees >= 40 else 10
                assert board.wait_for_writes() == self.extrapolated(row, intensity), f"{degrees}, {intensity}"

    @staticmethod
    def extrapolated(angle: int, intensity: int) -> list[str]:
        points = [
            (0, [0, 0, 0]),
            (40, [angle * 3, 100, 1000]),
            (60, [angle * 7, 1000, 1]),
            (90, [1999, angle, 7]),
        ]
        high = 2 if intensity <= 60 else 3 if intensity <= 90 else 1
        (low_intensity, low), (high_intensity, top) = points[high - 1 : high + 1]
        quota = single(Fraction(intensity - low_intensity, high_intensity - low_intensity))
        return [str(int(single((above - below) * quota + below))) for below, above in zip(low, top)]


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
        lamp.call("SetPower", "(d)", PLENTY)
        assert board.take() == board.levels(70)

    def test_light_that_cannot_be_switched_off_stays_on(self, lit, board, power_daemon, syslog):
        lamp = lit()
        board.fill_up(led_file(1))
        lamp.switch(False)
        assert lamp.is_on()
        board.mend(led_file(1))
        assert board.take() == ["0", "", ""]
        assert syslog.texts() == [(log.ERR, "Write failure to led 1 - 0mW"), NOT_DEACTIVATED]
        assert power_daemon.requests()[1:] == []
        lamp.switch(False)
        assert not lamp.is_on()

    def test_led_that_cannot_be_opened(self, light, board, syslog):
        lamp = light()
        board.sandbox.path(led_file(2)).chmod(0o444)
        lamp.switch(True)
        assert not lamp.is_on()
        assert board.take() == ["0", "0", ""]
        assert syslog.texts() == [
            (log.ERR, f"Failed to open file {led_file(2)}"),
            (log.ERR, "Unable to activate light"),
        ]

    def test_zoom_goes_on_after_it(self, lit, board, devices, syslog):
        lamp = lit()
        board.fill_up(led_file(0))
        devices.set_field_of_view(30.0)
        failure = f"Write failure to led 0 - {board.levels(30)[0]}mW"
        syslog.wait_for((log.ERR, failure))
        board.mend(led_file(0))
        board.forget()
        devices.set_field_of_view(50.0)
        assert board.wait_for_writes() == board.levels(50)
        assert lamp.is_on()


class TestDataCache:
    def test_missing(self, lit, board, devices, syslog):
        board.sandbox.path(DATA_CACHE).unlink()
        lamp = lit()
        complaint = "Couldn't open datacache device: /dev/datacache0, error code -1"
        assert syslog.texts() == [(log.ERR, complaint), NO_DATA_CACHE]
        lamp.call("SetIntensity", "(i)", 80)
        assert board.take() == board.levels(70, 80)
        assert devices.reports() == []

    def test_refuses_the_subscription(self, lit, board, devices, syslog):
        devices.fail("subscribe", errno.EINVAL)
        lamp = lit()
        complaint = "Unable to do ioctl DC_IOC_DATA_CACHE_REGISTER"
        assert syslog.texts() == [(log.ERR, complaint), NO_DATA_CACHE]
        lamp.call("ChangeAngleOfIllumination", "(i)", 30)
        assert board.take() == board.levels(30)
        devices.set_field_of_view(10.0)
        assert angle_of(lamp) == 30

    def test_never_has_news(self, lit, board, syslog):
        lamp = lit()
        lamp.call("SetIntensity", "(i)", 80)
        assert board.take() == board.levels(70, 80)
        assert angle_of(lamp) == 70
        assert syslog.texts() == []

    def test_fails_to_be_read_for_a_while(self, lit, board, devices, syslog):
        lamp = lit()
        devices.fail("read", errno.EIO)
        devices.set_field_of_view(30.0)
        first = syslog.wait_for(UNREAD)
        for intensity in (60, 70, 80):
            lamp.call("SetIntensity", "(i)", intensity)
            assert board.take() == board.levels(70, intensity)
        syslog.wait_for(UNREAD, after=first.number + 1)
        assert angle_of(lamp) == 70
        devices.fail("read", 0)
        assert board.wait_for_writes() == board.levels(30, 80)
        assert angle_of(lamp) == 30
        devices.set_field_of_view(50.0)
        assert board.wait_for_writes() == board.levels(50, 80)
        assert set(syslog.texts()) == {UNREAD}

    def test_refuses_to_be_unsubscribed_from(self, launch, bus, board, devices, power_daemon, syslog):
        power_daemon.start()
        running = launch(devices=devices).wait_until_ready()
        devices.fail("unsubscribe", errno.EIO)
        running.stop()
        complaint = (log.ERR, "Unable to do ioctl DC_IOC_DATA_CACHE_UNSUBSCRIBE")
        syslog.wait_for(complaint)
        assert sorted(syslog.texts()) == sorted([TERMINATING, complaint])

    def test_flood(self, lit, board, devices, syslog):
        lamp = lit()
        devices.set_field_of_view(30.0)
        with board.data_cache() as cache:
            assert cache.write(b"x" * 9_999) == 9_999
        for intensity in range(1, 51):
            lamp.call("SetIntensity", "(i)", intensity)
            assert lamp.call("GetIntensity") == intensity
        board.wait_until_read()
        assert angle_of(lamp) == 30
        assert lamp.is_on()
        board.forget()
        devices.set_field_of_view(50.0)
        assert board.wait_for_writes() == board.levels(50, 50)
        assert syslog.texts() == []
