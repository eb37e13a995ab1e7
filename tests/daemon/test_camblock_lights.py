"""What both lights on a camera block do alike: the examples, their registers, power and temperature."""

from __future__ import annotations

import errno

import pytest

from beamd_testing import syslog as log
from beamd_testing.boot_parameters import install_boot_parameters
from beamd_testing.camera_block import (
    ADDRESSED,
    READ_FAILED,
    WRITE_FAILED,
    LedPair,
    ListedLeds,
    enable_register,
    enabled,
    not_opened,
    power_register,
    register_name,
    wait_for_writes,
    write,
)
from beamd_testing.led_board import demand_no_board
from beamd_testing.log_lines import NOT_ACTIVATED, NOT_DEACTIVATED, SETUP_FAILED, TERMINATING
from beamd_testing.services import Controller, Light, announced, events

BOARDS = [ListedLeds, LedPair]


def name(value: object) -> str | None:
    return value.EXAMPLE if value in BOARDS else None


@pytest.fixture(params=BOARDS, ids=name)
def board_type(request) -> type:
    return request.param


each_led = pytest.mark.parametrize(
    "board_type, led", [(board, led) for board in BOARDS for led in range(board.LEDS)], ids=name
)


@pytest.mark.parametrize(
    "board_type, milliwatts, levels", [(ListedLeds, 900, [51, 127, 51]), (LedPair, 600, [76, 76])], ids=name
)
def test_example_works_as_it_is(
    launch, bus, example, devices, power_daemon, syslog, timeline, milliwatts, levels
):
    power_daemon.start()
    running = launch(devices=devices).wait_until_ready()
    controller = Controller(bus.client)
    assert controller.count() == 1 and controller.is_available()
    assert controller.lights()[0][:3] == ("led0", "IR", example.LEDS)
    lamp = Light(bus.client)
    lamp.switch(True)
    [(light_name, mode, watts)] = power_daemon.requests()
    assert (light_name, mode, watts) == ("led0", "normal", pytest.approx(milliwatts * 0.00125))
    mark = timeline.now()
    lamp.call("SetPower", "(d)", watts + 0.001)
    pairs = [[write(0x10 + 2 * led, 1), write(0x11 + 2 * led, level)] for led, level in enumerate(levels)]
    assert devices.register_writes(mark)[: 2 * example.LEDS] == sum(pairs, [])
    mark = timeline.now()
    running.stop()
    assert devices.register_writes(mark)[-example.LEDS :] == example.dark()
    assert syslog.texts() == [TERMINATING]


class TestStart:
    def test_leds_are_switched_off(self, light, board, devices, power_daemon, syslog):
        lamp = light()
        switched_off = [f"write {register_name(enable_register(led))} 0" for led in range(board.LEDS)]
        assert devices.reports() == [*board.PROBE, ADDRESSED, *switched_off]
        assert power_daemon.requests() == [] and len(power_daemon.registrations()) == 1
        assert lamp.get("CardDetected")
        assert syslog.texts() == []

    def test_light_control_that_is_not_enabled(self, light, sandbox, temperature_service, syslog):
        install_boot_parameters(sandbox, LIGHT_CONTROL_ENABLED="no")
        demand_no_board(light())
        assert syslog.texts() == []
        assert temperature_service.calls("GetTemperatureIdFromName") == []

    @pytest.mark.parametrize(
        "file, is_probed", [("camblock.conf", False), ("illumination.conf", True), ("dimming.conf", True)]
    )
    def test_missing_file_ends_the_daemon(self, launch, sandbox, board, devices, syslog, file, is_probed):
        sandbox.path(f"/etc/beamd/{file}").unlink()
        launch(devices=devices).wait_for_exit(1)
        [(priority, complaint), last] = syslog.texts()
        assert priority == log.ERR and complaint.startswith(f"could not open /etc/beamd/{file}: ")
        assert last == SETUP_FAILED
        assert devices.reports() == (board.PROBE if is_probed else [])


