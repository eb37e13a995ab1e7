"""The light on a pan-tilt-zoom unit: the commands that the PTZ coordinator is sent, also those that fail."""

from __future__ import annotations

import time

import pytest

from beamd_testing import syslog as log
from beamd_testing.configuration import beamd_conf
from beamd_testing.coordinator import Coordinator
from beamd_testing.installation import BEAMD_CONF, install_board, install_example, install_light, state_path
from beamd_testing.log_lines import NOT_ACTIVATED, NOT_DEACTIVATED, TERMINATING
from beamd_testing.services import Controller, Light, announced, events

NOT_SENT = (log.ERR, "Failed to send aux command to ptz")
FAILS = "raise dbus.exceptions.DBusException('the unit moves', name='com.velk.PTZ.Busy')"


def command(what: str) -> tuple[str, int, str]:
    return ("Administrator", 0, f"tt:{what}")


IR_ON, IR_OFF = command("LightIR|On"), command("LightIR|Off")


@pytest.fixture
def coordinator(bus) -> Coordinator:
    """Not started."""
    return Coordinator(bus)


@pytest.fixture
def example(sandbox) -> None:
    install_example(sandbox, "LED2UART")


@pytest.fixture
def light(daemon, bus, example, coordinator):
    """The light, served by a unit that works; changes are made in its state file."""

    def light(old: str = "", new: str = "", options: tuple[str, ...] = ()) -> Light:
        text = bus.sandbox.read(state_path(0))
        assert old in text
        bus.sandbox.write(state_path(0), text.replace(old, new))
        coordinator.start()
        daemon(argv=["--no-daemon", *options])
        return Light(bus.client)

    return light


@pytest.fixture
def two_lights(daemon, sandbox, bus, example):
    """The light, with a dummy beside it."""

    def two_lights() -> tuple[Light, Light]:
        sandbox.write(BEAMD_CONF, beamd_conf(["LED2UART", "Dummy"]))
        install_light(sandbox, 1)
        install_board(sandbox, leds=1)
        daemon()
        return Light(bus.client), Light(bus.client, 1)

    return two_lights


def works(other: Light) -> bool:
    other.switch(False)
    other.switch(True)
    return other.is_on() and other.get("CardDetected")


def test_example_works_as_it_is(daemon, bus, example, coordinator, syslog, timeline):
    coordinator.start()
    running = daemon()
    assert Controller(bus.client).lights()[0][:3] == ("led0", "IR", 0)
    assert coordinator.commands() == [IR_OFF]
    lamp = Light(bus.client)
    for on, sent in [(True, IR_ON), (False, IR_OFF), (True, IR_ON)]:
        mark = timeline.now()
        lamp.switch(on)
        assert lamp.is_on() is on
        assert coordinator.commands(mark) == [sent]
        assert events(bus, mark) == announced("ON" if on else "OFF")
    mark = timeline.now()
    running.stop()
    assert coordinator.commands(mark) == [IR_OFF]
    assert syslog.texts() == [TERMINATING]


class TestCommands:
    def test_white_light(self, light, coordinator):
        lamp = light("ledtype=IR", "ledtype=WhiteLight")
        lamp.switch(True)
        lamp.switch(False)
        on, off = command("LightWL|On"), command("LightWL|Off")
        assert coordinator.commands() == [off, on, off]

    @pytest.mark.parametrize("kind", ["ir", "Whitelight", "White"])
    def test_light_that_the_unit_does_not_know_is_never_switched(self, light, coordinator, syslog, kind):
        lamp = light("ledtype=IR", f"ledtype={kind}")
        lamp.switch(True)
        assert not lamp.is_on()
        assert coordinator.commands() == [(), ()]
        assert syslog.texts() == [NOT_SENT, NOT_DEACTIVATED, NOT_SENT, NOT_ACTIVATED]

    def test_dark_light_is_left_alone_at_the_end(self, daemon, example, coordinator, timeline):
        coordinator.start()
        running = daemon()
        mark = timeline.now()
        running.stop()
        assert coordinator.commands(mark) == []

    def test_light_that_is_on_is_switched_on_again(self, light, coordinator, timeline):
        lamp = light()
        mark = timeline.now()
        lamp.call("SetIntensity", "(i)", 100)
        assert coordinator.commands(mark) == []
        lamp.switch(True)
        lamp.switch(True)
        lamp.call("SetIntensity", "(i)", 100)
        assert coordinator.commands(mark) == [IR_ON] * 3

    def test_disabled_light_is_switched_off(self, light, coordinator, timeline):
        lamp = light()
        lamp.switch(True)
        mark = timeline.now()
        lamp.call("SetEnabled", "(b)", False)
        assert not lamp.is_on()
        lamp.call("SetEnabled", "(b)", True)
        assert lamp.is_on()
        assert coordinator.commands(mark) == [IR_OFF, IR_ON]

    def test_command_is_told_in_debug_mode(self, light, syslog, timeline):
        lamp = light(options=("--debug",))
        mark = timeline.now()
        lamp.switch(True)
        assert (log.INFO, "self->ledtype: IR, activate 1") in syslog.texts(after=mark)


