"""The light on a camera block whose LEDs are listed one by one: the example, its registers, power and temperature."""

from __future__ import annotations

import errno

import pytest

from beamd_testing import syslog as log
from beamd_testing.boot_parameters import install_boot_parameters
from beamd_testing.bus_client import BusError
from beamd_testing.camera_block import (
    ADDRESSED,
    DEVICE,
    PLENTY,
    CameraBlock,
    dark,
    enable_register,
    enabled,
    power_register,
    register_name,
    write,
)
from beamd_testing.configuration import beamd_conf
from beamd_testing.installation import BEAMD_CONF, install_light
from beamd_testing.services import Controller, Light, announced, events

LEDS = range(3)
HALF = [500, 500, 500]  # the example's intensity
SENSORS = {"IlluminationBoard": 0, "IlluminationDriver": 1, "IlluminationLens": 2}
OFF = dark(LEDS)

TERMINATING = (log.INFO, "Terminating")
NOT_ACTIVATED = (log.ERR, "Unable to activate light")
NOT_DEACTIVATED = (log.ERR, "Unable to deactivate light")
SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
NO_HARDWARE = (log.INFO, "Could not find MCU hardware")
NO_BUS = (log.ERR, f"Error opening i2c device. No such file or directory. Path: {DEVICE}")
READ_FAILED = (log.ERR, "read_reg(read): ret = -1, Input/output error")
WRITE_FAILED = (log.ERR, "write_reg(read): ret = -1, Input/output error")


@pytest.fixture
def example(sandbox, devices, temperature_service, power_daemon) -> CameraBlock:
    """The example without a change, and its peers at work."""
    temperature_service.set_sensors(SENSORS)
    temperature_service.start()
    power_daemon.start()
    return CameraBlock(sandbox, devices, "LEDCAMBLOCKI2C")


@pytest.fixture
def block(example) -> CameraBlock:
    """No tick of the regulator comes in between unless that is what is tested."""
    example.configure("dimming.conf", sample_time=3600)
    return example


@pytest.fixture
def light(launch, bus, block, devices):
    """The light, served: dark, and without a grant."""

    def light(*options: str) -> Light:
        launch(argv=["--no-daemon", *options], devices=devices).wait_until_ready()
        return Light(bus.client)

    return light


@pytest.fixture
def lit(light):
    """The light when it is on, with more power than it asks for."""

    def lit(*options: str) -> Light:
        lamp = light(*options)
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.switch(True)
        return lamp

    return lit


def refuses(lamp: Light) -> None:
    assert not lamp.get("CardDetected")
    with pytest.raises(BusError) as refusal:
        lamp.switch(True)
    assert (refusal.value.domain, refusal.value.code) == ("light-control-error-quark", 6)
    assert refusal.value.message == "No IR light PCB found"


def test_example_works_as_it_is(launch, bus, example, devices, power_daemon, syslog, timeline):
    running = launch(devices=devices).wait_until_ready()
    controller = Controller(bus.client)
    assert controller.count() == 1 and controller.is_available()
    assert controller.lights()[0][:3] == ("led0", "IR", 3)
    lamp = Light(bus.client)
    lamp.switch(True)
    [(name, mode, watts)] = power_daemon.requests()
    assert (name, mode, watts) == ("led0", "normal", pytest.approx(900 * 0.00125))
    mark = timeline.now()
    lamp.call("SetPower", "(d)", watts + 0.001)
    levels = [(0x10, 1), (0x11, 51), (0x12, 1), (0x13, 127), (0x14, 1), (0x15, 51)]
    assert example.writes(mark)[:6] == [write(register, value) for register, value in levels]
    mark = timeline.now()
    running.stop()
    assert example.writes(mark)[-3:] == OFF
    assert syslog.texts() == [TERMINATING]