class TestSwitching:
    def test_dark_until_granted(self, light, bus, board, devices, power_daemon, timeline, syslog):
        lamp = light()
        mark = timeline.now()
        lamp.switch(True)
        assert lamp.is_on()
        assert devices.register_writes(mark) == board.dark()
        assert power_daemon.requests() == [("led0", "normal", board.need())]
        mark = timeline.now()
        lamp.call("SetPower", "(d)", board.need() + 0.001)
        assert devices.register_writes(mark) == board.lit(was_dark=True)
        assert board.give() == board.FULL

        mark = timeline.now()
        lamp.switch(False)
        assert devices.register_writes(mark) == board.dark()
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]
        assert events(bus, mark) == announced("OFF")
        assert syslog.texts() == []

    def test_each_grant_is_followed(self, lit, board, devices, timeline):
        lamp = lit()
        was_dark = False
        for watts in (1.0, 0.7, 0.31, 0.1, 0.0, 0.4, -1.0, float("nan"), float("inf"), 0.123):
            mark = timeline.now()
            lamp.call("SetPower", "(d)", watts)
            milliwatts = board.give(watts=watts)
            is_lit = sum(milliwatts) > 0
            expected = board.lit(milliwatts, was_dark=was_dark) if is_lit else board.dark()
            assert devices.register_writes(mark) == expected
            was_dark = not is_lit

    def test_intensity_and_angle(self, lit, board, devices, power_daemon, timeline):
        lamp = lit()
        lamp.set("AutomaticIntensity", False)
        for angle, intensity in [(0, 1000), (33, 1000), (50, 777), (51, 330), (99, 3), (100, 1000)]:
            lamp.call("ChangeAngleOfIllumination", "(i)", angle)
            mark = timeline.now()
            lamp.call("SetIntensity", "(i)", intensity)
            intensities = [intensity] * board.LEDS
            assert devices.register_writes(mark) == board.lit(board.give(angle, intensities))
            assert power_daemon.requests(mark) == [("led0", "normal", board.need(angle, intensities))]
        mark = timeline.now()
        lamp.call("SetIntensity", "(i)", 0)
        assert devices.register_writes(mark) == board.dark()
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]

    def test_led_that_is_enabled_is_not_enabled_again(self, light, board, devices, timeline):
        lamp = light()
        lamp.call("SetPower", "(d)", board.PLENTY)
        devices.set_register(0, 0x3A, 5, enable_register(1), 0x100)
        mark = timeline.now()
        lamp.switch(True)
        expected = [each for each in board.lit(was_dark=True) if each != enabled(1)]
        assert devices.register_writes(mark) == expected

    def test_end_of_the_daemon_darkens_the_leds(self, serve, bus, board, devices, syslog, timeline):
        running = serve()
        lamp = Light(bus.client)
        lamp.call("SetPower", "(d)", board.PLENTY)
        lamp.switch(True)
        mark = timeline.now()
        running.stop()
        assert devices.register_writes(mark) == board.dark()
        assert syslog.texts() == [TERMINATING]

    @pytest.mark.parametrize(
        "board_type, told",
        [
            (ListedLeds, ["led 200 (51) ", "led 500 (127) ", "led 200 (51) "]),
            (LedPair, ["led0 300 (76) led1 300 (76)"]),
        ],
        ids=name,
    )
    def test_levels_are_told_in_debug_mode(self, light, board, syslog, told):
        lamp = light("--debug")
        lamp.call("SetPower", "(d)", board.PLENTY)
        mark = syslog.timeline.now()
        lamp.switch(True)
        lines = [line for line in syslog.texts(after=mark) if line[1].startswith("led")]
        assert lines == [(log.INFO, text) for text in told]


class TestTemperature:
    def test_warm_board_takes_its_share_of_all_leds(self, ticking, board, devices, timeline):
        board.heat(0, 55.3)
        ticking()
        wait_for_writes(devices, board.lit(reduction=board.reduction(55.3)), timeline.now())

    @pytest.mark.parametrize("board_type, two_leds", [(ListedLeds, 700.0), (LedPair, 600.0)], ids=name)
    @pytest.mark.memcheck
    def test_hot_board_takes_what_two_leds_give_and_cools_down(
        self, ticking, board, devices, timeline, two_leds
    ):
        ticking()
        board.heat(0, 500.0)
        wait_for_writes(devices, board.lit(reduction=two_leds), timeline.now())
        board.heat(0, -500.0)
        wait_for_writes(devices, board.lit(), timeline.now())

    def test_grant_is_the_reference(self, ticking, board, devices, timeline):
        board.heat(0, 57.7)
        lamp = ticking()
        lamp.call("SetPower", "(d)", 0.5)
        milliwatts = board.give(watts=0.5)
        reduction = board.reduction(57.7, milliwatts)
        wait_for_writes(devices, board.lit(milliwatts, reduction=reduction), timeline.now())

    def test_light_that_is_off_is_not_written(self, ticking, devices, syslog, timeline):
        ticking("--debug").switch(False)
        mark = now = timeline.now()
        for _ in range(2):
            line = syslog.wait_for(lambda line: line.text.startswith("power_reduce = "), after=now)
            now = line.number + 1
        assert devices.register_writes(mark) == []

    def test_sensor_that_cannot_be_read(self, ticking, board, devices, syslog, timeline):
        board.break_sensor(0)
        ticking("--debug")
        syslog.wait_for((log.WARNING, "Could not read temperature"))
        syslog.wait_for((log.INFO, "power_reduce = 0.00, temp = -9999.00"))
        wait_for_writes(devices, board.lit(), timeline.now())

    def test_tick_that_fails_is_made_up_for_by_the_next(self, ticking, board, devices, syslog, timeline):
        ticking()
        devices.fail("transfer", errno.EIO)
        syslog.wait_for((log.ERR, board.read_failure(0)))
        devices.fail("transfer", 0)
        wait_for_writes(devices, board.lit(), timeline.now())