class TestFailures:
    def test_no_coordinator(self, two_lights, bus, coordinator, syslog, timeline):
        lamp, other = two_lights()
        assert syslog.texts() == [NOT_SENT, NOT_DEACTIVATED]
        mark = timeline.now()
        assert lamp.call("ActivateLight", "(b)", True) is None
        assert not lamp.is_on() and lamp.get("CardDetected")
        assert syslog.texts(after=mark) == [NOT_SENT, NOT_ACTIVATED]
        assert events(bus, mark) == []
        assert works(other)

        coordinator.start()
        mark = timeline.now()
        lamp.switch(True)
        assert lamp.is_on()
        assert coordinator.commands(mark) == [IR_ON] and syslog.texts(after=mark) == []

    def test_coordinator_that_refuses(self, two_lights, bus, coordinator, syslog, timeline):
        coordinator.behave(FAILS)
        coordinator.start()
        lamp, other = two_lights()
        assert syslog.texts() == [NOT_SENT, NOT_DEACTIVATED]
        mark = timeline.now()
        assert lamp.call("ActivateLight", "(b)", True) is None
        assert not lamp.is_on()
        assert coordinator.commands(mark) == [IR_ON]
        assert syslog.texts(after=mark) == [NOT_SENT, NOT_ACTIVATED]
        assert events(bus, mark) == []
        assert works(other)

    @pytest.mark.parametrize("how", ["refuses", "is gone"])
    def test_light_that_cannot_be_switched_off_stays_on(
        self, two_lights, bus, coordinator, syslog, timeline, how
    ):
        coordinator.start()
        lamp, other = two_lights()
        lamp.switch(True)
        if how == "refuses":
            coordinator.behave(FAILS)
        else:
            coordinator.stop()
        mark = timeline.now()
        assert lamp.call("ActivateLight", "(b)", False) is None
        assert lamp.is_on()
        assert syslog.texts(after=mark) == [NOT_SENT, NOT_DEACTIVATED]
        assert events(bus, mark) == []
        assert works(other)

        coordinator.behave()
        if how == "is gone":
            coordinator.start()
        mark = timeline.now()
        lamp.switch(False)
        assert not lamp.is_on()
        assert coordinator.commands(mark) == [IR_OFF]
        assert events(bus, mark) == announced("OFF")

    def test_lit_light_that_is_not_reached_at_the_end(self, daemon, bus, example, coordinator, syslog):
        coordinator.start()
        running = daemon()
        Light(bus.client).switch(True)
        coordinator.stop()
        running.stop()
        assert syslog.texts() == [NOT_SENT, NOT_DEACTIVATED, TERMINATING]

    def test_unit_that_takes_its_time_is_waited_for(self, two_lights, coordinator, syslog):
        coordinator.start()
        lamp, other = two_lights()
        with coordinator.paused():
            switched = lamp.call_async("ActivateLight", "(b)", True)
            asked = other.call_async("GetLightStatus")
            end = time.monotonic() + 0.5
            while time.monotonic() < end:
                assert not switched.done() and not asked.done()
        assert switched.result() is None and asked.result() is False
        assert lamp.is_on()
        assert syslog.texts() == []
