"""The light of three outputs, as the example configures it: what its files of the board hold."""

from __future__ import annotations

import pytest

from beamd_testing import layout, syslog as log
from beamd_testing.boot_parameters import install_boot_parameters
from beamd_testing.bus_client import BusError
from beamd_testing.mcu_outputs import MARK, McuOutputs, numbers, reduction, single
from beamd_testing.services import Controller, Light, events

POE_CLASS = "/var/run/poeclass"
PLENTY = 100.0
DEFAULT_OPTICS = (log.INFO, "No optics bootblock parameter found - using default config")
TERMINATING = (log.INFO, "Terminating")
SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
NOT_ACTIVATED = (log.ERR, "Unable to activate light")
NOT_DEACTIVATED = (log.ERR, "Unable to deactivate light")
NO_BOARD = "No IR light PCB found"
OFF = (0, 0, 0)

Outputs = tuple[int, int, int]


class Tarsil(McuOutputs):
    def __init__(self, sandbox) -> None:
        super().__init__(sandbox, "Tarsil", 3)
        sandbox.write(POE_CLASS, "3")

    def give(
        self, angle: int, intensity: int, watts: float = PLENTY, suffix: str = "", leds=(100, 100)
    ) -> Outputs:
        """What the outputs give by the table, with @p watts: of all their columns the highest that fit."""
        table = self.table(suffix)
        step = int(table["info"]["intensity_div"])
        row = table[table.sections()[1 + angle // int(table["info"]["angle_div"])]]
        cells = [numbers(row[str(column * step)]) for column in range(len(row))]
        columns = [min(intensity, led) // step for led in leds]

        def outputs(limit: int) -> Outputs:
            outer, inner = (cells[min(column, limit)][led] for led, column in enumerate(columns))
            return outer, inner, outer

        fitting = [limit for limit in range(1, intensity // step + 1) if need(outputs(limit)) <= watts]
        return outputs(max(fitting, default=0))

    def takes(self, outputs: Outputs) -> None:
        """Demands that these, and nothing else, have been written since the last look."""
        assert self.take() == records(outputs)

    def takes_nothing(self) -> None:
        assert self.take() == ["", "", ""]


def need(outputs: Outputs) -> float:
    return sum(outputs) * 0.0018


def records(outputs: Outputs) -> list[str]:
    """What is in the files: the text, and zeros up to 12 bytes."""
    return [str(value).ljust(12, "\0") for value in outputs]


def reduced(outputs: Outputs, taken_off: float) -> Outputs:
    """Output 2 carries the share of output 0."""
    first, second, third = outputs
    total = sum(outputs)
    shares = [first / total, second / total, first / total]
    return tuple(max(int(value - int(taken_off) * share), 0) for value, share in zip(outputs, shares))


@pytest.fixture
def board(sandbox, temperature_service, power_daemon) -> Tarsil:
    """The example, its board, and its peers at work."""
    board = Tarsil(sandbox)
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
    def test_files_are_given_to_the_group_of_user_light(self, light, board):
        light()
        for path in board.written:
            assert board.access(path) == (layout.USERS["nobody"][0], layout.USERS["light"][1], 0o664)

    def test_tarsil_is_one_light_of_two_leds(self, light, bus, syslog):
        lamp = light()
        assert Controller(bus.client).lights()[0][:2] == ("led0", "IR")
        assert lamp.get("CardDetected") and lamp.get("CorrectPoe")
        for led in (0, 1):
            assert lamp.call("GetIndividualLEDIntensity", "(is)", led, "manual") == 100
        with pytest.raises(BusError):
            lamp.call("GetIndividualLEDIntensity", "(is)", 2, "manual")
        assert syslog.texts() == [DEFAULT_OPTICS]

    def test_optics_have_a_table_of_their_own(self, light, board, sandbox, syslog):
        install_boot_parameters(sandbox, OPTICS="wide")
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
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
    def test_other_mark_is_no_board_while_everything_else_loads(
        self, daemon, sandbox, bus, board, syslog, mark
    ):
        sandbox.write(MARK, mark)
        daemon()
        with pytest.raises(BusError) as refusal:
            Light(bus.client).switch(True)
        assert (refusal.value.domain, refusal.value.code) == ("light-control-error-quark", 6)
        assert refusal.value.message == NO_BOARD
        assert board.access(board.written[2])[1] == layout.USERS["light"][1]
        assert syslog.texts()[:2] == [(log.INFO, "Could not find MCU driver"), DEFAULT_OPTICS]
        board.takes_nothing()

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

    def test_mark_that_is_lost_is_told_whoever_switches(self, light, sandbox, board, syslog):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.switch(True)
        board.takes(board.give(50, 60))
        sandbox.write(MARK, "0")
        for on, line in [(True, NOT_ACTIVATED), (False, NOT_DEACTIVATED)]:
            mark = syslog.timeline.now()
            with pytest.raises(BusError) as refusal:
                lamp.switch(on)
            assert (refusal.value.code, refusal.value.message) == (6, NO_BOARD)
            assert syslog.texts(after=mark) == [(log.ERR, NO_BOARD), line]
        assert lamp.is_on()
        board.takes_nothing()
        sandbox.write(MARK, "1")

    def test_board_without_a_mark_is_one(self, light, sandbox, board):
        sandbox.path(MARK).unlink()
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        sandbox.write(MARK, "0")
        lamp.switch(True)
        board.takes(board.give(50, 60))


class TestPower:
    def test_dark_until_granted(self, light, board, power_daemon):
        lamp = light()
        lamp.switch(True)
        assert lamp.is_on()
        board.takes(board.give(50, 60, watts=0.0))
        wanted = board.give(50, 60)
        assert power_daemon.requests() == [("led0", "normal", single(need(wanted)))]
        lamp.call("SetPower", "(d)", need(wanted) + 0.001)
        board.takes(wanted)

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
        lamp.call("SetPower", "(d)", need(board.give(50, 60)))
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
            watts = single(need(board.give(angle, intensity)))
            assert power_daemon.requests(mark)[-1] == ("led0", "normal" if watts else "off", watts)

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
    def test_each_angle_and_intensity_finds_its_cell(self, light, board):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.set("AutomaticIntensity", False)
        lamp.switch(True)
        places = [(0, 100), (24, 99), (25, 10), (74, 9), (75, 55), (99, 100), (100, 100), (50, 0)]
        for angle, intensity in places:
            lamp.call("ChangeAngleOfIllumination", "(i)", angle)
            board.forget()
            lamp.call("SetIntensity", "(i)", intensity)
            board.takes(board.give(angle, intensity))

    def test_leds_may_differ(self, light, board):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.set("AutomaticIntensity", False)
        lamp.call("SetIntensity", "(i)", 80)
        lamp.switch(True)
        board.takes(board.give(50, 80))
        lamp.call("SetIndividualLEDIntensity", "(iis)", 0, 30, "manual")
        board.takes(board.give(50, 80, leds=(30, 100)))
        lamp.call("SetIndividualLEDIntensity", "(iis)", 1, 0, "manual")
        board.takes(board.give(50, 80, leds=(30, 0)))
        lamp.call("SetPower", "(d)", 0.05)
        board.takes(board.give(50, 80, watts=0.05, leds=(30, 0)))


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
        board.takes(board.give(50, 60))
        board.heat(1, 200.0)
        board.wait_for(records(OFF))
        board.cool_down()
        board.wait_for(records(board.give(50, 60)))

    @pytest.mark.parametrize("hotter", [0, 1])
    def test_hotter_sensor_takes_its_share_of_all_outputs(self, lit_light, board, hotter):
        board.heat(hotter, 55.3)
        lit_light()
        full = board.give(50, 60)
        expected = reduced(full, reduction(55.3, sum(full)))
        assert all(0 < value < most for value, most in zip(expected, full))
        board.wait_for(records(expected))

    def test_share_is_that_of_what_the_grant_leaves(self, lit_light, board):
        board.heat(0, 57.7)
        lit_light().call("SetPower", "(d)", 0.4)
        full = board.give(50, 60, watts=0.4)
        board.wait_for(records(reduced(full, reduction(57.7, sum(full)))))

    def test_light_that_is_off_is_not_written(self, lit_light, board, syslog, timeline):
        lamp = lit_light("--debug")
        lamp.switch(False)
        board.takes(OFF)
        mark = timeline.now()
        for _ in range(2):
            line = syslog.wait_for(lambda line: line.text.startswith("power_reduce = "), after=mark)
            mark = line.number + 1
        board.takes_nothing()


class TestFailures:
    @pytest.mark.parametrize("broken, written", [(0, []), (2, [0]), (1, [0, 2])])
    def test_write_failure_in_the_middle(
        self, light, board, bus, syslog, power_daemon, timeline, broken, written
    ):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        for on, action, line in [
            (True, "set new value for", NOT_ACTIVATED),
            (False, "disable", NOT_DEACTIVATED),
        ]:
            board.forget()
            board.fill_up(board.written[broken])
            mark = timeline.now()
            lamp.switch(on)
            assert lamp.is_on() is not on
            reason = f"Failed to {action} led {broken}. Error: No space left on device"
            assert syslog.texts(after=mark) == [(log.ERR, reason), line]
            assert power_daemon.requests(mark) == [] and events(bus, mark) == []
            board.mend(board.written[broken])

            new = records(board.give(50, 60) if on else OFF)
            expected = [new[output] if output in written else "" for output in range(3)]
            assert board.take() == expected
            lamp.switch(on)
            assert lamp.is_on() is on
            assert board.take() == new

    def test_board_that_vanishes(self, light, board, sandbox, syslog):
        lamp = light()
        mark = syslog.timeline.now()
        sandbox.path(board.written[1]).unlink()
        lamp.switch(True)
        assert not lamp.is_on()
        assert syslog.texts(after=mark) == [NOT_ACTIVATED]
        assert not sandbox.path(board.written[1]).exists()

    def test_end_of_the_daemon_darkens_the_board(self, daemon, bus, board, syslog):
        running = daemon()
        lamp = Light(bus.client)
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.switch(True)
        board.forget()
        running.stop()
        board.takes(OFF)
        assert syslog.texts() == [DEFAULT_OPTICS, TERMINATING]
