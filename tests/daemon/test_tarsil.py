"""What only the light of three outputs does, as the example configures it."""

from __future__ import annotations

import pytest

from beamd_testing import syslog as log
from beamd_testing.boot_parameters import install_boot_parameters
from beamd_testing.bus_client import BusError
from beamd_testing.led_board import LIGHTS, demand_no_board
from beamd_testing.log_lines import NOT_ACTIVATED, NOT_DEACTIVATED, SETUP_FAILED
from beamd_testing.mcu_board import DEFAULT_OPTICS, MARK, OFF, POE_CLASS, ThreeOutputs, watts_of
from beamd_testing.regulator import reduction, single
from beamd_testing.services import Light

BOARD = ThreeOutputs
NO_BOARD = "No IR light PCB found"


class TestBoard:
    def test_optics_have_a_table_of_their_own(self, lit, board, sandbox, syslog):
        install_boot_parameters(sandbox, OPTICS="wide")
        lamp = lit()
        lamp.switch(True)
        wide = board.give(50, 60, suffix=".wide")
        assert wide != board.give(50, 60)
        board.takes(wide)
        assert syslog.texts() == []

    def test_optics_without_a_table_end_the_daemon(self, launch, board, sandbox, syslog):
        install_boot_parameters(sandbox, OPTICS="narrow")
        launch().wait_for_exit(1)
        path = "/etc/beamd/illumination.conf.narrow"
        complaint = f"could not open {path}: No such file or directory"
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]

    @pytest.mark.parametrize("mark", ["0", "2", ""])
    def test_other_mark_is_no_board_while_everything_else_loads(self, serve, sandbox, bus, board, syslog, mark):
        sandbox.write(MARK, mark)
        serve()
        demand_no_board(Light(bus.client))
        assert {board.access(path) for path in board.written} == {LIGHTS}
        assert board.take() == [""] * 3
        # It is switched off at the start, as any light is.
        no_board = (log.INFO, "Could not find MCU driver")
        assert syslog.texts() == [no_board, DEFAULT_OPTICS, (log.ERR, NO_BOARD), NOT_DEACTIVATED]

    def test_wrong_poe_class_is_told(self, light, sandbox, board, syslog):
        sandbox.write(POE_CLASS, "4")
        lamp = light()
        assert lamp.get("CardDetected")
        assert syslog.texts() == [(log.INFO, "Wrong poe for IR light"), DEFAULT_OPTICS]

    def test_wrong_poe_class_is_not_told_when_it_is_not_to_be_looked_at(self, light, sandbox, board, syslog):
        sandbox.path(POE_CLASS).unlink()
        board.configure("dimming.conf", poe_class_present=False)
        light()
        assert syslog.texts() == [DEFAULT_OPTICS]

    def test_mark_that_is_lost_is_told_whoever_switches(self, lit, sandbox, board, syslog):
        lamp = lit()
        sandbox.write(MARK, "0")
        for on, line in [(True, NOT_ACTIVATED), (False, NOT_DEACTIVATED)]:
            mark = syslog.timeline.now()
            with pytest.raises(BusError) as refusal:
                lamp.switch(on)
            assert (refusal.value.code, refusal.value.message) == (6, NO_BOARD)
            assert syslog.texts(after=mark) == [(log.ERR, NO_BOARD), line]
        assert lamp.is_on()
        assert board.take() == [""] * 3
        sandbox.write(MARK, "1")

    def test_board_without_a_mark_is_one(self, light, sandbox, board):
        sandbox.path(MARK).unlink()
        lamp = light()
        lamp.call("SetPower", "(d)", board.PLENTY)
        sandbox.write(MARK, "0")
        lamp.switch(True)
        board.takes(board.give(50, 60))


