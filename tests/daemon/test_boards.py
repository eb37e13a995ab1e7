"""What the lights of all boards do alike, as the examples configure them."""

from __future__ import annotations

import pytest

from beamd_testing import syslog as log
from beamd_testing.backlight_board import BacklightBoard
from beamd_testing.boot_parameters import install_boot_parameters
from beamd_testing.bus_client import BusError
from beamd_testing.fisheye_board import FisheyeBoard
from beamd_testing.gpio_lines import GIVEN, gpio_file
from beamd_testing.led_board import FRESH, LIGHTS, demand_no_board
from beamd_testing.log_lines import NOT_ACTIVATED, NOT_DEACTIVATED, SETUP_FAILED, TERMINATING
from beamd_testing.mcu_board import OneChannel, ThreeOutputs, TwoChannels
from beamd_testing.pwm_board import PwmBoardWithLines
from beamd_testing.services import Controller, Light, announced, events
from beamd_testing.sysfs_board import SysfsBoard

BOARDS = [
    BacklightBoard,
    FisheyeBoard,
    OneChannel,
    PwmBoardWithLines,
    SysfsBoard,
    ThreeOutputs,
    TwoChannels,
]


def name(value: object) -> str | None:
    return value.EXAMPLE if value in BOARDS else None


def of(*boards: type):
    """Runs a test with these boards only."""
    return pytest.mark.parametrize("board_type", boards, ids=name)


@pytest.fixture(params=BOARDS, ids=name)
def board_type(request) -> type:
    return request.param


class TestStart:
    def test_files_are_given_to_the_user(self, serve, board, syslog):
        serve()
        for path in board.given():
            assert board.access(path) == LIGHTS
        assert syslog.texts() == board.AT_START

    def test_light_is_dark(self, serve, board, power_daemon):
        serve()
        assert board.take() == board.dark()
        assert power_daemon.requests() == []

    @of(ThreeOutputs, TwoChannels)
    def test_one_light_of_two_leds(self, light, bus):
        lamp = light()
        assert Controller(bus.client).lights()[0][:2] == ("led0", "IR")
        assert lamp.get("CardDetected") and lamp.get("CorrectPoe")
        for led in (0, 1):
            assert lamp.call("GetIndividualLEDIntensity", "(is)", led, "manual") == 100
        with pytest.raises(BusError):
            lamp.call("GetIndividualLEDIntensity", "(is)", 2, "manual")

    @of(FisheyeBoard, SysfsBoard)
    def test_files_for_the_hardware(self, serve, board, syslog):
        install_boot_parameters(board.sandbox, HWID="X1")
        two_leds = "[info]\nleds=2\n[0]\n0=0;0;\n100=7;9;\n"
        board.sandbox.write("/etc/beamd/illumination.conf.X1", two_leds)
        serve("--debug")
        lines = [text for _, text in syslog.texts()]
        assert "Using illumination config file /etc/beamd/illumination.conf.X1" in lines
        assert "Using dimming config file /etc/beamd/dimming.conf" in lines
        assert [board.access(path) for path in board.written[:3]] == [LIGHTS, LIGHTS, FRESH]

    @of(FisheyeBoard, SysfsBoard)
    def test_no_board(self, light, board, devices, syslog):
        board.sandbox.path(board.written.pop(0)).unlink()
        lamp = light()
        assert syslog.texts() == [(log.INFO, "Could not find MCU hardware")]
        demand_no_board(lamp)
        assert devices.reports() == []
        assert {board.access(path) for path in board.written} == {FRESH}

    @of(BacklightBoard, PwmBoardWithLines)
    def test_line_that_cannot_be_given_is_the_end(self, launch, board, syslog):
        board.sandbox.path(gpio_file(1, "edge")).unlink()
        launch().wait_for_exit(1)
        assert syslog.texts() == [
            (log.ERR, "Failed to set group for device edge, No such file or directory."),
            (log.ERR, "Could not set edge file permission, No such file or directory."),
            SETUP_FAILED,
        ]
        assert board.access(gpio_file(1, "direction")) == GIVEN
        assert board.access(gpio_file(1, "uevent")) == board.access(gpio_file(2)) == FRESH


