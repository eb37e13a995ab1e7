"""The example configurations work as they are."""

from __future__ import annotations

from beamd_testing import syslog as log
from beamd_testing.installation import install_example
from beamd_testing.mcu_board import McuBoard
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