class TestStart:
    def test_each_led_is_asked_and_switched_off(self, light, devices, power_daemon, syslog):
        light()
        switched_off = [f"write {register_name(enable_register(led))} 0" for led in LEDS]
        assert devices.reports() == [ADDRESSED, ADDRESSED, *switched_off]
        assert power_daemon.requests() == [] and len(power_daemon.registrations()) == 1
        assert syslog.texts() == []

    @pytest.mark.parametrize(
        "request_name, error, complaint",
        [
            ("funcs", errno.EIO, "Error I2C_FUNCS Input/output error : res = -1"),
            ("slave", errno.EBUSY, "Error I2C_SLAVE_FORCE Device or resource busy : res = -1"),
        ],
    )
    def test_bus_that_refuses(self, light, devices, syslog, request_name, error, complaint):
        devices.fail(request_name, error)
        refuses(light())
        assert syslog.texts() == [(log.ERR, complaint), NO_HARDWARE]
        assert devices.register_writes() == []

    @pytest.mark.parametrize("led", LEDS)
    def test_led_that_does_not_answer(self, light, devices, syslog, led):
        devices.fail(f"reading {register_name(enable_register(led))}", errno.EIO)
        refuses(light())
        assert syslog.texts() == [READ_FAILED, (log.ERR, f"Failure to access led:{led}"), NO_HARDWARE]
        assert devices.register_writes() == []

    def test_missing_bus_leaves_another_light(self, launch, sandbox, bus, block, devices, syslog):
        sandbox.path(DEVICE).unlink()
        sandbox.write(BEAMD_CONF, beamd_conf(["LEDCAMBLOCKI2C", "Dummy"]))
        install_light(sandbox, 1)
        sandbox.write("/sys/devices/illumination/QXID", "1")
        running = launch(devices=devices).wait_until_ready()
        assert syslog.texts() == [NO_BUS, NO_HARDWARE]
        refuses(Light(bus.client))
        other = Light(bus.client, 1)
        other.switch(True)
        assert other.is_on() and other.get("CardDetected")
        running.stop()
        assert devices.reports() == []

    def test_light_control_that_is_not_enabled(self, light, sandbox, block, temperature_service, syslog):
        install_boot_parameters(sandbox, LIGHT_CONTROL_ENABLED="no")
        refuses(light())
        assert syslog.texts() == []
        assert temperature_service.calls("GetTemperatureIdFromName") == []

    @pytest.mark.parametrize("name", ["camblock.conf", "illumination.conf", "dimming.conf"])
    def test_missing_file_ends_the_daemon(self, launch, sandbox, block, devices, syslog, name):
        sandbox.path(f"/etc/beamd/{name}").unlink()
        launch(devices=devices).wait_for_exit(1)
        [(priority, complaint), last] = syslog.texts()
        assert priority == log.ERR and complaint.startswith(f"could not open /etc/beamd/{name}: ")
        assert last == SETUP_FAILED
        assert devices.register_writes() == []

    @pytest.mark.parametrize(
        "key, complaint",
        [
            ("camblockI2Cbus", "Could not read param 'camblockI2Cbus'"),
            ("camblockI2Caddress", "Could not read param 'camblockI2Caddress'"),
            ("camblocksubdevice", "Could not read param 'camblocksubdevice'"),
        ],
    )
    def test_missing_key_ends_the_daemon(self, launch, block, devices, syslog, key, complaint):
        block.remove("camblock.conf", key)
        launch(devices=devices).wait_for_exit(1)
        assert syslog.texts() == [(log.ERR, complaint), SETUP_FAILED]

    def test_fewer_sensors_than_leds(self, light, block, syslog):
        block.remove("dimming.conf", "temp_sensor_id3")
        light()
        assert syslog.texts() == [(log.WARNING, "Expected at most 3 temperature sensors, but found 2.")]


