"""One daemon with a light of each type: whatever happens to one of them leaves the others as they are."""

from __future__ import annotations

import errno
import time

import pytest

from beamd_testing import syslog as log
from beamd_testing.bus_client import BusError
from beamd_testing.camera_block import enable_register, register_name
from beamd_testing.house import House
from beamd_testing.installation import state_path
from beamd_testing.services import Controller, announced, events
from beamd_testing.timeline import TIMEOUT
from beamd_testing.units import INTENSITY, UNITS, Camblock, FileUnit, Ptz, SerialLink, Sysfs, TwoChannels, Unit

TERMINATING = (log.INFO, "Terminating")
WATTD_DOWN = (log.INFO, "Can not request at wattd: wattd is down")
NOT_SENT = (log.ERR, "Failed to send aux command to ptz")
NOT_DEACTIVATED = (log.ERR, "Unable to deactivate light")
AT_START = [
    (log.INFO, "No optics bootblock parameter found - using default config"),
    (log.WARNING, "Expected at most 2 temperature sensors, but found 1."),
]


def request(unit: Unit, on: bool = True) -> tuple[str, str, float]:
    return (f"led{unit.number}", "normal" if on else "off", pytest.approx(unit.asks() if on else 0.0))


@pytest.fixture
def house(sandbox, bus, devices, power_daemon, temperature_service) -> House:
    return House(sandbox, bus, devices, power_daemon, temperature_service)


@pytest.fixture
def start(launch, house):
    """Starts the daemon, and demands that all lights are there and dark."""

    def start():
        house.start_peers()
        running = launch(devices=house.devices).wait_until_ready()
        house.devices.wait_for("subscribe zoom")
        serial = house.unit(SerialLink)
        loaded = ["create", "initialise 0", f"probe {serial.number} 2"]
        started = [(unit, unit.deeds(False)) for unit in house.units if unit is not serial]
        house.demand(*started, (serial, loaded + serial.deeds(False)))
        return running

    return start


def switch_all_on(house: House) -> None:
    for unit in house.units:
        mark = house.bus.timeline.now()
        house.light(unit).switch(True)
        house.demand((unit, unit.deeds(True)))
        assert house.requests(mark) == [request(unit)]
        assert events(house.bus, mark) == announced("ON", unit.number, unit.KIND)
    assert all(house.light(unit).is_on() for unit in house.units)


def zoom_all(house: House, angle: int) -> None:
    for unit in house.units:
        mark = house.bus.timeline.now()
        if unit.HAS_ZOOM:
            house.light(unit).call("ChangeAngleOfIllumination", "(i)", angle)
            unit.angle = angle
            house.demand((unit, unit.deeds(True)))
            assert house.requests(mark) == [request(unit)]
            assert f"\nangleofillumination={angle}\n" in house.sandbox.read(state_path(unit.number))
        else:
            with pytest.raises(BusError) as refusal:
                house.light(unit).call("ChangeAngleOfIllumination", "(i)", angle)
            assert refusal.value.message == "Angle of illumination is not supported"
            house.demand()


def turn_lens(house: House, angle: int) -> None:
    unit = house.unit(Sysfs)
    mark = house.bus.timeline.now()
    unit.angle = angle
    house.devices.set_field_of_view(angle)
    deadline = time.monotonic() + TIMEOUT
    while not house.sandbox.read(unit.files()[-1]):
        assert time.monotonic() < deadline, "the light does not follow the lens"
        time.sleep(0.005)
    house.demand((unit, unit.deeds(True)))
    assert house.requests(mark) == []


def restart_power_daemon(house: House, syslog) -> None:
    house.power_daemon.stop()
    unit = house.unit(TwoChannels)
    mark = house.bus.timeline.now()
    house.light(unit).call("SetIntensity", "(i)", INTENSITY)
    house.demand((unit, unit.deeds(True)))
    assert syslog.texts(after=mark) == [WATTD_DOWN]

    mark = house.bus.timeline.now()
    house.power_daemon.start()
    deadline = time.monotonic() + TIMEOUT
    while len(house.requests(mark)) < len(house.units):
        assert time.monotonic() < deadline, "not every light asks again"
        time.sleep(0.02)
    assert sorted(name for name, *_ in house.power_daemon.registrations(mark)) == sorted(
        f"led{unit.number}" for unit in house.units
    )
    asked = {name: rest for name, *rest in house.requests(mark)}
    assert asked == {name: rest for name, *rest in map(request, house.units)}
    house.demand()


