"""Whether the supply gives what a light requires, as the power daemon tells it."""

from __future__ import annotations

import time

import pytest
from gi.repository import GLib

from beamd_testing import syslog as log
from beamd_testing.bus import BEAMD
from beamd_testing.bus_client import BusError
from beamd_testing.installation import install_dummies
from beamd_testing.services import Light
from beamd_testing.timeline import TIMEOUT


@pytest.fixture
def light(daemon, sandbox, bus):
    """A light with these requirements, served."""

    def light(**requirements) -> Light:
        install_dummies(sandbox, {"common": {"usepowerrequest": True, **requirements}}, leds=2)
        daemon()
        return Light(bus.client)

    return light


def calls_of(lamp: Light) -> list[tuple]:
    """Every method with arguments, and every property but those that tell why a light refuses."""
    arguments = {"b": False, "i": 0, "d": 0.0, "s": "manual", "ai": [0, 0]}
    calls = []
    for interface in lamp.client.introspect(lamp.path).interfaces:
        if not interface.name.startswith(BEAMD):
            continue
        for method in interface.methods:
            signatures = [argument.signature for argument in method.in_args]
            values = [arguments[signature] for signature in signatures]
            calls.append((lamp.call, method.name, f"({''.join(signatures)})", *values))
        names = [found.name for found in interface.properties]
        calls += [(lamp.get, name) for name in names if name not in ("CardDetected", "CorrectPoe")]
    assert len(calls) > 20
    return calls


def refuses_everything(lamp: Light) -> bool:
    for call, *arguments in calls_of(lamp):
        with pytest.raises(BusError) as refusal:
            call(*arguments)
        assert (refusal.value.code, refusal.value.message) == (7, "Wrong poe")
    return not lamp.get("CorrectPoe")


def answers(lamp: Light) -> bool:
    return lamp.get("CorrectPoe") and lamp.call("GetIntensity") == 60


def test_required_power(light, power_daemon):
    power_daemon.start()
    lamp = light(required_total_power=10.0)
    assert refuses_everything(lamp)
    for received, enough in [(10.0, True), (9.5, False), (10.0, True), (0.0, False), (1e6, True)]:
        power_daemon.status.announce({"PowerRecieved": received})
        assert answers(lamp) if enough else refuses_everything(lamp)


def test_other_spelling_changes_nothing(light, power_daemon):
    power_daemon.start()
    lamp = light(required_total_power=10.0)
    power_daemon.status.announce({"PowerReceived": 20.0})
    assert not lamp.get("CorrectPoe")
    power_daemon.status.announce({"PowerRecieved": 10.0})
    power_daemon.status.announce({"PowerReceived": 9.5})
    assert answers(lamp)


def test_required_class(light, power_daemon):
    power_daemon.start()
    lamp = light(minimum_poe_class=3)
    assert refuses_everything(lamp)
    for poe_class, enough in [(3, True), (2, False), (4, True)]:
        power_daemon.status.announce({"LldpPoeClass": poe_class})
        power_daemon.status.announce({"PsePoeClass": 7 - poe_class})
        assert answers(lamp) if enough else refuses_everything(lamp)


@pytest.mark.parametrize("change", [{"LldpPoeClass": 4}, {"PowerRecieved": 100.0}])
def test_light_without_a_requirement_is_wrong_after_any_change(light, power_daemon, change):
    power_daemon.start()
    lamp = light()
    assert answers(lamp)
    power_daemon.status.announce(change)
    assert refuses_everything(lamp)


def test_status_that_is_there_at_the_start_is_not_yet_compared(light, power_daemon, syslog):
    power_daemon.status.set({"PowerReceived": 100.0, "LldpPoeClass": 4, "PsePoeClass": 4})
    power_daemon.start()
    lamp = light(required_total_power=10.0, minimum_poe_class=3)
    assert not lamp.get("CorrectPoe")
    assert syslog.texts() == []
    power_daemon.status.set({"LldpPoeClass": 3})
    assert answers(lamp)


def test_class_of_one_that_comes_up_later_counts(light, power_daemon):
    lamp = light(minimum_poe_class=3)
    power_daemon.status.set({"LldpPoeClass": 3})
    power_daemon.start()
    deadline = time.monotonic() + TIMEOUT
    while not lamp.get("CorrectPoe"):
        assert time.monotonic() < deadline
        time.sleep(0.005)
    assert answers(lamp)


@pytest.mark.parametrize("signature, value", [("i", 9), ("s", "9.5"), ("ad", [9.5])])
def test_status_of_an_unexpected_type_is_told_and_ignored(light, power_daemon, syslog, signature, value):
    power_daemon.start()
    lamp = light()
    power_daemon.status.announce({"PowerRecieved": GLib.Variant(signature, value)})
    assert lamp.get("CorrectPoe")
    assert [severity for severity, _ in syslog.texts()] == [log.WARNING]
