"""The example configurations work as they are."""

from __future__ import annotations

import pytest

from beamd_testing import syslog as log
from beamd_testing.installation import install_example
from beamd_testing.led_board import LedBoard
from beamd_testing.mcu_board import McuBoard
from beamd_testing.mcu_outputs import McuOutputs
from beamd_testing.services import Controller, Light, events

def test_dummy(daemon, sandbox, bus, syslog):
    install_example(sandbox, "Dummy")
    running = daemon()
    controller = Controller(bus.client)
    assert controller.count() == 2 and controller.is_available()
    assert [each[:2] for each in controller.lights()] == [("led0", "IR"), ("led1", "White")]
    for number in range(2):
        light = Light(bus.client, number)
        assert not light.is_on()
        light.switch(True)
        assert light.is_on()
    assert [content["state"] for _, content in events(bus)] == ["ON"] * 4
    running.stop()
    assert syslog.texts() == [(log.INFO, "Terminating")]


def test_led1i2c(daemon, sandbox, bus, syslog, temperature_service, power_daemon):
    install_example(sandbox, "LED1I2C")
    board = McuBoard(sandbox)
    temperature_service.set_sensors({"IlluminationBoard": 0})
    temperature_service.start()
    power_daemon.start()
    running = daemon()
    controller = Controller(bus.client)
    assert controller.count() == 1 and controller.is_available()
    assert controller.lights()[0][:3] == ("led0", "IR", 1)
    light = Light(bus.client)
    light.switch(True)
    assert power_daemon.requests() == [("led0", "normal", 1.0)]
    light.call("SetPower", "(d)", 1.0)
    board.takes(0, 50)
    running.stop()
    board.takes(0)
    assert syslog.texts() == [(log.INFO, "Terminating")]


def test_led1pwm(daemon, sandbox, bus, syslog, power_daemon, temperature_service):
    files = [f"/sys/class/pwm/pwmchip0/pwm1/{name}" for name in ("period", "duty_cycle")]
    board = LedBoard(sandbox, "LED1PWM", files)
    for path in (*files, "/sys/class/pwm/pwmchip0/pwm1/enable", "/sys/class/pwm/pwmchip0/export"):
        board.write(path)
    board.heat(0, 40)
    temperature_service.set_sensors({"IlluminationBoard": 0})
    temperature_service.start()
    power_daemon.start()
    running = daemon()
    assert Controller(bus.client).lights()[0][:2] == ("led0", "IR")
    light = Light(bus.client)
    light.switch(True)
    assert power_daemon.requests() == [("led0", "normal", 2.0)]
    board.forget()
    light.call("SetPower", "(d)", 2.0)
    assert board.take() == ["100000", "55000"]
    running.stop()
    assert syslog.texts() == [(log.INFO, "Terminating")]


def test_ledfisheyei2c(daemon, sandbox, bus, syslog, power_daemon, temperature_service):
    install_example(sandbox, "LEDFISHEYEI2C")
    files = [f"/sys/class/leds/fisheye{led}/power" for led in range(4)]
    for path in files:
        sandbox.write(path, "0")
    for zone in range(2):
        sandbox.write(f"/sys/class/thermal/thermal_zone{zone}/temp", "40000\n")
    temperature_service.set_sensors({"IlluminationBoard": 0, "IlluminationDriver": 1})
    temperature_service.start()
    power_daemon.start()
    running = daemon()
    assert Controller(bus.client).lights()[0][:3] == ("led0", "IR", 4)
    light = Light(bus.client)
    light.switch(True)
    assert power_daemon.requests() == [("led0", "normal", 5.0)]
    light.call("SetPower", "(d)", 5.0)
    assert [sandbox.read(path) for path in files] == ["1500", "1500", "1000", "1000"]
    running.stop()
    assert syslog.texts() == [(log.INFO, "Terminating")]