def restart_coordinator(house: House, syslog) -> None:
    house.coordinator.stop()
    unit = house.unit(Ptz)
    mark = house.bus.timeline.now()
    assert house.light(unit).call("ActivateLight", "(b)", False) is None
    assert house.light(unit).is_on()
    assert syslog.texts(after=mark) == [NOT_SENT, NOT_DEACTIVATED]
    assert events(house.bus, mark) == [] and house.requests(mark) == []
    house.coordinator.start()
    unit.take()
    for on in (False, True):
        house.light(unit).switch(on)
        house.demand((unit, unit.deeds(on)))


def break_bus(house: House, syslog) -> None:
    """Both lights on the camera block fail; the other ones do not hear of it."""
    unit = house.unit(Camblock)
    register = register_name(enable_register(1))
    house.devices.fail(f"writing {register}", errno.EIO)
    mark = house.bus.timeline.now()
    house.light(unit).switch(False)
    assert house.light(unit).is_on()
    house.demand((unit, unit.deeds(False)[:1]))
    assert (log.ERR, "Write failure shut to LED:1") in syslog.texts(after=mark)
    house.devices.fail(f"writing {register}", 0)
    for on in (False, True):
        house.light(unit).switch(on)
        house.demand((unit, unit.deeds(on)))


@pytest.mark.memcheck
def test_lights_do_not_meet(house, start, bus, syslog):
    running = start()
    controller = Controller(bus.client)
    assert controller.count() == len(UNITS) and controller.is_available()
    assert [each[:2] for each in controller.lights()] == [(f"led{unit.number}", unit.KIND) for unit in house.units]
    assert len(house.power_daemon.registrations()) == len(UNITS)
    assert syslog.texts() == AT_START

    switch_all_on(house)
    half = sum(unit.asks() for unit in house.units) / 2
    house.share(half, house.units)
    zoom_all(house, 100)
    turn_lens(house, 0)
    house.share(0.0, house.units)
    house.share(half, house.units[::-1])
    restart_power_daemon(house, syslog)
    house.temperature_service.stop()
    restart_coordinator(house, syslog)
    house.temperature_service.start()
    break_bus(house, syslog)
    house.share(2 * half, house.units)

    mark = bus.timeline.now()
    running.stop()
    serial = house.unit(SerialLink)
    ended = [(unit, unit.deeds(False)) for unit in house.units if unit is not serial]
    house.demand(*ended, (serial, serial.deeds(False) + ["unload"]))
    assert "unsubscribe 1" in house.devices.reports(mark)
    assert syslog.texts(after=mark) == [TERMINATING]
    assert events(bus, mark) == []


def last_values(house: House, unit: Unit, mark: int) -> list:
    """What stands in the unit's files or power registers."""
    if isinstance(unit, Camblock):
        values = {each[3]: each[4] for each in house.devices.register_writes(mark)}
        return [values.get(unit.FIRST_REGISTER + offset) for offset in (1, 3)]
    return unit.take()


def wanted_values(unit: Unit, is_hot: bool) -> list:
    deeds = unit.deeds(True, is_hot)
    return [write[4] for write in deeds if write[3] % 2] if isinstance(unit, Camblock) else deeds


def demand_ticks(house: House, is_hot: bool, mark: int) -> None:
    """Waits until each light that has a regulator has done what that temperature asks for."""
    waiting = {
        unit: wanted_values(unit, is_hot) for unit in house.units if isinstance(unit, (FileUnit, Camblock))
    }
    deadline = time.monotonic() + TIMEOUT
    while waiting:
        for unit, wanted in list(waiting.items()):
            # The PWM channel may have been enabled again before it was looked at.
            found = last_values(house, unit, mark)
            if found[:2] == wanted[:2]:
                del waiting[unit]
        assert time.monotonic() < deadline, f"{[unit.TYPE for unit in waiting]} do not follow the temperature"
        time.sleep(0.02)


def test_all_boards_get_hot_and_cool_down(house, start, syslog, temperature_service):
    house.configure(1)
    running = start()
    for unit in house.units:
        house.grant(unit, unit.asks() + 0.0005)
        house.light(unit).switch(True)
    for unit in house.units:
        unit.take()
    mark = house.bus.timeline.now()
    house.heat(150.0)  # above what is to be kept after a single reading
    demand_ticks(house, True, mark)
    temperature_service.stop()
    mark = house.bus.timeline.now()
    house.heat(-1000.0)
    demand_ticks(house, False, mark)
    running.stop()
    assert syslog.texts() == [*AT_START, TERMINATING]