class TestSwitching:
    def test_dark_until_granted(self, light, bus, block, power_daemon, timeline, syslog):
        lamp = light()
        mark = timeline.now()
        lamp.switch(True)
        assert lamp.is_on()
        assert block.writes(mark) == OFF
        assert power_daemon.requests() == [("led0", "normal", block.need(50, HALF))]
        mark = timeline.now()
        lamp.call("SetPower", "(d)", block.need(50, HALF) + 0.001)
        assert block.writes(mark) == block.lit([200, 500, 200], were_dark=True)
        assert block.milliwatts(50, HALF) == [200, 500, 200]

        mark = timeline.now()
        lamp.switch(False)
        assert block.writes(mark) == OFF
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]
        assert events(bus, mark) == announced("OFF")
        assert syslog.texts() == []

    def test_each_grant_is_followed(self, lit, block, timeline):
        lamp = lit()
        was_dark = False
        for watts in (1.0, 0.7, 0.31, 0.1, 0.0, 0.4, -1.0, float("nan"), float("inf"), 0.123):
            mark = timeline.now()
            lamp.call("SetPower", "(d)", watts)
            milliwatts = block.milliwatts(50, HALF, watts)
            is_lit = sum(milliwatts) > 0
            assert block.writes(mark) == (block.lit(milliwatts, were_dark=was_dark) if is_lit else OFF)
            was_dark = not is_lit

    def test_intensity_and_angle(self, lit, block, power_daemon, timeline):
        lamp = lit()
        lamp.set("AutomaticIntensity", False)
        for angle, intensity in [(0, 1000), (33, 1000), (50, 777), (51, 330), (99, 3), (100, 1000)]:
            lamp.call("ChangeAngleOfIllumination", "(i)", angle)
            mark = timeline.now()
            lamp.call("SetIntensity", "(i)", intensity)
            intensities = [intensity] * 3
            assert block.writes(mark) == block.lit(block.milliwatts(angle, intensities))
            assert power_daemon.requests(mark) == [("led0", "normal", block.need(angle, intensities))]
        mark = timeline.now()
        lamp.call("SetIntensity", "(i)", 0)
        assert block.writes(mark) == OFF
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]

    def test_leds_may_differ(self, lit, block, timeline):
        lamp = lit()
        lamp.set("AutomaticIntensity", False)
        lamp.call("SetIndividualLEDIntensity", "(iis)", 1, 330, "manual")
        mark = timeline.now()
        lamp.call("SetIndividualLEDIntensity", "(iis)", 2, 0, "manual")
        assert block.writes(mark) == block.lit(block.milliwatts(50, [1000, 330, 0]))

    def test_led_that_is_enabled_is_not_enabled_again(self, light, block, devices, timeline):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        devices.set_register(0, 0x3A, 5, enable_register(1), 0x100)
        mark = timeline.now()
        lamp.switch(True)
        all_writes = block.lit([200, 500, 200], were_dark=True)
        assert block.writes(mark) == [each for each in all_writes if each != enabled(1)]

    def test_end_of_the_daemon_darkens_the_leds(self, launch, bus, block, devices, syslog, timeline):
        running = launch(devices=devices).wait_until_ready()
        lamp = Light(bus.client)
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.switch(True)
        mark = timeline.now()
        running.stop()
        assert block.writes(mark) == OFF
        assert syslog.texts() == [TERMINATING]

    def test_levels_are_told_in_debug_mode(self, light, syslog):
        lamp = light("--debug")
        lamp.call("SetPower", "(d)", PLENTY)
        mark = syslog.timeline.now()
        lamp.switch(True)
        told = [text for _, text in syslog.texts(after=mark) if text.startswith("led ")]
        assert told == ["led 200 (51) ", "led 500 (127) ", "led 200 (51) "]


class TestTemperature:
    @pytest.fixture
    def ticking(self, lit, block):
        """The lit light with a tick each second, of a regulator without memory."""

        def ticking(*options: str) -> Light:
            block.configure("dimming.conf", sample_time=1, k_i=0)
            return lit(*options)

        return ticking

    def test_warm_board_takes_its_share_of_all_leds(self, ticking, block, timeline):
        block.heat(55.3)
        ticking()
        milliwatts = [200, 500, 200]
        block.wait_for(block.lit(milliwatts, block.reduction(milliwatts, 55.3)), timeline.now())

    def test_hot_board_takes_what_two_leds_give_and_cools_down(self, ticking, block, timeline):
        ticking()
        block.heat(500.0)
        block.wait_for(block.lit([200, 500, 200], 700.0), timeline.now())
        block.heat(-500.0)
        block.wait_for(block.lit([200, 500, 200]), timeline.now())

    def test_grant_is_the_reference(self, ticking, block, timeline):
        block.heat(57.7)
        lamp = ticking()
        lamp.call("SetPower", "(d)", 0.5)
        milliwatts = block.milliwatts(50, HALF, 0.5)
        block.wait_for(block.lit(milliwatts, block.reduction(milliwatts, 57.7)), timeline.now())

    def test_light_that_is_off_is_not_written(self, ticking, block, syslog, timeline):
        ticking("--debug").switch(False)
        mark = now = timeline.now()
        for _ in range(2):
            line = syslog.wait_for(lambda line: line.text.startswith("power_reduce = "), after=now)
            now = line.number + 1
        assert block.writes(mark) == []

    def test_sensor_that_cannot_be_read(self, ticking, block, sandbox, syslog, timeline):
        sandbox.path("/sys/class/thermal/thermal_zone0/temp").unlink()
        ticking("--debug")
        syslog.wait_for((log.WARNING, "Could not read temperature"))
        syslog.wait_for((log.INFO, "power_reduce = 0.00, temp = -9999.00"))
        block.wait_for(block.lit([200, 500, 200]), timeline.now())

    def test_tick_that_fails_is_made_up_for_by_the_next(self, ticking, block, devices, syslog, timeline):
        ticking()
        devices.fail("transfer", errno.EIO)
        syslog.wait_for((log.ERR, "Read failure to led:0"))
        devices.fail("transfer", 0)
        block.wait_for(block.lit([200, 500, 200]), timeline.now())


