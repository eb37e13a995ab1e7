"""A light and the power daemon: what it is asked for and in which order, its grants and its whims."""

from __future__ import annotations

import re

import pytest

from beamd_testing import syslog as log
from beamd_testing.bus import BEAMD
from beamd_testing.bus_monitor import BusMessage
from beamd_testing.installation import install_dummies
from beamd_testing.services import EVENTS, POWER, Light, announced, light_path

CANNOT_REGISTER = (log.INFO, "Can not register at wattd: wattd is down")
CANNOT_REQUEST = (log.INFO, "Can not request at wattd: wattd is down")
DEBUG = "--debug"

# Two LEDs at 60, and half a watt for each unit.
NEED = 60.0


def registration(number: int = 0) -> tuple:
    return "Register", f"led{number}", False, BEAMD, light_path(number), POWER


def request(mode: str, watts: float, number: int = 0) -> tuple:
    return "RequestPower", f"led{number}", mode, watts


@pytest.fixture
def light(launch, sandbox, bus):
    """A light that asks for power, with these settings, served."""

    def light(*options: str, **common) -> Light:
        install_asking_lights(sandbox, common)
        launch(argv=["--no-daemon", *options]).wait_until_ready()
        return Light(bus.client)

    return light


def install_asking_lights(sandbox, *lights: dict) -> None:
    asking = {"usepowerrequest": True, "powerusagefactor": 0.5}
    install_dummies(sandbox, *({"common": asking | common} for common in lights), leds=2)


@pytest.fixture
def told(bus, power_daemon):
    """What the daemon has told everybody and asked the power daemon for, in order: names and arguments."""

    def told(after: int = 0) -> list[tuple]:
        bus.settle()
        interfaces = (EVENTS, power_daemon.consumer.interface)
        found = bus.timeline.events(
            lambda event: isinstance(event, BusMessage)
            and event.interface in interfaces
            and event.number >= after
        )
        return [(event.member, *event.arguments) for event in found]

    return told


@pytest.fixture
def levels(syslog):
    """The levels of light 0 after each of its calculations: of each LED in turn."""

    def levels(after: int = 0) -> list[list[int]]:
        texts = [text for _, text in syslog.texts(after=after)]
        lines = [re.fullmatch(r"Levels of led0 at angle \d+:(.*)", text) for text in texts]
        return [[int(level) for level in line[1].split()] for line in lines if line]

    return levels


def watts(levels: list[int]) -> float:
    return 0.5 * sum(levels)


class TestOrder:
    def test_register_is_all_that_a_start_asks_for(self, light, power_daemon, syslog, told):
        power_daemon.start()
        light()
        assert told() == [registration()]
        assert syslog.texts() == []

    def test_switched_on_events_then_request(self, light, power_daemon, timeline, told):
        power_daemon.start()
        lamp = light()
        mark = timeline.now()
        lamp.switch(True)
        assert told(mark) == [*announced("ON"), request("normal", NEED)]

    def test_switched_off_release_then_events(self, light, power_daemon, timeline, told):
        power_daemon.start()
        lamp = light()
        lamp.switch(True)
        mark = timeline.now()
        lamp.switch(False)
        assert told(mark) == [request("off", 0.0), *announced("OFF")]

    def test_disabled_and_enabled_likewise(self, light, power_daemon, timeline, told):
        power_daemon.start()
        lamp = light()
        lamp.switch(True)
        mark = timeline.now()
        lamp.call("SetEnabled", "(b)", False)
        lamp.call("SetEnabled", "(b)", True)
        assert told(mark) == [
            request("off", 0.0),
            *announced("OFF"),
            *announced("ON"),
            request("normal", NEED),
        ]

    def test_second_order_to_switch_on_asks_for_nothing(self, light, power_daemon, timeline, told):
        power_daemon.start()
        lamp = light()
        lamp.switch(True)
        mark = timeline.now()
        lamp.switch(True)
        assert told(mark) == []

    def test_request_follows_the_intensity_while_lit(self, light, power_daemon, timeline, told):
        power_daemon.start()
        lamp = light()
        mark = timeline.now()
        lamp.call("SetIntensity", "(i)", 20)
        assert told(mark) == []
        lamp.switch(True)
        lamp.call("SetIntensity", "(i)", 30)
        lamp.call("SetIndividualLEDIntensity", "(iis)", 0, 10, "manual")
        expected = [request("normal", number) for number in (20.0, 30.0, 20.0)]
        assert told(mark) == [*announced("ON"), *expected]

    def test_each_light_asks_for_itself(self, daemon, sandbox, bus, power_daemon, timeline, told):
        install_asking_lights(sandbox, {}, {"powerusagefactor": 0.25})
        power_daemon.start()
        daemon()
        assert told() == [registration(0), registration(1)]
        mark = timeline.now()
        for number in (1, 0):
            Light(bus.client, number).switch(True)
        assert told(mark) == [
            *announced("ON", 1),
            request("normal", NEED / 2, 1),
            *announced("ON", 0),
            request("normal", NEED, 0),
        ]

    def test_debug_print(self, light, power_daemon, syslog):
        power_daemon.start()
        light(DEBUG).switch(True)
        assert (log.INFO, "Requesting power 60.00") in syslog.texts()


