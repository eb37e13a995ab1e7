"""What beamctl check tells of a mistake is what the daemon does: the same mistakes, served."""

from __future__ import annotations

from collections.abc import Callable, Iterable

import pytest

from beamd_testing import syslog as log
from beamd_testing.backlight_board import BacklightBoard
from beamd_testing.board_mistakes import REGULATORS, TABLES
from beamd_testing.bus_client import BusError
from beamd_testing.device_mistakes import CHANNELS
from beamd_testing.fisheye_board import FisheyeBoard
from beamd_testing.installation import install_example
from beamd_testing.led_board import LedBoard, demand_no_board
from beamd_testing.light_mistakes import LIGHTS, PATHS
from beamd_testing.log_lines import SETUP_FAILED
from beamd_testing.main_mistakes import CAMERAS
from beamd_testing.mcu_board import OneChannel, ThreeOutputs, TwoChannels
from beamd_testing.mistake import HERE, Mistake, Tree, name_of
from beamd_testing.pwm_board import PwmBoard
from beamd_testing.sandbox import Sandbox
from beamd_testing.services import Controller, Light
from beamd_testing.sysfs_board import SysfsBoard

BOARDS = {
    each.EXAMPLE: each
    for each in (OneChannel, TwoChannels, ThreeOutputs, PwmBoard, BacklightBoard, FisheyeBoard, SysfsBoard)
}
MISTAKES = [each for each in [*CAMERAS, *LIGHTS, *PATHS, *TABLES, *REGULATORS, *CHANNELS] if each.example in BOARDS]

DARK_AT_ONCE = {"missing-key", "range-flat", "table-empty", "value-range", "value-type"}


def install(sandbox: Sandbox, mistake: Mistake) -> None:
    """Puts the spoilt configuration in place of the right one."""
    spoilt = mistake.tree().files
    for path in Tree(mistake.example).files:
        if path not in spoilt:
            sandbox.path(path).unlink()
    for path, text in spoilt.items():
        sandbox.write(path, text.replace(HERE, ""))


def one_of_each_rule(reason: str) -> list[Mistake]:
    """The first mistake of each rule that has that @p reason."""
    # The duty cycle of a PWM channel is only told to the kernel, which refuses it.
    others = [each for each in MISTAKES if each.reason == reason and (each.example, reason) != ("LED1PWM", "dark")]
    return list({each.rule: each for each in reversed(others)}.values())


def on_its_board(mistakes: Iterable[Mistake]) -> Callable:
    cases = [pytest.param(BOARDS[each.example], each, id=name_of(each)) for each in mistakes]
    return pytest.mark.parametrize("board_type, mistake", cases)


def the(rule: str, names: str, example: str, file: str | None = None) -> Mistake:
    """The first such mistake."""
    return next(
        each
        for each in MISTAKES
        if (each.rule, each.names, each.example) == (rule, names, example) and file in (each.file, None)
    )


@pytest.fixture
def spoilt(light: Callable[..., Light], board: LedBoard, mistake: Mistake) -> Light:
    """The light of a configuration with the mistake, served on its board."""
    install(board.sandbox, mistake)
    return light()


@on_its_board(one_of_each_rule("refuses-to-start"))
def test_refuses_to_start(launch, example, mistake, syslog):
    install(example.sandbox, mistake)
    launch().wait_for_exit(1)
    assert syslog.texts()[-1] == SETUP_FAILED


@on_its_board(one_of_each_rule("undetected"))
def test_undetected(spoilt, mistake):
    demand_no_board(spoilt)


@on_its_board(each for each in one_of_each_rule("dark") if each.rule in DARK_AT_ONCE)
def test_dark(spoilt, board, mistake):
    spoilt.call("SetPower", "(d)", board.PLENTY)
    board.forget()
    spoilt.switch(True)
    assert board.take() == board.dark()


@on_its_board([the("interface-missing", "nbrofinterfaces", "LED1I2C")])
def test_dark_because_no_power_can_be_granted(spoilt, board, mistake):
    with pytest.raises(BusError):
        spoilt.call("SetPower", "(d)", board.PLENTY)
    spoilt.switch(True)
    assert board.take() == board.dark()


@on_its_board([the("intensity-beyond-table", "intensityHIGH", "LED2I2C")])
def test_dark_beyond_the_table(spoilt, board, mistake):
    spoilt.call("SetPower", "(d)", board.PLENTY)
    spoilt.switch(True)
    spoilt.call("SetIntensity", "(i)", 200)
    for led in (0, 1):
        board.forget()
        spoilt.call("SetIndividualLEDIntensity", "(iis)", led, 200, "automatic")
    assert board.take() == board.dark()


