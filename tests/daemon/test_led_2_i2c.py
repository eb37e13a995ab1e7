"""The light of two channels, as the example configures it: what its files of the board hold."""

from __future__ import annotations

import pytest

from beamd_testing import layout, syslog as log
from beamd_testing.bus_client import BusError
from beamd_testing.mcu_outputs import MARK, McuOutputs, numbers, reduction, single
from beamd_testing.services import Controller, Light, events

PLENTY = 100.0
WATTS_PER_UNIT = 0.0025
TERMINATING = (log.INFO, "Terminating")
SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
NOT_ACTIVATED = (log.ERR, "Unable to activate light")
NOT_DEACTIVATED = (log.ERR, "Unable to deactivate light")
NO_BOARD = "No IR light PCB found"
OFF = (0, 0)

Levels = tuple[int, int]


def between(low: int, high: int, place: int, span: int) -> int:
    """The whole number at @p place of a way of @p span steps from @p low to @p high."""
    return low + int((high - low) * place / span)


class TwoChannels(McuOutputs):
    def __init__(self, sandbox) -> None:
        super().__init__(sandbox, "LED2I2C", 2)

    def give(self, angle: int, intensities: tuple[int, int], watts: float = PLENTY) -> Levels:
        """What the channels give by the table, with @p watts."""
        table = self.table()
        upper = next(row for row in (50, 100) if angle <= row)
        full = [numbers(table[str(row)]["100"]) for row in (upper - 50, upper)]
        rows = [[between(0, row[led], intensities[led], 100) for led in (0, 1)] for row in full]
        return limited([between(*ends, angle - (upper - 50), 50) for ends in zip(*rows)], watts)

    def takes(self, levels: Levels) -> None:
        """Demands that these, and nothing else, have been written since the last look."""
        assert self.take() == texts(levels)


def limited(levels: list[int], watts: float) -> Levels:
    """The levels step down by one, two, three hundredths and so on of what is left, until they fit."""
    factor = 1.0
    while True:
        levels = [int(level * factor) for level in levels]
        factor = max(factor - 0.01, 0.0)
        if single(sum(levels) * single(WATTS_PER_UNIT)) <= watts or not any(levels):
            return tuple(levels)


def texts(levels: Levels) -> list[str]:
    return [str(level) for level in levels]


def reduced(levels: Levels, taken_off: float) -> Levels:
    total = sum(levels)
    return tuple(max(int(level - taken_off * (level / total)), 0) for level in levels)


@pytest.fixture
def board(sandbox, temperature_service, power_daemon) -> TwoChannels:
    """The example, its board, and its peers at work."""
    board = TwoChannels(sandbox)
    board.start_peers(power_daemon, temperature_service)
    return board


@pytest.fixture
def light(daemon, bus, board):
    """The light, served and off; its files have been looked at."""

    def light(*options: str) -> Light:
        daemon(argv=["--no-daemon", *options])
        board.takes(OFF)
        return Light(bus.client)

    return light


class TestBoard:
    def test_files_are_given_to_the_group_of_user_light(self, light, board, syslog):
        light()
        for path in board.written:
            assert board.access(path) == (layout.USERS["nobody"][0], layout.USERS["light"][1], 0o664)
        assert syslog.texts() == []

    def test_led2i2c_is_one_light_of_two_leds(self, light, bus):
        lamp = light()
        assert Controller(bus.client).lights()[0][:2] == ("led0", "IR")
        assert lamp.get("CardDetected") and lamp.get("CorrectPoe")
        for led in (0, 1):
            assert lamp.call("GetIndividualLEDIntensity", "(is)", led, "manual") == 100
        with pytest.raises(BusError):
            lamp.call("GetIndividualLEDIntensity", "(is)", 2, "manual")

    def test_qxid_0_is_no_board_while_everything_else_loads(self, daemon, sandbox, bus, board, syslog):
        sandbox.write(MARK, "0")
        daemon()
        with pytest.raises(BusError) as refusal:
            Light(bus.client).switch(True)
        assert (refusal.value.domain, refusal.value.code) == ("light-control-error-quark", 6)
        assert refusal.value.message == NO_BOARD
        assert board.access(board.written[1])[1] == layout.USERS["light"][1]
        assert syslog.texts() == [(log.INFO, "Could not find MCU driver")]

    def test_missing_channel_ends_the_daemon(self, launch, sandbox, board, syslog):
        sandbox.path(board.written[1]).unlink()
        launch().wait_for_exit(1)
        complaint = f"Failed to chown {board.written[1]} to gid {layout.USERS['light'][1]}"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]


class TestPower:
    def test_dark_until_granted(self, light, board, power_daemon):
        lamp = light()
        lamp.switch(True)
        assert lamp.is_on()
        board.takes(OFF)
        wanted = board.give(50, (50, 50))
        [(name, mode, watts)] = power_daemon.requests()
        assert (name, mode) == ("led0", "normal")
        assert watts == pytest.approx(sum(wanted) * WATTS_PER_UNIT)
        lamp.call("SetPower", "(d)", watts + 0.001)
        board.takes(wanted)

    def test_each_grant_is_followed(self, light, board):
        lamp = light()
        lamp.set("AutomaticIntensity", False)
        lamp.call("ChangeAngleOfIllumination", "(i)", 30)
        lamp.switch(True)
        board.forget()
        for watts in (1.0, 0.45, 0.3, 0.12, 0.01, 0.0, 0.4, -1.0, float("inf"), float("nan"), 0.2):
            lamp.call("SetPower", "(d)", watts)
            board.takes(board.give(30, (100, 100), watts))

    def test_off_gives_the_power_back(self, light, board, bus, power_daemon, timeline):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.switch(True)
        mark = timeline.now()
        board.forget()
        lamp.switch(False)
        board.takes(OFF)
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]
        assert [content["state"] for _, content in events(bus, mark)] == ["OFF", "OFF"]


