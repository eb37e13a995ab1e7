"""What only the light of a single channel does, at the intensity 100."""

from __future__ import annotations

import itertools
import re
from collections.abc import Iterator

import pytest

from beamd_testing import layout, syslog as log
from beamd_testing.bus import BEAMD
from beamd_testing.bus_client import BusError
from beamd_testing.led_board import LIGHTS, demand_no_board
from beamd_testing.log_lines import NOT_DEACTIVATED, SETUP_FAILED, TERMINATING
from beamd_testing.mcu_board import DIMMING_CONF, FOLDER, MARK, OneChannel
from beamd_testing.regulator import filtered, single
from beamd_testing.services import POWER, Controller, Light, light_path

BOARD = OneChannel
CHANNEL = f"{FOLDER}/led0"
WATTS_PER_STEP = 0.02
NO_BOARD = "No IR light PCB found"
WRITE_FAILURE = (log.ERR, "Write failure to led 0")


@pytest.fixture
def board(board) -> OneChannel:
    board.configure("led0.conf", intensity=100)
    return board


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
    temperature, error, integral, output = celsius, 0.0, 0.0, 0.0
    while True:
        temperature = filtered(celsius, temperature)
        integral += seconds * k_i * error
        error = ref_temp - temperature
        if output > full:
            integral = max(0.0, 1.0 - k_p * error)
        elif output < 0:
            integral = 0.0
        output = (k_p * error + integral) * full
        reduction = min(max(full - output, 0.0), full)
        yield temperature, reduction, max(int(full - reduction), 0)


def is_tick(line: log.LogLine) -> bool:
    return line.text.startswith("power_reduce = ")


def is_value(line: log.LogLine) -> bool:
    return line.text.startswith("led0 ")


class TestBoard:
    def test_no_qxid_node_is_a_board(self, light, sandbox, board, syslog):
        sandbox.path(MARK).unlink()
        lamp = light()
        assert lamp.get("CardDetected")
        lamp.call("SetPower", "(d)", 2.5)
        lamp.switch(True)
        assert board.take() == ["100"]
        assert syslog.texts() == []

    def test_qxid_0_is_no_board_while_everything_else_loads(
        self, light, sandbox, bus, board, syslog, temperature_service
    ):
        sandbox.write(MARK, "0\n")
        lamp = light()
        demand_no_board(lamp)
        for call in [("GetIntensity",), ("SetPower", "(d)", 2.5)]:
            with pytest.raises(BusError, match=NO_BOARD) as refusal:
                lamp.call(*call)
            assert (refusal.value.domain, refusal.value.code) == ("light-control-error-quark", 6)
        with pytest.raises(BusError, match=NO_BOARD):
            Controller(bus.client).lights()
        assert not Controller(bus.client).is_available()

        assert syslog.texts() == [(log.INFO, "Could not find MCU driver")]
        assert board.access(CHANNEL) == LIGHTS
        assert temperature_service.calls("GetTemperatureIdFromName") == [("IlluminationBoard",)]

    @pytest.mark.parametrize(
        "missing, line",
        [
            ("/etc/beamd/illumination.conf", "could not open {}: No such file or directory"),
            (CHANNEL, f"Failed to chown {{}} to gid {LIGHTS[1]}"),
            (DIMMING_CONF, "could not open {}: No such file or directory"),
        ],
        ids=["illumination", "channel", "dimming"],
    )
    def test_missing_file_ends_the_daemon(self, launch, sandbox, board, syslog, missing, line):
        sandbox.path(missing).unlink()
        launch().wait_for_exit(1)
        assert syslog.texts() == [(log.ERR, line.format(missing)), SETUP_FAILED]

    def test_empty_qxid_ends_the_daemon(self, launch, sandbox, board, syslog):
        sandbox.write(MARK, "")
        launch().wait_for_exit(1)
        assert syslog.texts() == [SETUP_FAILED]

    def test_missing_user_ends_the_daemon(self, launch, sandbox, board, syslog):
        sandbox.write("/etc/passwd", layout.passwd().replace("light:", "dark:"))
        launch().wait_for_exit(1)
        assert syslog.texts() == [(log.ERR, "Beamd failed getting passwd for user light"), SETUP_FAILED]


class TestPower:
    def test_registers_and_asks_for_nothing_while_off(self, light, power_daemon):
        light()
        assert power_daemon.registrations() == [("led0", False, BEAMD, light_path(0), POWER)]
        assert power_daemon.requests() == []

    def test_74_of_100_for_one_and_a_half_watts(self, lit, board):
        lit().call("SetPower", "(d)", 1.5)
        assert board.take() == ["74"]

    def test_each_grant_is_followed(self, lit, board):
        lamp = lit()
        for watts in (2.5, 1.5, 1.0, 1.99, 0.3, 0.0, 2.0, -1.0, float("inf"), float("nan"), 0.02, 1e300):
            lamp.call("SetPower", "(d)", watts)
            assert board.take() == [str(granted(100, watts))]

    def test_grant_for_a_light_that_is_off_counts_when_it_is_switched_on(self, light, board):
        lamp = light()
        lamp.call("SetPower", "(d)", 1.5)
        assert board.take() == [""]
        lamp.switch(True)
        assert board.take() == ["74"]

    def test_each_intensity_is_requested_and_limited(self, lit, board, power_daemon, timeline):
        lamp = lit()
        lamp.call("SetPower", "(d)", 1.2)
        assert board.take() == [str(granted(100, 1.2))]
        for intensity in (60, 61, 100, 1, 0, 80):
            mark = timeline.now()
            lamp.call("SetIntensity", "(i)", intensity)
            assert board.take() == [str(granted(intensity, 1.2))]
            mode = "normal" if intensity else "off"
            assert power_daemon.requests(mark) == [("led0", mode, need(intensity))]