class TestSwitching:
    # The PWM channel tells a start from a restart.
    @of(*(board for board in BOARDS if board is not PwmBoardWithLines))
    @pytest.mark.memcheck
    def test_on_and_off(self, light, board, bus, power_daemon, syslog):
        lamp = light()
        lamp.switch(True)
        assert lamp.is_on()
        assert power_daemon.requests() == [("led0", "normal", board.need())]
        assert board.take() == board.dark()
        lamp.call("SetPower", "(d)", board.need() + 0.001)
        assert board.take() == board.lit()
        lamp.switch(False)
        assert not lamp.is_on()
        assert power_daemon.requests()[1:] == [("led0", "off", 0.0)]
        assert board.take() == board.dark()
        lamp.switch(True)
        assert board.take() == board.lit()
        assert events(bus) == announced("ON") + announced("OFF") + announced("ON")
        assert syslog.texts() == board.AT_START

    @pytest.mark.parametrize(
        "board_type, watts, intensities",
        [(BacklightBoard, 1.2, (500, 1, 700, 1000)), (FisheyeBoard, 2.5, (1200, 1, 900, 1500))],
        ids=name,
    )
    def test_intensity_limits_each_led(self, lit, board, power_daemon, timeline, watts, intensities):
        lamp = lit()
        lamp.call("SetPower", "(d)", watts)
        board.forget()
        for intensity in intensities:
            mark = timeline.now()
            lamp.call("SetIntensity", "(i)", intensity)
            requested = board.requested(intensity)
            assert power_daemon.requests(mark) == [("led0", "normal", sum(requested) / 1000)]
            assert board.take() == board.lit(watts, requested)
        mark = timeline.now()
        lamp.call("SetIntensity", "(i)", 0)
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]
        assert board.take() == board.dark()

    @of(BacklightBoard, FisheyeBoard, PwmBoardWithLines)
    def test_angle_means_nothing(self, lit, board, syslog):
        zoom = "[zoom]\nangleofillumination=30\nangleofilluminationLOW=0\nangleofilluminationHIGH=90\n"
        board.append("led0.conf", zoom)
        lamp = lit()
        lamp.call("ChangeAngleOfIllumination", "(i)", 60)
        assert board.take() == [""] * len(board.written)
        assert board.setting("led0.conf", "angleofillumination", "zoom") == "30"
        assert lamp.is_on()
        assert syslog.texts() == []

    def test_end_of_the_daemon_darkens_the_leds(self, serve, bus, board, syslog):
        running = serve()
        lamp = Light(bus.client)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", board.PLENTY)
        board.forget()
        running.stop()
        assert board.take() == board.dark()
        assert syslog.texts() == [*board.AT_START, TERMINATING]


class TestTemperature:
    @pytest.mark.memcheck
    def test_hot_and_cool_again(self, ticking, board):
        *_, hottest = board.SENSORS.values()
        ticking()
        board.heat(hottest, 200)
        board.wait_for(board.lit(reduction=board.reference()))
        for sensor in board.SENSORS.values():
            board.heat(sensor, -200)
        board.wait_for(board.lit())

    @of(BacklightBoard, FisheyeBoard)
    def test_ten_degrees_below_the_temperature_to_keep_nothing_is_taken_off(self, ticking, board):
        board.heat(4, 50)
        ticking()
        board.wait_for(board.lit())

    @of(BacklightBoard, FisheyeBoard)
    def test_sensors_that_cannot_be_read(self, ticking, board, syslog):
        for sensor in board.SENSORS.values():
            board.break_sensor(sensor)
        ticking()
        unread = (log.WARNING, "Could not read temperature")
        lost = [(log.WARNING, f"{board.LOST_SENSOR} {sensor}") for sensor in board.SENSORS.values()]
        syslog.wait_for(lost[1])
        assert syslog.texts()[:4] == [unread, lost[0], unread, lost[1]]
        board.heat(3, 55)
        board.wait_for(board.lit(reduction=board.reference() / 2))


# A LED that fails, and those that are written nevertheless.
@pytest.mark.parametrize(
    "board_type, broken, written",
    [
        (FisheyeBoard, 1, [0, 2, 3]),
        (OneChannel, 0, []),
        (SysfsBoard, 1, [0]),
        (ThreeOutputs, 0, []),
        (ThreeOutputs, 2, [0]),
        (ThreeOutputs, 1, [0, 2]),
        (TwoChannels, 0, []),
        (TwoChannels, 1, [0]),
    ],
    ids=name,
)
@pytest.mark.memcheck
def test_write_failure(light, board, bus, syslog, power_daemon, timeline, broken, written):
    lamp = light()
    lamp.call("SetPower", "(d)", board.PLENTY)
    for on, new, line in [(True, board.lit(), NOT_ACTIVATED), (False, board.dark(), NOT_DEACTIVATED)]:
        board.forget()
        board.fill_up(board.written[broken])
        mark = timeline.now()
        lamp.switch(on)
        assert lamp.is_on() is not on
        assert syslog.texts(after=mark) == [(log.ERR, board.write_failure(broken, on)), line]
        assert power_daemon.requests(mark) == [] and events(bus, mark) == []
        board.mend(board.written[broken])
        assert board.take() == [content if led in written else "" for led, content in enumerate(new)]

        lamp.switch(on)
        assert lamp.is_on() is on
        assert board.take() == new
        assert len(power_daemon.requests(mark)) == 1
