"""The light of two LEDs on a camera block: the example, its registers, power and temperature."""

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

LEDS = range(2)
HALF = [500, 500]  # the example's intensity
OFF = dark(LEDS)

TERMINATING = (log.INFO, "Terminating")
NOT_ACTIVATED = (log.ERR, "Unable to activate light")
NOT_DEACTIVATED = (log.ERR, "Unable to deactivate light")
SETUP_FAILED = (log.ERR, "LightController setup failed...exiting")
READ_FAILED = (log.ERR, "read_reg(read): ret = -1, Input/output error")
WRITE_FAILED = (log.ERR, "write_reg(read): ret = -1, Input/output error")
DEVICE_KEYS = ["camblockI2Cbus", "camblockI2Caddress", "camblocksubdevice"]
KEYS = [
    *DEVICE_KEYS,
    "camblocksubdevice_led0_enable_disable_reg",
    "camblocksubdevice_led0_power_reg",
    "camblocksubdevice_led1_enable_disable_reg",
    "camblocksubdevice_led1_power_reg",
]


def not_opened(reason: str) -> list[tuple[int, str]]:
    return [
        (log.ERR, f"Error opening i2c device. {reason}. Path: {DEVICE}"),
        (log.ERR, f"Failed to open device {reason}"),
    ]


@pytest.fixture
def example(sandbox, devices, temperature_service, power_daemon) -> CameraBlock:
    """The example without a change, and its peers at work."""
    temperature_service.set_sensors({"IlluminationBoard": 0})
    temperature_service.start()
    power_daemon.start()
    return CameraBlock(sandbox, devices, "LED2CAMBLOCKI2C")


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


def test_example_works_as_it_is(launch, bus, example, devices, power_daemon, syslog, timeline):
    running = launch(devices=devices).wait_until_ready()
    controller = Controller(bus.client)
    assert controller.count() == 1 and controller.is_available()
    assert controller.lights()[0][:3] == ("led0", "IR", 2)
    lamp = Light(bus.client)
    lamp.switch(True)
    [(name, mode, watts)] = power_daemon.requests()
    assert (name, mode, watts) == ("led0", "normal", pytest.approx(600 * 0.00125))
    mark = timeline.now()
    lamp.call("SetPower", "(d)", watts + 0.001)
    levels = [(0x10, 1), (0x11, 76), (0x12, 1), (0x13, 76)]
    assert example.writes(mark)[:4] == [write(register, value) for register, value in levels]
    mark = timeline.now()
    running.stop()
    assert example.writes(mark)[-2:] == OFF
    assert syslog.texts() == [TERMINATING]


class TestStart:
    def test_leds_are_switched_off_and_not_asked(self, light, devices, power_daemon, syslog):
        for led in LEDS:
            devices.fail(f"reading {register_name(enable_register(led))}", errno.EIO)
        lamp = light()
        switched_off = [f"write {register_name(enable_register(led))} 0" for led in LEDS]
        assert devices.reports() == [ADDRESSED, *switched_off]
        assert power_daemon.requests() == [] and len(power_daemon.registrations()) == 1
        assert lamp.get("CardDetected")
        assert syslog.texts() == []

    def test_missing_bus_is_told_by_switching_and_leaves_another_light(
        self, launch, sandbox, bus, block, devices, syslog, timeline
    ):
        sandbox.path(DEVICE).unlink()
        sandbox.write(BEAMD_CONF, beamd_conf(["LED2CAMBLOCKI2C", "Dummy"]))
        install_light(sandbox, 1)
        sandbox.write("/sys/devices/illumination/QXID", "1")
        launch(devices=devices).wait_until_ready()
        assert syslog.texts() == [*not_opened("No such file or directory"), NOT_DEACTIVATED]
        lamp, other = Light(bus.client), Light(bus.client, 1)
        assert lamp.get("CardDetected")
        mark = timeline.now()
        lamp.switch(True)
        assert not lamp.is_on()
        assert syslog.texts(after=mark) == [*not_opened("No such file or directory"), NOT_ACTIVATED]
        other.switch(True)
        assert other.is_on()
        assert devices.reports() == []

    def test_light_control_that_is_not_enabled(self, light, sandbox, block, temperature_service, syslog):
        install_boot_parameters(sandbox, LIGHT_CONTROL_ENABLED="no")
        lamp = light()
        assert not lamp.get("CardDetected")
        with pytest.raises(BusError) as refusal:
            lamp.switch(True)
        assert (refusal.value.code, refusal.value.message) == (6, "No IR light PCB found")
        assert syslog.texts() == []
        assert temperature_service.calls("GetTemperatureIdFromName") == []

    @pytest.mark.parametrize("name", ["camblock.conf", "illumination.conf", "dimming.conf"])
    def test_missing_file_ends_the_daemon(self, launch, sandbox, block, devices, syslog, name):
        sandbox.path(f"/etc/beamd/{name}").unlink()
        launch(devices=devices).wait_for_exit(1)
        [(priority, complaint), last] = syslog.texts()
        assert priority == log.ERR and complaint.startswith(f"could not open /etc/beamd/{name}: ")
        assert last == SETUP_FAILED
        assert devices.reports() == []

    @pytest.mark.parametrize("key", KEYS)
    def test_light_without_a_key_is_there_and_stays_dark(
        self, light, block, temperature_service, syslog, timeline, key
    ):
        block.remove("camblock.conf", key)
        lamp = light()
        first, *others = syslog.texts()
        assert first[0] == log.ERR and first[1].startswith(f"Failed to get {key} from file: Key file does not have ")
        no_device = [(log.ERR, "Failed to open device No such device")] if key in DEVICE_KEYS else []
        assert others == [*no_device, *[NOT_DEACTIVATED for _ in no_device]]
        assert lamp.get("CardDetected")
        assert temperature_service.calls("GetTemperatureIdFromName") == []

        lamp.call("SetPower", "(d)", PLENTY)
        mark = timeline.now()
        lamp.switch(True)
        assert lamp.is_on() is not bool(no_device)
        assert all(each[-1] == 0 for each in block.writes(mark))
        assert syslog.texts(after=mark) == [*no_device, *[NOT_ACTIVATED for _ in no_device]]

    def test_more_than_one_sensor(self, light, sandbox, syslog):
        text = sandbox.read("/etc/beamd/dimming.conf")
        sandbox.write("/etc/beamd/dimming.conf", f"{text}temp_sensor_id2=IlluminationBoard\n")
        light()
        assert syslog.texts() == [(log.WARNING, "Expected at most 1 temperature sensor, but found 2.")]


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
        assert block.writes(mark) == block.lit([300, 300], were_dark=True)
        assert block.milliwatts(50, HALF) == [300, 300]

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
            intensities = [intensity] * 2
            assert block.writes(mark) == block.lit(block.milliwatts(angle, intensities))
            assert power_daemon.requests(mark) == [("led0", "normal", block.need(angle, intensities))]
        mark = timeline.now()
        lamp.call("SetIntensity", "(i)", 0)
        assert block.writes(mark) == OFF
        assert power_daemon.requests(mark) == [("led0", "off", 0.0)]

    def test_leds_may_differ(self, light, block, timeline):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        lamp.set("AutomaticIntensity", False)
        lamp.call("SetIndividualLEDIntensity", "(iis)", 0, 500, "manual")
        lamp.call("SetIndividualLEDIntensity", "(iis)", 1, 0, "manual")
        mark = timeline.now()
        lamp.switch(True)
        assert block.milliwatts(50, [500, 0]) == [300, 0]
        assert block.writes(mark) == [enabled(0), write(0x11, 76), enabled(1), write(0x13, 0)]

    def test_led_that_is_enabled_is_not_enabled_again(self, light, block, devices, timeline):
        lamp = light()
        lamp.call("SetPower", "(d)", PLENTY)
        devices.set_register(0, 0x3A, 5, enable_register(1), 0x100)
        mark = timeline.now()
        lamp.switch(True)
        all_writes = block.lit([300, 300], were_dark=True)
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
        assert (log.INFO, "led0 300 (76) led1 300 (76)") in syslog.texts(after=mark)