class TestFailures:
    @pytest.fixture
    def given(self, light, board):
        """The dark light with power for all LEDs."""
        lamp = light()
        lamp.call("SetPower", "(d)", board.PLENTY)
        return lamp

    def demand_no_announcement(self, bus, power_daemon, mark: int) -> None:
        assert power_daemon.requests(mark) == [] and events(bus, mark) == []

    @each_led
    @pytest.mark.parametrize(
        "failing, line, kept",
        [
            ("reading enable", READ_FAILED, 0),
            ("writing enable", WRITE_FAILED, 0),
            ("writing power", WRITE_FAILED, 1),
        ],
    )
    def test_led_that_cannot_be_switched_on_ends_it(
        self, given, bus, board, devices, power_daemon, syslog, timeline, led, failing, line, kept
    ):
        direction, register = failing.split()
        number = enable_register(led) if register == "enable" else power_register(led)
        devices.fail(f"{direction} {register_name(number)}", errno.EIO)
        mark = timeline.now()
        given.switch(True)
        assert not given.is_on()
        expected = board.lit(was_dark=True)
        assert devices.register_writes(mark) == expected[: 2 * led + kept]
        complaint = board.read_failure(led) if direction == "reading" else board.write_failure(led, on=True)
        assert syslog.texts(after=mark) == [line, (log.ERR, complaint), NOT_ACTIVATED]
        self.demand_no_announcement(bus, power_daemon, mark)

        devices.fail(f"{direction} {register_name(number)}", 0)
        mark = timeline.now()
        given.switch(True)
        assert given.is_on()
        are_enabled = [enabled(each) for each in range(led + kept)]
        assert devices.register_writes(mark) == [each for each in expected if each not in are_enabled]

    @each_led
    def test_led_that_cannot_be_switched_off_ends_it(
        self, lit, bus, board, devices, power_daemon, syslog, timeline, led
    ):
        lamp = lit()
        devices.fail(f"writing {register_name(enable_register(led))}", errno.EIO)
        mark = timeline.now()
        lamp.switch(False)
        assert lamp.is_on()
        assert devices.register_writes(mark) == board.dark()[:led]
        complaint = (log.ERR, board.write_failure(led, on=False))
        assert syslog.texts(after=mark) == [WRITE_FAILED, complaint, NOT_DEACTIVATED]
        self.demand_no_announcement(bus, power_daemon, mark)

        devices.fail(f"writing {register_name(enable_register(led))}", 0)
        mark = timeline.now()
        lamp.switch(False)
        assert not lamp.is_on()
        assert devices.register_writes(mark) == board.dark()

    @pytest.mark.parametrize("request_name, asked", [("funcs", "I2C_FUNCS"), ("slave", "I2C_SLAVE_FORCE")])
    @pytest.mark.parametrize("on", [True, False])
    def test_bus_that_refuses(self, given, devices, syslog, timeline, request_name, asked, on):
        given.switch(not on)
        devices.fail(request_name, errno.EIO)
        mark = timeline.now()
        given.switch(on)
        assert given.is_on() is not on
        refused = (log.ERR, f"Error {asked} Input/output error : res = -1")
        failed = (log.ERR, "Failed to open device Input/output error")
        last = NOT_ACTIVATED if on else NOT_DEACTIVATED
        assert syslog.texts(after=mark) == [refused, failed, last]
        assert devices.register_writes(mark) == []

    def test_bus_that_user_light_may_not_open(self, given, board, syslog, timeline):
        board.allow("root")
        mark = timeline.now()
        given.switch(True)
        assert not given.is_on()
        assert syslog.texts(after=mark) == [*not_opened("Permission denied"), NOT_ACTIVATED]
        board.allow("lightfiles")
        given.switch(True)
        assert given.is_on()

    def test_grant_that_does_not_arrive_is_made_up_for_by_the_next(
        self, lit, board, devices, syslog, timeline
    ):
        lamp = lit()
        devices.fail(f"writing {register_name(power_register(1))}", errno.EIO)
        mark = timeline.now()
        lamp.call("SetPower", "(d)", 0.5)
        assert lamp.is_on()
        lower = board.lit(board.give(watts=0.5))
        assert devices.register_writes(mark) == lower[:1]
        assert syslog.texts(after=mark) == [WRITE_FAILED, (log.ERR, board.write_failure(1, on=True))]
        devices.fail(f"writing {register_name(power_register(1))}", 0)
        mark = timeline.now()
        lamp.call("SetPower", "(d)", 0.5)
        assert devices.register_writes(mark) == lower