def test_ledbl(daemon, sandbox, bus, syslog, power_daemon, temperature_service):
    install_example(sandbox, "LEDBL")
    for number in range(3):
        for name in ("bl_power", "brightness"):
            sandbox.write(f"/sys/class/backlight/ir{number}/{name}", "")
        for name in ("active_low", "direction", "edge", "uevent", "value"):
            sandbox.write(f"/sys/class/gpio/ir_led_0_{number}/{name}", "0")
    for zone in range(2):
        sandbox.write(f"/sys/class/thermal/thermal_zone{zone}/temp", "40000\n")
    temperature_service.set_sensors({"IlluminationBoard": 0, "IlluminationDriver": 1})
    temperature_service.start()
    power_daemon.start()
    running = daemon()
    assert Controller(bus.client).lights()[0][:3] == ("led0", "IR", 3)
    light = Light(bus.client)
    light.switch(True)
    assert power_daemon.requests() == [("led0", "normal", 2.0)]
    light.call("SetPower", "(d)", 2.0)
    brightness = [sandbox.read(f"/sys/class/backlight/ir{led}/brightness") for led in range(3)]
    assert brightness == ["1023", "613", "409"]
    assert [sandbox.read(f"/sys/class/gpio/ir_led_0_{line}/value") for line in range(3)] == ["1"] * 3
    running.stop()
    assert syslog.texts() == [(log.INFO, "Terminating")]


def test_tarsil(daemon, sandbox, bus, syslog, power_daemon, temperature_service):
    board = McuOutputs(sandbox, "Tarsil", 3)
    sandbox.write("/var/run/poeclass", "3")
    board.start_peers(power_daemon, temperature_service)
    running = daemon()
    controller = Controller(bus.client)
    assert controller.count() == 1 and controller.is_available()
    light = Light(bus.client)
    light.switch(True)
    [(_, mode, watts)] = power_daemon.requests()
    assert (mode, watts) == ("normal", pytest.approx((168 + 2 * 120) * 0.0018))
    board.forget()
    light.call("SetPower", "(d)", watts + 0.01)
    assert [text.rstrip("\0") for text in board.take()] == ["120", "168", "120"]
    running.stop()
    default_optics = (log.INFO, "No optics bootblock parameter found - using default config")
    assert syslog.texts() == [default_optics, (log.INFO, "Terminating")]


def test_led2i2c(daemon, sandbox, bus, syslog, power_daemon, temperature_service):
    board = McuOutputs(sandbox, "LED2I2C", 2)
    board.start_peers(power_daemon, temperature_service)
    running = daemon()
    controller = Controller(bus.client)
    assert controller.count() == 1 and controller.is_available()
    light = Light(bus.client)
    light.switch(True)
    [(_, mode, watts)] = power_daemon.requests()
    assert (mode, watts) == ("normal", pytest.approx((60 + 60) * 0.0025))
    board.forget()
    light.call("SetPower", "(d)", watts + 0.01)
    assert board.take() == ["60", "60"]
    running.stop()
    assert syslog.texts() == [(log.INFO, "Terminating")]


def test_ledsysfs(launch, sandbox, bus, syslog, power_daemon, temperature_service, devices):
    install_example(sandbox, "LEDSYSFS")
    files = [f"/sys/class/leds/ir{led}/brightness" for led in range(3)]
    for path in files:
        sandbox.write(path, "0")
    for zone in range(2):
        sandbox.write(f"/sys/class/thermal/thermal_zone{zone}/temp", "40000\n")
    temperature_service.set_sensors({"IlluminationBoard": 0, "IlluminationDriver": 1})
    temperature_service.start()
    power_daemon.start()
    running = launch(devices=devices).wait_until_ready()
    devices.wait_for("subscribe zoom")
    assert Controller(bus.client).lights()[0][:3] == ("led0", "IR", 3)
    light = Light(bus.client)
    light.switch(True)
    assert power_daemon.requests() == [("led0", "normal", 1.5)]
    light.call("SetPower", "(d)", 1.5)
    assert [sandbox.read(path) for path in files] == ["1000", "200", "0"]
    running.stop()
    assert syslog.texts() == [(log.INFO, "Terminating")]
