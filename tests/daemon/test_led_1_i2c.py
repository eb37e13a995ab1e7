"""The light on a single-channel board, as the example configures it: what its file of the board holds."""

from __future__ import annotations

import itertools
import re
import struct
from collections.abc import Iterator
from fractions import Fraction

import pytest

from beamd_testing import layout, syslog as log
from beamd_testing.bus import BEAMD
from beamd_testing.bus_client import BusError
from beamd_testing.installation import install_example, state_path
from beamd_testing.mcu_board import DIMMING_CONF, FOLDER, McuBoard, set_keys
from beamd_testing.services import POWER, Controller, Light, announced, events, light_path

CHANNEL = f"{FOLDER}/led0"
SENSOR = "IlluminationBoard"
WATTS_PER_STEP = 0.02
TERMINATING = (log.INFO, "Terminating")
SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
WRITE_FAILURE = (log.ERR, "Write failure to led 0")
NOT_ACTIVATED = (log.ERR, "Unable to activate light")
NOT_DEACTIVATED = (log.ERR, "Unable to deactivate light")
NO_BOARD = "No IR light PCB found"


def single(value: float) -> float:
    """@p value in single precision."""
    return struct.unpack("f", struct.pack("f", value))[0]


def need(intensity: int) -> float:
    """The watts that an intensity needs."""
    return single(intensity * single(WATTS_PER_STEP))


def granted(intensity: int, watts: float) -> int:
    """What is left of an intensity when its watts come down in hundredths to @p watts."""
    factor = 1.0
    while not need(intensity) * factor <= watts and need(intensity) * factor > 0:
        factor -= 0.01
    return max(int(intensity * factor), 0)


def regulated(celsius: float, full: int) -> Iterator[tuple[float, float, int]]:
    """The example's regulator at one temperature: filtered temperature, reduction and value of each tick."""
    k_p, k_i, ref_temp, seconds = 0.1, 0.001, 60.0, 1.0
    filtered, error, integral, output = celsius, 0.0, 0.0, 0.0
    while True:
        # Rounded once, as a fused multiply-add does.
        filtered = float(Fraction(celsius) * Fraction(0.2) + Fraction(0.8 * filtered))
        integral += seconds * k_i * error
        error = ref_temp - filtered
        if output > full:
            integral = max(0.0, 1.0 - k_p * error)
        elif output < 0:
            integral = 0.0
        output = (k_p * error + integral) * full
        reduction = min(max(full - output, 0.0), full)
        yield filtered, reduction, max(int(full - reduction), 0)


@pytest.fixture
def board(sandbox, bus, temperature_service, power_daemon) -> McuBoard:
    """The example, its board, and its peers at work."""
    install_example(sandbox, "LED1I2C")
    temperature_service.set_sensors({SENSOR: 0})
    temperature_service.start()
    power_daemon.start()
    return McuBoard(sandbox)


@pytest.fixture
def light(daemon, bus, board) -> Light:
    """The light at the intensity 100, served and off."""
    daemon()
    light = Light(bus.client)
    light.call("SetIntensity", "(i)", 100)
    board.takes(0)
    return light


@pytest.fixture
def regulated_light(daemon, sandbox, bus, board):
    """The same with a tick each second, debug prints and these changes of dimming.conf; on, with power."""

    def regulated_light(watts: float = 2.5, **settings) -> Light:
        set_keys(sandbox, DIMMING_CONF, sample_time=1, **settings)
        daemon(argv=["--no-daemon", "--debug"])
        light = Light(bus.client)
        light.call("SetIntensity", "(i)", 100)
        light.call("SetPower", "(d)", watts)
        light.switch(True)
        return light

    return regulated_light


def is_tick(line: log.LogLine) -> bool:
    return line.text.startswith("power_reduce = ")


def is_value(line: log.LogLine) -> bool:
    return line.text.startswith("led0 ")