class TestTemperature:
    @pytest.fixture
    def ticking(self, lit, block):
        """The lit light with a tick each second, of a regulator without memory."""

        def ticking(*options: str) -> Light:
            block.configure("dimming.conf", sample_time=1, k_i=0)
            return lit(*options)

        return ticking

    def test_warm_board_takes_its_share_of_both_leds(self, ticking, block, timeline):
        block.heat(55.3)
        ticking()
        milliwatts = [300, 300]
        block.wait_for(block.lit(milliwatts, block.reduction(milliwatts, 55.3)), timeline.now())

    def test_hot_board_is_dark_and_shines_again_when_it_has_cooled_down(self, ticking, block, timeline):
        ticking()
        block.heat(500.0)
        block.wait_for(block.lit([300, 300], 600.0), timeline.now())
        block.heat(-500.0)
        block.wait_for(block.lit([300, 300]), timeline.now())

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
        block.wait_for(block.lit([300, 300]), timeline.now())

    def test_tick_that_fails_is_made_up_for_by_the_next(self, ticking, block, devices, syslog, timeline):
        ticking()
        devices.fail("transfer", errno.EIO)
        syslog.wait_for((log.ERR, "Write failure to led 0"))
        devices.fail("transfer", 0)
        block.wait_for(block.lit([300, 300]), timeline.now())


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
        "failing, line, kept",
        [
            ("reading enable", READ_FAILED, 0),
            ("writing enable", WRITE_FAILED, 0),
            ("writing power", WRITE_FAILED, 1),
        ],
    )
    def test_led_that_cannot_be_switched_on_ends_it(
        self, given, bus, block, devices, power_daemon, syslog, timeline, led, failing, line, kept
    ):
        direction, register = failing.split()
        number = enable_register(led) if register == "enable" else power_register(led)
        devices.fail(f"{direction} {register_name(number)}", errno.EIO)
        mark = timeline.now()
        given.switch(True)
        assert not given.is_on()
        expected = block.lit([300, 300], were_dark=True)
        assert block.writes(mark) == expected[: 2 * led + kept]
        assert syslog.texts(after=mark) == [line, (log.ERR, f"Write failure to led {led}"), NOT_ACTIVATED]
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
        complaint = (log.ERR, f"Write failure shut to LED {led}")
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
        failed = (log.ERR, "Failed to open device Input/output error")
        last = NOT_ACTIVATED if on else NOT_DEACTIVATED
        assert syslog.texts(after=mark) == [refused, failed, last]
        assert devices.register_writes(mark) == []

    def test_bus_that_user_light_may_not_open(self, block, given, syslog, timeline):
        block.allow("root")
        mark = timeline.now()
        given.switch(True)
        assert not given.is_on()
        assert syslog.texts(after=mark) == [*not_opened("Permission denied"), NOT_ACTIVATED]
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
        assert syslog.texts(after=mark) == [WRITE_FAILED, (log.ERR, "Write failure to led 1")]
        devices.fail(f"writing {register_name(power_register(1))}", 0)
        mark = timeline.now()
        lamp.call("SetPower", "(d)", 0.5)
        assert block.writes(mark) == lower