class TestFailures:
    @pytest.fixture
    def given(self, light):
        """The dark light with power for all LEDs."""
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        return lamp

    def demand_no_announcement(self, bus, power_daemon, mark: int) -> None:
        assert power_daemon.requests(mark) == [] and events(bus, mark) == []

    @pytest.mark.parametrize("led", LEDS)
    @pytest.mark.parametrize(
        "failing, lines, kept",
        [
            ("reading enable", [READ_FAILED, "Read failure to led:"], 0),
            ("writing enable", [WRITE_FAILED, "Write failure to led:"], 0),
            ("writing power", [WRITE_FAILED, "Write failure to led:"], 1),
        ],
    )
    def test_led_that_cannot_be_switched_on_ends_it(
        self, given, bus, block, devices, power_daemon, syslog, timeline, led, failing, lines, kept
    ):
        direction, register = failing.split()
        number = enable_register(led) if register == "enable" else power_register(led)
        devices.fail(f"{direction} {register_name(number)}", errno.EIO)
        mark = timeline.now()
        given.switch(True)
        assert not given.is_on()
        expected = block.lit([200, 500, 200], were_dark=True)
        assert block.writes(mark) == expected[: 2 * led + kept]
        assert syslog.texts(after=mark) == [lines[0], (log.ERR, f"{lines[1]}{led}"), NOT_ACTIVATED]
        self.demand_no_announcement(bus, power_daemon, mark)

        devices.fail(f"{direction} {register_name(number)}", 0)
        mark = timeline.now()
        given.switch(True)
        assert given.is_on()
        are_enabled = [enabled(each) for each in range(led + kept)]
        assert block.writes(mark) == [each for each in expected if each not in are_enabled]

    @pytest.mark.parametrize("led", LEDS)
    def test_led_that_cannot_be_switched_off_ends_it(
        self, lit, bus, block, devices, power_daemon, syslog, timeline, led
    ):
        lamp = lit()
        devices.fail(f"writing {register_name(enable_register(led))}", errno.EIO)
        mark = timeline.now()
        lamp.switch(False)
        assert lamp.is_on()
        assert block.writes(mark) == OFF[:led]
        complaint = (log.ERR, f"Write failure shut to LED:{led}")
        assert syslog.texts(after=mark) == [WRITE_FAILED, complaint, NOT_DEACTIVATED]
        self.demand_no_announcement(bus, power_daemon, mark)

        devices.fail(f"writing {register_name(enable_register(led))}", 0)
        mark = timeline.now()
        lamp.switch(False)
        assert not lamp.is_on()
        assert block.writes(mark) == OFF

    @pytest.mark.parametrize("request_name, asked", [("funcs", "I2C_FUNCS"), ("slave", "I2C_SLAVE_FORCE")])
    @pytest.mark.parametrize("on", [True, False])
    def test_bus_that_refuses(self, given, devices, syslog, timeline, request_name, asked, on):
        given.switch(not on)
        devices.fail(request_name, errno.EIO)
        mark = timeline.now()
        given.switch(on)
        assert given.is_on() is not on
        refused = (log.ERR, f"Error {asked} Input/output error : res = -1")
        not_opened = (log.ERR, "Failed to open device Input/output error")
        last = NOT_ACTIVATED if on else NOT_DEACTIVATED
        assert syslog.texts(after=mark) == [refused, not_opened, last]
        assert devices.register_writes(mark) == []

    def test_bus_that_user_light_may_not_open(self, block, given, syslog, timeline):
        block.allow("root")
        mark = timeline.now()
        given.switch(True)
        assert not given.is_on()
        assert syslog.texts(after=mark) == [
            (log.ERR, f"Error opening i2c device. Permission denied. Path: {DEVICE}"),
            (log.ERR, "Failed to open device Permission denied"),
            NOT_ACTIVATED,
        ]
        block.allow("lightfiles")
        given.switch(True)
        assert given.is_on()

    def test_grant_that_does_not_arrive_is_made_up_for_by_the_next(self, lit, block, devices, syslog, timeline):
        lamp = lit()
        devices.fail(f"writing {register_name(power_register(1))}", errno.EIO)
        mark = timeline.now()
        lamp.call("SetPower", "(d)", 0.5)
        assert lamp.is_on()
        lower = block.lit(block.milliwatts(50, HALF, 0.5))
        assert block.writes(mark) == lower[:1]
        assert syslog.texts(after=mark) == [WRITE_FAILED, (log.ERR, "Write failure to led:1")]
        devices.fail(f"writing {register_name(power_register(1))}", 0)
        mark = timeline.now()
        lamp.call("SetPower", "(d)", 0.5)
        assert block.writes(mark) == lower