class TestBoard:
    def test_file_is_given_to_the_group_of_user_light(self, light, board, sandbox):
        status = sandbox.path(board.channel).stat()
        assert status.st_gid == layout.USERS["light"][1] != layout.GROUPS["light"][0]
        assert status.st_uid == layout.USERS["nobody"][0]
        assert status.st_mode & 0o7777 == 0o664
        light.switch(True)
        board.takes(0)

    def test_led1i2c_is_one_light_of_one_led(self, light, bus):
        assert Controller(bus.client).lights()[0][:3] == ("led0", "IR", 1)
        assert light.get("CardDetected") and light.get("CorrectPoe")

    def test_no_qxid_node_is_a_board(self, daemon, sandbox, bus, board, syslog):
        sandbox.path(board.mark).unlink()
        daemon()
        light = Light(bus.client)
        assert light.get("CardDetected")
        light.call("SetPower", "(d)", 2.5)
        light.switch(True)
        board.takes(50)
        assert syslog.texts() == []

    def test_qxid_0_is_no_board_while_everything_else_loads(
        self, daemon, sandbox, bus, board, syslog, temperature_service
    ):
        sandbox.write(board.mark, "0\n")
        daemon()
        light = Light(bus.client)
        for call in [("ActivateLight", "(b)", True), ("GetIntensity",), ("SetPower", "(d)", 2.5)]:
            with pytest.raises(BusError) as refusal:
                light.call(*call)
            assert (refusal.value.domain, refusal.value.code) == ("light-control-error-quark", 6)
            assert refusal.value.message == NO_BOARD
        with pytest.raises(BusError, match=NO_BOARD):
            Controller(bus.client).lights()
        assert not Controller(bus.client).is_available()

        assert syslog.texts() == [(log.INFO, "Could not find MCU driver")]
        assert sandbox.path(board.channel).stat().st_gid == layout.USERS["light"][1]
        assert temperature_service.calls("GetTemperatureIdFromName") == [(SENSOR,)]

    @pytest.mark.parametrize(
        "missing, line",
        [
            ("/etc/beamd/illumination.conf", "could not open {}: No such file or directory"),
            (CHANNEL, "Failed to chown {} to gid 811"),
            (DIMMING_CONF, "could not open {}: No such file or directory"),
        ],
        ids=["illumination", "channel", "dimming"],
    )
    def test_missing_file_ends_the_daemon(self, launch, sandbox, board, syslog, missing, line):
        sandbox.path(missing).unlink()
        launch().wait_for_exit(1)
        assert syslog.texts() == [(log.ERR, line.format(missing)), SETUP_FAILED]

    def test_empty_qxid_ends_the_daemon(self, launch, sandbox, board, syslog):
        sandbox.write(board.mark, "")
        launch().wait_for_exit(1)
        assert syslog.texts() == [SETUP_FAILED]

    def test_missing_user_ends_the_daemon(self, launch, sandbox, board, syslog):
        sandbox.write("/etc/passwd", layout.passwd().replace("light:", "dark:"))
        launch().wait_for_exit(1)
        assert syslog.texts() == [(log.ERR, "Beamd failed getting passwd for user light"), SETUP_FAILED]


class TestPower:
    def test_registers_and_asks_for_nothing_while_off(self, light, power_daemon):
        assert power_daemon.registrations() == [("led0", False, BEAMD, light_path(0), POWER)]
        assert power_daemon.requests() == []

    def test_dark_until_granted_then_74_of_100_for_one_and_a_half_watts(self, light, board, power_daemon):
        light.switch(True)
        assert light.is_on()
        board.takes(0)
        assert power_daemon.requests() == [("led0", "normal", need(100))]
        light.call("SetPower", "(d)", 1.5)
        board.takes(74)

    def test_each_grant_is_followed(self, light, board):
        light.switch(True)
        board.takes(0)
        for watts in (2.5, 1.5, 1.0, 1.99, 0.3, 0.0, 2.0, -1.0, float("inf"), float("nan"), 0.02, 1e300):
            light.call("SetPower", "(d)", watts)
            board.takes(granted(100, watts))

    def test_grant_for_a_light_that_is_off_counts_when_it_is_switched_on(self, light, board):
        light.call("SetPower", "(d)", 1.5)
        board.takes()
        light.switch(True)
        board.takes(74)

    def test_each_intensity_is_requested_and_limited(self, light, board, power_daemon, timeline):
        light.switch(True)
        light.call("SetPower", "(d)", 1.2)
        board.takes(0, granted(100, 1.2))
        for intensity in (60, 61, 100, 1, 0, 80):
            mark = timeline.now()
            light.call("SetIntensity", "(i)", intensity)
            board.takes(granted(intensity, 1.2))
            mode = "normal" if intensity else "off"
            assert power_daemon.requests(mark) == [("led0", mode, need(intensity))]

    def test_off_writes_0_and_gives_the_power_back(self, light, board, bus, power_daemon, timeline):
        light.call("SetPower", "(d)", 2.5)
        light.switch(True)
        board.takes(100)
        mark = timeline.now()
        light.switch(False)
        board.takes(0)
        assert not light.is_on()
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]
        assert events(bus, mark) == announced("OFF")

    def test_end_of_the_daemon_darkens_the_board(self, daemon, bus, board):
        running = daemon()
        light = Light(bus.client)
        light.call("SetPower", "(d)", 2.5)
        light.switch(True)
        board.takes(0, 50)
        running.stop()
        board.takes(0)