class TestPresence:
    def test_late_start(self, light, power_daemon, timeline, syslog, told, levels):
        lamp = light(DEBUG)
        lamp.switch(True)
        refusals = [line for line in syslog.texts() if line in (CANNOT_REGISTER, CANNOT_REQUEST)]
        assert refusals == [CANNOT_REGISTER, CANNOT_REQUEST]
        assert told() == announced("ON")

        mark = timeline.now()
        power_daemon.start()
        power_daemon.consumer.wait_for_call("RequestPower")
        assert told(mark) == [registration(), request("normal", NEED)]
        assert levels()[-1] == [0, 0]
        lamp.call("SetPower", "(d)", NEED)
        assert levels()[-1] == [60, 60]

    def test_death_and_return(self, light, power_daemon, timeline, syslog, told):
        power_daemon.start()
        lamp = light()
        lamp.switch(True)
        mark = timeline.now()
        power_daemon.stop()
        assert lamp.is_on()
        assert told(mark) == []
        assert syslog.texts() == []

        lamp.switch(False)
        assert told(mark) == announced("OFF")
        assert syslog.texts() == [CANNOT_REQUEST]

        def asked_at_return() -> list[tuple]:
            mark = timeline.now()
            power_daemon.start()
            power_daemon.consumer.wait_for_call("RequestPower", after=mark)
            return told(mark)

        assert asked_at_return() == [registration(), request("off", 0.0)]
        lamp.switch(True)
        power_daemon.stop()
        assert asked_at_return() == [registration(), request("normal", NEED)]

    def test_grant_outlives_who_gave_it(self, light, power_daemon, levels):
        power_daemon.start()
        lamp = light(DEBUG)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", NEED)
        power_daemon.stop()
        lamp.call("SetIntensity", "(i)", 30)
        assert levels()[-1] == [30, 30]

    def test_light_without_power_requests_registers_when_it_comes_up(
        self, light, power_daemon, timeline, syslog, told, levels
    ):
        lamp = light(DEBUG, usepowerrequest=False)
        assert CANNOT_REGISTER not in syslog.texts()
        power_daemon.start()
        power_daemon.consumer.wait_for_call("Register")
        assert told() == [registration()]

        mark = timeline.now()
        lamp.switch(True)
        lamp.switch(False)
        assert told(mark) == [*announced("ON"), *announced("OFF")]
        assert CANNOT_REQUEST not in syslog.texts()
        assert levels()[-1] == [60, 60]

    def test_wrong_supply_does_not_keep_a_light_from_asking(self, light, power_daemon, timeline, told):
        power_daemon.start()
        lamp = light(required_total_power=10.0)
        power_daemon.status.announce({"PowerRecieved": 10.0})
        lamp.switch(True)
        power_daemon.status.announce({"PowerRecieved": 9.5})
        power_daemon.consumer.stop()
        mark = timeline.now()
        power_daemon.consumer.start()
        power_daemon.consumer.wait_for_call("RequestPower", after=mark)
        assert told(mark) == [registration(), request("normal", NEED)]