class TestRefused:
    @on_its_board([the("value-range", "intensityHIGH", "LED1I2C")])
    def test_range_of_nothing(self, spoilt, board, mistake):
        spoilt.call("SetPower", "(d)", board.PLENTY)
        spoilt.switch(True)
        assert board.take() == ["50"]
        with pytest.raises(BusError, match="Invalid Intensity"):
            spoilt.call("SetIntensity", "(i)", 1)
        spoilt.call("SetIntensity", "(i)", 0)

    @on_its_board([the("power-unheard", "usepowerrequest", "LED1I2C")])
    def test_power_unheard(self, spoilt, mistake):
        with pytest.raises(BusError, match="Wrong poe"):
            spoilt.switch(True)

    @on_its_board([the("range-reversed", "intensityLOW", "LED1I2C")])
    def test_range_reversed(self, spoilt, mistake):
        for intensity in (0, 50, 100, 150, 200):
            with pytest.raises(BusError, match="Invalid Intensity"):
                spoilt.call("SetIntensity", "(i)", intensity)


class TestDropped:
    @on_its_board([the("unknown-group", "Zoom", "LED2I2C")])
    def test_unknown_group(self, spoilt, mistake):
        with pytest.raises(BusError, match="not supported"):
            spoilt.call("GetCurrentAngleOfIllumination")

    @on_its_board([the("duplicate-key", "intensity", "LED1I2C")])
    def test_duplicate_key(self, spoilt, mistake):
        assert spoilt.call("GetIntensity") == 60

    @on_its_board([the("value-range", "NbrOfLeds", "LED1I2C")])
    def test_count_of_nothing(self, daemon, example, bus, mistake):
        install(example.sandbox, mistake)
        daemon()
        assert Controller(bus.client).count() == 0

    @on_its_board([the("leds-count", "leds", "LED2I2C")])
    def test_surplus_led(self, spoilt, board, mistake):
        assert spoilt.call("GetNumberOfLEDs") == 3
        spoilt.call("SetPower", "(d)", board.PLENTY)
        spoilt.switch(True)
        assert board.take() == board.lit()

    @on_its_board([the("zoom-incomplete", "angleofillumination", "LED2I2C")])
    def test_zoom_incomplete(self, spoilt, mistake):
        with pytest.raises(BusError, match="not supported"):
            spoilt.call("ChangeAngleOfIllumination", "(i)", 50)

    @on_its_board([the("intensities-count", "intensities", "LED2I2C")])
    def test_intensities_count(self, spoilt, mistake):
        assert spoilt.call("GetIndividualLEDIntensities", "(s)", "manual") == [100, 100]

    @on_its_board([the("value-type", "intensities", "LED2I2C")])
    def test_lenient_list(self, spoilt, mistake):
        assert spoilt.call("GetIndividualLEDIntensities", "(s)", "manual") == [100, 100]

    @on_its_board([the("sensor-gap", "temp_sensor_id3", "LED2I2C")])
    def test_sensor_behind_a_gap(self, spoilt, temperature_service, mistake):
        assert temperature_service.calls("GetTemperatureIdFromName") == [("IlluminationBoard",)]

    def test_light_out_of_range(self, daemon, sandbox, bus):
        install_example(sandbox, "Dummy")
        (mistake,) = [each for each in CAMERAS if (each.rule, each.example) == ("light-out-of-range", "Dummy")]
        install(sandbox, mistake)
        daemon()
        assert Controller(bus.client).count() == 1


class TestMisread:
    @on_its_board([the("trailing-text", "intensity", "LED1I2C")])
    def test_text_behind_a_number(self, spoilt, mistake):
        assert spoilt.call("GetIntensity") == 50

    @on_its_board([the("outside-own-range", "manualintensity", "LED1I2C")])
    def test_manual_intensity_of_any_size(self, spoilt, mistake):
        assert spoilt.get("ManualSetIntensity") == 101
        spoilt.set("ManualSetIntensity", 300)
        assert spoilt.get("ManualSetIntensity") == 300

    @on_its_board([the("table-order", "50", "LED2I2C")])
    def test_rows_out_of_order(self, spoilt, board, mistake):
        self.demand_levels(spoilt, board, 100, (60, 60))

    @on_its_board([the("first-group", "info", "LED2I2C")])
    def test_first_row_is_passed_over(self, spoilt, board, mistake):
        self.demand_levels(spoilt, board, 0, (60, 60))

    @staticmethod
    def demand_levels(lamp: Light, board: TwoChannels, angle: int, levels: tuple[int, int]) -> None:
        lamp.call("SetPower", "(d)", board.PLENTY)
        lamp.switch(True)
        board.forget()
        lamp.call("ChangeAngleOfIllumination", "(i)", angle)
        assert board.take() == board.contents(levels)


@on_its_board([the("sensor-count", "temp_sensor_id2", "LED1I2C")])
def test_two_sensors_are_one_too_many(lit, board, mistake, syslog):
    """Neither is read, so that nothing can tell of a board that gets hot."""
    install(board.sandbox, mistake)
    board.configure("dimming.conf", sample_time=1)
    lit()
    syslog.wait_for((log.ERR, "Could not read invalid temperature sensor"))


@pytest.mark.parametrize("board_type", [TwoChannels])
def test_dimmed_to_nothing_without_gains(ticking, board):
    """As a finding of the rule gains-zero tells."""
    lamp = ticking(k_p=0, k_i=0)
    assert lamp.is_on()
    board.wait_for(board.dark())