class TestTemperature:
    def test_hot_board_is_dimmed_to_0_and_gets_all_back_when_it_has_cooled_down(self, regulated_light, board):
        regulated_light()
        board.takes(0, 100)
        board.warm(150.0)
        board.wait_for(0)
        board.warm(20.0)
        board.wait_for(100)

    @pytest.mark.parametrize("watts, full", [(2.5, 100), (1.5, 74)], ids=["all", "limited"])
    def test_each_tick_is_that_of_the_regulator(self, regulated_light, board, syslog, watts, full):
        board.warm(57.0)
        regulated_light(watts)
        after = 0
        for filtered, reduction, value in itertools.islice(regulated(57.0, full), 4):
            tick = syslog.wait_for(is_tick, after=after)
            assert tick.text == f"power_reduce = {reduction:.2f}, temp = {filtered:.2f}"
            after = syslog.wait_for(is_value, after=tick.number).number
            assert syslog.texts(after=after)[0] == (log.INFO, f"led0 {value}")

    def test_half_of_the_light_at_five_degrees_below_the_temperature_to_keep(self, regulated_light, board):
        board.warm(55.0)
        regulated_light(k_i=0)
        board.wait_for(0, 100, 50)

    def test_disabled_regulator_leaves_a_hot_board_alone(self, regulated_light, board, syslog):
        board.warm(150.0)
        regulated_light(enabled="false")
        mark = syslog.wait_for((log.INFO, "No power reduction. Regulator is disabled.")).number
        syslog.wait_for((log.INFO, "led0 100"), after=mark)
        board.takes(0, 100)

    def test_sensor_that_cannot_be_read_leaves_the_light_alone(self, regulated_light, sandbox, board, syslog):
        light = regulated_light()
        board.takes(0, 100)
        sandbox.path("/sys/class/thermal/thermal_zone0/temp").unlink()
        mark = syslog.wait_for((log.WARNING, "Could not read temperature")).number
        syslog.wait_for((log.INFO, "led0 100"), after=mark)
        board.takes()
        assert light.is_on()

    def test_light_that_is_off_is_not_written(self, regulated_light, board, syslog, timeline):
        light = regulated_light()
        light.switch(False)
        board.takes(0, 100, 0)
        off = mark = timeline.now()
        for _ in range(2):
            mark = syslog.wait_for(is_tick, after=mark).number + 1
        board.takes()
        assert not any(map(is_value, syslog.lines(after=off)))

    def test_light_without_a_grant_is_not_regulated(self, daemon, sandbox, bus, board, syslog):
        set_keys(sandbox, DIMMING_CONF, sample_time=1)
        running = daemon(argv=["--no-daemon", "--debug"])
        light = Light(bus.client)
        light.switch(True)
        # The poll that ends the daemon is armed after the tick and as often: there has been one.
        running.stop()
        assert not [text for _, text in syslog.texts() if re.match("Regulator|power_reduce|No power", text)]


class TestFailures:
    def test_light_that_cannot_be_switched_on_stays_off(
        self, light, board, bus, syslog, power_daemon, timeline
    ):
        light.call("SetPower", "(d)", 2.5)
        board.break_channel()
        mark = timeline.now()
        light.switch(True)
        assert not light.is_on()
        assert syslog.texts() == [WRITE_FAILURE, NOT_ACTIVATED]
        assert power_daemon.requests(mark) == [] and events(bus, mark) == []

        board.mend_channel()
        light.switch(True)
        assert light.is_on()
        board.takes(100)

    def test_light_that_cannot_be_switched_off_stays_on(
        self, light, board, bus, syslog, power_daemon, timeline
    ):
        light.call("SetPower", "(d)", 2.5)
        light.switch(True)
        board.break_channel()
        mark = timeline.now()
        light.switch(False)
        assert light.is_on()
        assert syslog.texts() == [WRITE_FAILURE, NOT_DEACTIVATED]
        assert power_daemon.requests(mark) == [] and events(bus, mark) == []

        board.mend_channel()
        light.switch(False)
        assert not light.is_on()
        board.takes(0)

    def test_value_that_is_not_taken_is_kept_for_later(self, light, board, syslog):
        light.call("SetPower", "(d)", 2.5)
        light.switch(True)
        board.break_channel()
        light.call("SetIntensity", "(i)", 60)
        light.call("SetPower", "(d)", 1.5)
        assert light.call("GetIntensity") == 60 and light.is_on()
        assert syslog.texts() == [WRITE_FAILURE, WRITE_FAILURE]

        board.mend_channel()
        light.switch(True)
        board.takes(60)

    def test_board_that_vanishes(self, light, board, sandbox, syslog):
        light.call("SetPower", "(d)", 2.5)
        light.switch(True)
        sandbox.path(board.channel).unlink()
        light.call("SetIntensity", "(i)", 60)
        light.switch(False)
        assert light.is_on()
        no_file = (log.WARNING, "Failed to open fd for led 0")
        assert syslog.texts() == [no_file, no_file, NOT_DEACTIVATED]
        assert not sandbox.path(board.channel).exists()

    def test_end_of_the_daemon_tells_what_it_could_not_darken(self, daemon, bus, board, syslog):
        running = daemon()
        Light(bus.client).switch(True)
        board.break_channel()
        running.stop()
        assert syslog.texts() == [WRITE_FAILURE, NOT_DEACTIVATED, TERMINATING]


def test_calculation_and_value_are_told_in_debug_mode(daemon, sandbox, bus, board, syslog):
    set_keys(sandbox, state_path(0), intensity=100)
    daemon(argv=["--no-daemon", "--debug"])
    light = Light(bus.client)
    light.switch(True)
    mark = bus.timeline.now()
    light.call("SetPower", "(d)", 1.5)
    calculation = "intensity = 100, intensity_factor = 0.75, power_calc = 1.50, power_intensity=1.50"
    wanted = [(log.INFO, calculation), (log.INFO, "led0 74")]
    assert [line for line in syslog.texts(after=mark) if line in wanted] == wanted