class TestPower:
    def test_each_grant_is_followed(self, light, board):
        lamp = light()
        lamp.switch(True)
        board.forget()
        grants = [1.0, 0.7, 0.5, 0.3, 0.2, 0.1, 0.0, 0.4, -1.0, float("nan"), float("inf"), 0.123]
        for watts in grants:
            lamp.call("SetPower", "(d)", watts)
            board.takes(board.give(50, 60, watts))

    def test_grant_of_exactly_the_need_is_enough(self, light, board):
        lamp = light()
        lamp.switch(True)
        board.forget()
        lamp.call("SetPower", "(d)", watts_of(board.give(50, 60)))
        board.takes(board.give(50, 60))

    def test_request_follows_intensity_and_angle_and_not_the_grant(
        self, light, board, power_daemon, timeline
    ):
        lamp = light()
        lamp.switch(True)
        lamp.call("SetPower", "(d)", 0.2)
        for intensity, angle in [(100, 50), (100, 100), (30, 0), (0, 99)]:
            mark = timeline.now()
            lamp.call("SetIntensity", "(i)", intensity)
            lamp.call("ChangeAngleOfIllumination", "(i)", angle)
            watts = single(watts_of(board.give(angle, intensity)))
            assert power_daemon.requests(mark)[-1] == ("led0", "normal" if watts else "off", watts)


class TestShape:
    def test_each_angle_and_intensity_finds_its_cell(self, lit, board):
        lamp = lit()
        lamp.set("AutomaticIntensity", False)
        places = [(0, 100), (24, 99), (25, 10), (74, 9), (75, 55), (99, 100), (100, 100), (50, 0)]
        for angle, intensity in places:
            lamp.call("ChangeAngleOfIllumination", "(i)", angle)
            board.forget()
            lamp.call("SetIntensity", "(i)", intensity)
            board.takes(board.give(angle, intensity))

    def test_leds_may_differ(self, lit, board):
        lamp = lit()
        lamp.set("AutomaticIntensity", False)
        board.forget()
        lamp.call("SetIntensity", "(i)", 80)
        board.takes(board.give(50, 80))
        lamp.call("SetIndividualLEDIntensity", "(iis)", 0, 30, "manual")
        board.takes(board.give(50, 80, leds=(30, 100)))
        lamp.call("SetIndividualLEDIntensity", "(iis)", 1, 0, "manual")
        board.takes(board.give(50, 80, leds=(30, 0)))
        lamp.call("SetPower", "(d)", 0.05)
        board.takes(board.give(50, 80, watts=0.05, leds=(30, 0)))


class TestTemperature:
    @pytest.mark.parametrize("hotter", [0, 1])
    @pytest.mark.memcheck
    def test_hotter_sensor_takes_its_share_of_all_outputs(self, ticking, board, hotter):
        board.heat(hotter, 55.3)
        ticking()
        expected = board.lit(reduction=reduction(55.3, board.reference()))
        assert not {*expected} & {*board.lit(), *board.dark()}, "each gives something, but not all"
        board.wait_for(expected)

    def test_share_is_that_of_what_the_grant_leaves(self, ticking, board):
        board.heat(0, 57.7)
        ticking().call("SetPower", "(d)", 0.4)
        full = board.give(50, 60, watts=0.4)
        board.wait_for(board.contents(full, reduction(57.7, sum(full))))

    def test_light_that_is_off_is_not_written(self, ticking, board, syslog, timeline):
        lamp = ticking("--debug")
        lamp.switch(False)
        board.takes(OFF)
        mark = timeline.now()
        for _ in range(2):
            line = syslog.wait_for(lambda line: line.text.startswith("power_reduce = "), after=mark)
            mark = line.number + 1
        assert board.take() == [""] * 3


class TestFailures:
    def test_board_that_vanishes(self, light, board, sandbox, syslog):
        lamp = light()
        mark = syslog.timeline.now()
        sandbox.path(board.written[1]).unlink()
        lamp.switch(True)
        assert not lamp.is_on()
        assert syslog.texts(after=mark) == [NOT_ACTIVATED]
        assert not sandbox.path(board.written[1]).exists()