class TestShape:
    def test_channels_follow_angle_and_intensity(self, light, board):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.set("AutomaticIntensity", False)
        lamp.switch(True)
        for angle, intensity in [(0, 100), (33, 100), (50, 77), (51, 33), (99, 5), (100, 100), (50, 0)]:
            lamp.call("ChangeAngleOfIllumination", "(i)", angle)
            board.forget()
            lamp.call("SetIntensity", "(i)", intensity)
            board.takes(board.give(angle, (intensity, intensity)))

    def test_channels_may_differ(self, light, board):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.set("AutomaticIntensity", False)
        lamp.call("SetIntensity", "(i)", 80)
        lamp.switch(True)
        board.takes(board.give(50, (80, 80)))
        lamp.call("SetIndividualLEDIntensity", "(iis)", 0, 30, "manual")
        board.takes(board.give(50, (30, 80)))
        lamp.call("SetIndividualLEDIntensity", "(iis)", 1, 0, "manual")
        board.takes(board.give(50, (30, 0)))


class TestTemperature:
    @pytest.fixture
    def lit_light(self, light, board):
        """The light with a tick each second and a regulator without memory; on, with power."""

        def lit_light(*options: str) -> Light:
            board.configure("dimming.conf", sample_time=1, k_i=0)
            lamp = light(*options)
            lamp.call("SetPower", "(d)", PLENTY)
            lamp.switch(True)
            return lamp

        return lit_light

    def test_hot_board_is_dark_and_shines_again_when_it_has_cooled_down(self, lit_light, board):
        lit_light()
        board.takes(board.give(50, (50, 50)))
        board.heat(1, 200.0)
        board.wait_for(texts(OFF))
        board.cool_down()
        board.wait_for(texts(board.give(50, (50, 50))))

    @pytest.mark.parametrize("hotter", [0, 1])
    def test_hotter_sensor_takes_its_share_of_both_channels(self, lit_light, board, hotter):
        board.heat(hotter, 55.3)
        lit_light().call("ChangeAngleOfIllumination", "(i)", 30)
        full = board.give(30, (50, 50))
        expected = reduced(full, reduction(55.3, sum(full)))
        assert full[0] != full[1] and all(0 < value < most for value, most in zip(expected, full))
        board.wait_for(texts(expected))

    def test_runs_also_without_a_grant(self, light, board, syslog):
        board.configure("dimming.conf", sample_time=1)
        board.heat(0, 150.0)
        light("--debug").switch(True)
        board.takes(OFF)
        syslog.wait_for((log.INFO, "power_reduce = 0.00, temp = 150.00"))
        board.wait_for(texts(OFF))


class TestFailures:
    @pytest.mark.parametrize("broken", [0, 1])
    def test_write_failure(self, light, board, bus, syslog, power_daemon, timeline, broken):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        for on, line in [(True, NOT_ACTIVATED), (False, NOT_DEACTIVATED)]:
            board.forget()
            board.fill_up(board.written[broken])
            mark = timeline.now()
            lamp.switch(on)
            assert lamp.is_on() is not on
            assert syslog.texts(after=mark) == [(log.ERR, f"Write failure to led {broken}"), line]
            assert power_daemon.requests(mark) == [] and events(bus, mark) == []
            board.mend(board.written[broken])

            new = texts(board.give(50, (50, 50)) if on else OFF)
            assert board.take() == [new[0] if broken == 1 else "", ""]
            lamp.switch(on)
            assert lamp.is_on() is on
            assert board.take() == new

    @pytest.mark.parametrize("missing", [0, 1])
    def test_board_that_vanishes(self, light, board, sandbox, syslog, missing):
        lamp = light()
        mark = syslog.timeline.now()
        sandbox.path(board.written[missing]).unlink()
        lamp.switch(True)
        assert not lamp.is_on()
        no_file = (log.WARNING, f"Failed to open fd for led {missing}")
        assert syslog.texts(after=mark) == [no_file, NOT_ACTIVATED]
        assert sandbox.read(board.written[1 - missing]) == ""

    def test_end_of_the_daemon_darkens_the_board(self, daemon, bus, board, syslog):
        running = daemon()
        lamp = Light(bus.client)
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.switch(True)
        board.forget()
        running.stop()
        board.takes(OFF)
        assert syslog.texts() == [TERMINATING]


def test_values_are_told_in_debug_mode(light, board, syslog):
    lamp = light("--debug")
    lamp.call("SetPower", "(d)", PLENTY)
    mark = syslog.timeline.now()
    lamp.switch(True)
    first, second = board.give(50, (50, 50))
    assert (log.INFO, f"led0 {first} led1 {second}") in syslog.texts(after=mark)