class TestTemperature:
    @pytest.mark.parametrize("watts, full", [(2.5, 100), (1.5, 74)], ids=["all", "limited"])
    def test_each_tick_is_that_of_the_regulator(self, light, board, syslog, watts, full):
        board.configure("dimming.conf", sample_time=1)
        board.heat(0, 57.0)
        lamp = light("--debug")
        lamp.call("SetPower", "(d)", watts)
        lamp.switch(True)
        after = 0
        for temperature, reduction, value in itertools.islice(regulated(57.0, full), 4):
            tick = syslog.wait_for(is_tick, after=after)
            assert tick.text == f"power_reduce = {reduction:.2f}, temp = {temperature:.2f}"
            after = syslog.wait_for(is_value, after=tick.number).number
            assert syslog.texts(after=after)[0] == (log.INFO, f"led0 {value}")

    def test_half_of_the_light_at_five_degrees_below_the_temperature_to_keep(self, ticking, board):
        board.heat(0, 55.0)
        ticking()
        board.wait_for(["50"])

    def test_disabled_regulator_leaves_a_hot_board_alone(self, ticking, board, syslog):
        board.heat(0, 150.0)
        ticking("--debug", enabled=False)
        mark = syslog.wait_for((log.INFO, "No power reduction. Regulator is disabled.")).number
        syslog.wait_for((log.INFO, "led0 100"), after=mark)
        board.wait_for(["100"])

    def test_sensor_that_cannot_be_read_leaves_the_light_alone(self, ticking, board, syslog):
        lamp = ticking("--debug")
        board.break_sensor(0)
        mark = syslog.wait_for((log.WARNING, "Could not read temperature")).number
        syslog.wait_for((log.INFO, "led0 100"), after=mark)
        board.wait_for(["100"])
        assert lamp.is_on()

    def test_light_that_is_off_is_not_written(self, ticking, board, syslog, timeline):
        ticking("--debug").switch(False)
        board.forget()
        off = mark = timeline.now()
        for _ in range(2):
            mark = syslog.wait_for(is_tick, after=mark).number + 1
        assert board.take() == [""]
        assert not any(map(is_value, syslog.lines(after=off)))

    def test_light_without_a_grant_is_not_regulated(self, serve, bus, board, syslog):
        board.configure("dimming.conf", sample_time=1)
        running = serve("--debug")
        Light(bus.client).switch(True)
        # The poll that ends the daemon is armed after the tick and as often: there has been one.
        running.stop()
        assert not [text for _, text in syslog.texts() if re.match("Regulator|power_reduce|No power", text)]


class TestFailures:
    def test_value_that_is_not_taken_is_kept_for_later(self, lit, board, syslog):
        lamp = lit()
        board.fill_up(CHANNEL)
        lamp.call("SetIntensity", "(i)", 60)
        lamp.call("SetPower", "(d)", 1.5)
        assert lamp.call("GetIntensity") == 60 and lamp.is_on()
        assert syslog.texts() == [WRITE_FAILURE, WRITE_FAILURE]

        board.mend(CHANNEL)
        lamp.switch(True)
        assert board.take() == ["60"]

    def test_board_that_vanishes(self, lit, board, sandbox, syslog):
        lamp = lit()
        sandbox.path(CHANNEL).unlink()
        lamp.call("SetIntensity", "(i)", 60)
        lamp.switch(False)
        assert lamp.is_on()
        no_file = (log.WARNING, "Failed to open fd for led 0")
        assert syslog.texts() == [no_file, no_file, NOT_DEACTIVATED]
        assert not sandbox.path(CHANNEL).exists()

    def test_end_of_the_daemon_tells_what_it_could_not_darken(self, serve, bus, board, syslog):
        running = serve()
        Light(bus.client).switch(True)
        board.fill_up(CHANNEL)
        running.stop()
        assert syslog.texts() == [WRITE_FAILURE, NOT_DEACTIVATED, TERMINATING]


def test_calculation_and_value_are_told_in_debug_mode(light, board, syslog):
    lamp = light("--debug")
    lamp.switch(True)
    mark = syslog.timeline.now()
    lamp.call("SetPower", "(d)", 1.5)
    calculation = "intensity = 100, intensity_factor = 0.75, power_calc = 1.50, power_intensity=1.50"
    wanted = [(log.INFO, calculation), (log.INFO, "led0 74")]
    assert [line for line in syslog.texts(after=mark) if line in wanted] == wanted
