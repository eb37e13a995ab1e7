"""The example configurations work as they are."""

from __future__ import annotations

from beamd_testing import syslog as log
from beamd_testing.installation import install_example
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