class TestGrants:
    def test_nothing_is_granted(self, light, power_daemon, levels):
        power_daemon.start()
        lamp = light(DEBUG)
        lamp.switch(True)
        lamp.call("SetIntensity", "(i)", 55)
        assert lamp.is_on()
        assert levels() and all(each == [0, 0] for each in levels())
        lamp.call("SetPower", "(d)", 0.0)
        assert levels()[-1] == [0, 0]

    def test_less_is_granted_than_asked_for(self, light, power_daemon, timeline, told, levels):
        power_daemon.start()
        lamp = light(DEBUG)
        lamp.switch(True)
        mark = timeline.now()
        for grant in (59.5, 31.0, 1.0):
            lamp.call("SetPower", "(d)", grant)
            assert 0 < watts(levels()[-1]) <= grant
        lamp.call("SetPower", "(d)", NEED)
        assert watts(levels()[-1]) == NEED
        assert told(mark) == []

    def test_more_is_granted_than_asked_for(self, light, power_daemon, levels):
        power_daemon.start()
        lamp = light(DEBUG)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", 1000.0)
        assert levels()[-1] == [60, 60]

    def test_grants_during_a_ramp_down_are_served_after_it(self, launch, sandbox, bus, power_daemon, levels):
        power_daemon.start()
        install_asking_lights(sandbox, {"rampdown_time": 200_000})
        running = launch(argv=["--no-daemon", DEBUG]).wait_until_ready()
        lamp = Light(bus.client)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", NEED)
        mark = bus.timeline.now()
        # All have been sent before it takes the first, which makes it sleep.
        with sandbox.paused(running.process):
            grants = (40.0, 20.0, 50.0, 10.0)
            calls = [lamp.call_async("SetPower", "(d)", grant) for grant in grants]
            assert len(bus.messages("call", "SetPower", after=mark)) == len(grants)
        assert [call.result() for call in calls] == [None] * len(grants)
        found = [watts(each) for each in levels(mark)]
        assert len(found) == len(grants)
        assert all(0 < each <= grant for each, grant in zip(found, grants))
        assert found[2] > found[0] > found[1] > found[3]

    def test_light_is_switched_off_after_the_ramp_down(
        self, launch, sandbox, bus, power_daemon, timeline, told, levels
    ):
        power_daemon.start()
        install_asking_lights(sandbox, {"rampdown_time": 200_000})
        running = launch(argv=["--no-daemon", DEBUG]).wait_until_ready()
        lamp = Light(bus.client)
        lamp.switch(True)
        lamp.call("SetPower", "(d)", NEED)
        mark = timeline.now()
        with sandbox.paused(running.process):
            calls = [lamp.call_async("SetPower", "(d)", 30.0), lamp.call_async("ActivateLight", "(b)", False)]
            calls += [lamp.call_async("SetPower", "(d)", 0.0), lamp.call_async("GetLightStatus")]
            bus.settle()
        assert [call.result() for call in calls] == [None, None, None, False]
        assert told(mark) == [request("off", 0.0), *announced("OFF")]
        assert levels()[-1] == [0, 0]


def refuse(power_daemon) -> None:
    failure = "raise dbus.exceptions.DBusException('no', name='com.velk.PowerControl.Error')"
    power_daemon.consumer.answer("Register", "sbsss", "", failure)
    power_daemon.consumer.answer("RequestPower", "ssd", "", failure)


def know_nothing(power_daemon) -> None:
    power_daemon.consumer.methods.clear()


def get_stuck(power_daemon) -> None:
    forever = "while True: __import__('time').sleep(1000)"
    power_daemon.consumer.answer("Register", "sbsss", "", forever)


class TestWhims:
    @pytest.mark.parametrize("whim", [refuse, know_nothing, get_stuck])
    def test_light_goes_on_with(self, light, power_daemon, timeline, syslog, told, whim):
        whim(power_daemon)
        power_daemon.start()
        lamp = light()
        assert told() == [registration()]
        for _ in range(3):
            mark = timeline.now()
            lamp.switch(True)
            lamp.call("SetPower", "(d)", NEED)
            lamp.switch(False)
            assert told(mark) == [
                *announced("ON"),
                request("normal", NEED),
                request("off", 0.0),
                *announced("OFF"),
            ]
        assert syslog.texts() == []

    def test_light_is_switched_while_it_is_paused(self, light, power_daemon, timeline, syslog, told):
        power_daemon.start()
        lamp = light()
        mark = timeline.now()
        with power_daemon.consumer.paused():
            lamp.switch(True)
            lamp.switch(False)
            lamp.switch(True)
            assert lamp.is_on()
        asked = [each for each in told(mark) if each[0] == "RequestPower"]
        assert asked == [request("normal", NEED), request("off", 0.0), request("normal", NEED)]
        assert syslog.texts() == []

    def test_start_waits_for_one_that_is_paused(self, launch, sandbox, bus, power_daemon, syslog, told):
        install_asking_lights(sandbox, {})
        power_daemon.start()
        consumer = power_daemon.consumer
        with consumer.paused():
            starting = launch()
            bus.wait_for("call", "GetAll", path=consumer.path)
        starting.wait_until_ready()
        assert told() == [registration()]
        assert syslog.texts() == []
