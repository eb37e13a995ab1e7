"""The timer of the main loop that ticks the lights' regulators.

$BEAMD_REPLACEMENT_STATUS_CACHE (replacement_status_cache.cpp) stands in for the status cache and records what
it is asked. The lights share one configuration of the regulator; the temperature service gives each of them a
sensor of its own, by which its ticks are known.
"""

from __future__ import annotations

import time
from collections.abc import Callable

import pytest

from beamd_testing import syslog as log
from beamd_testing.configuration import beamd_conf, key_file, light_defaults, light_state
from beamd_testing.installation import BEAMD_CONF, defaults_path, install_board, state_path
from beamd_testing.mcu_board import DIMMING_CONF
from beamd_testing.replacement import install_replacement, preloaded, recorded_calls
from beamd_testing.services import Light
from beamd_testing.timeline import TIMEOUT

BOARD, DUMMY = "LED1I2C", "Dummy"
INVALID_SENSOR = (log.ERR, "Could not read invalid temperature sensor")
EVERY_HOUR = 3600

# Without a power daemon the light is to shine all the same: it needs no watts.
FREE_LIGHT = {"common": {"usepowerrequest": False, "powerusagefactor": 0}}


def dimming_conf(seconds: int) -> str:
    gains = {"k_p": 0.1, "ref_temp": 60}
    settings = {"enabled": True, "sample_time": seconds, "temp_sensor_id": "board", **gains}
    return key_file({"regulator": settings})


def folder(number: int) -> str:
    return f"/sys/devices/board{number}"


@pytest.fixture
def lights(sandbox, temperature_service) -> Callable[..., None]:
    """Installs lights of these types; each board in turn gets its sensor id (-1: none) and sample time."""

    def lights(types: list[str], ids: list[int], seconds: list[int]) -> None:
        sandbox.write(BEAMD_CONF, beamd_conf(types))
        install_board(sandbox, leds=1)
        for number, kind in enumerate(types):
            sandbox.write(state_path(number), light_state(FREE_LIGHT))
            if kind == BOARD:
                sandbox.write(defaults_path(number), light_defaults({"common": {"basepath": folder(number)}}))
                sandbox.write(f"{folder(number)}/led0", "", mode=0o666)
            else:
                sandbox.write(defaults_path(number), light_defaults())
        sandbox.write(DIMMING_CONF, dimming_conf(seconds[0]))
        answer_in_turn(ids, [dimming_conf(each) for each in seconds[1:]])

    def answer_in_turn(ids: list[int], next_settings: list[str]) -> None:
        # A light has read its settings when it asks for its sensor: the next light may find others.
        code = f"""
self.asked = getattr(self, "asked", -1) + 1
ret = {ids!r}[self.asked]
if self.asked < len({next_settings!r}):
    with open({DIMMING_CONF!r}, "w") as file:
        file.write({next_settings!r}[self.asked])
"""
        temperature_service.answer("GetTemperatureIdFromName", "s", "i", code)
        temperature_service.start()

    return lights


@pytest.fixture
def run(daemon, sandbox):
    """Starts the daemon with the status cache replaced: 50 degrees everywhere."""
    library = install_replacement(sandbox, "BEAMD_REPLACEMENT_STATUS_CACHE", "status_cache.so")
    return lambda: daemon(wrapper=preloaded(library, REPLACEMENT_CELSIUS="50"))


@pytest.fixture
def sensors_read(sandbox) -> Callable[[], list[int]]:
    """The ids of the sensors that have been read, in order."""

    def sensors_read() -> list[int]:
        calls = recorded_calls(sandbox)
        ids = [int(call.partition("TEMPERATURE_")[2].partition(",")[0]) for call in calls]
        assert calls == [f"sc_get_group(TEMPERATURE_{each}, CELSIUS/4/2, 0)" for each in ids]
        return ids

    return sensors_read


def wait_until(condition: Callable[[], bool]) -> None:
    deadline = time.monotonic() + TIMEOUT
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.01)


class TestTicks:
    def test_each_is_of_all_lights_in_order(self, lights, run, sensors_read):
        lights([BOARD] * 3, ids=[10, 11, 12], seconds=[1, 1, 1])
        run()
        wait_until(lambda: len(sensors_read()) >= 1 + 3 * 3)
        # The very first one starts the filter that the lights share, and reads twice.
        reads = sensors_read()[: 1 + 3 * 3]
        assert reads == [10, *[10, 11, 12] * 3]

    def test_lights_of_other_drivers_take_none(self, lights, run, sensors_read, syslog):
        lights([BOARD, DUMMY, BOARD], ids=[10, 12], seconds=[1, 1])
        run()
        wait_until(lambda: len(sensors_read()) >= 1 + 2 * 2)
        assert sensors_read()[: 1 + 2 * 2] == [10, *[10, 12] * 2]
        assert syslog.texts() == []

    def test_light_without_a_sensor_takes_them_too(self, lights, run, bus, sandbox, sensors_read, syslog):
        lights([BOARD] * 2, ids=[10, -1], seconds=[1, 1])
        run()
        Light(bus.client, 1).switch(True)
        mark = syslog.wait_for(INVALID_SENSOR).number
        sandbox.write(f"{folder(1)}/led0", "", mode=0o666)
        wait_until(lambda: sandbox.read(f"{folder(1)}/led0") == "60")
        syslog.wait_for(INVALID_SENSOR, after=mark + 1)
        assert set(sensors_read()) == {10}

    def test_light_without_a_board_takes_them_too(self, lights, run, sandbox, sensors_read):
        lights([BOARD] * 2, ids=[10, 11], seconds=[1, 1])
        sandbox.write(f"{folder(1)}/QXID", "0")
        run()
        wait_until(lambda: sensors_read().count(11) >= 2)

    def test_first_lights_sample_time_counts(self, lights, run, sensors_read):
        lights([BOARD] * 3, ids=[10, 11, 12], seconds=[1, EVERY_HOUR, EVERY_HOUR])
        run()
        wait_until(lambda: sensors_read().count(12) >= 2)

    def test_lit_lights_are_rewritten(self, lights, run, bus, sandbox):
        lights([BOARD] * 2, ids=[10, 11], seconds=[1, 1])
        run()
        for number in range(2):
            Light(bus.client, number).switch(True)
            sandbox.write(f"{folder(number)}/led0", "", mode=0o666)
        for number in range(2):
            wait_until(lambda: sandbox.read(f"{folder(number)}/led0") == "60")


class TestTimer:
    """Armed for one second, it has ticked by the time that the daemon ends: the poll that notices the end is
    armed after it, and for as long."""

    def was_armed(self, run, sensors_read) -> bool:
        run().stop()
        return bool(sensors_read())

    def test_is_armed_by_a_first_light_with_a_sensor(self, lights, run, sensors_read):
        lights([BOARD] * 3, ids=[10, -1, -1], seconds=[1, 1, 1])
        assert self.was_armed(run, sensors_read)

    def test_is_not_armed_when_the_first_light_has_no_sensor(self, lights, run, sensors_read):
        lights([BOARD] * 3, ids=[-1, 11, 12], seconds=[1, 1, 1])
        assert not self.was_armed(run, sensors_read)

    def test_is_not_armed_when_the_first_light_has_no_board(self, lights, run, sandbox, sensors_read):
        lights([BOARD] * 3, ids=[10, 11, 12], seconds=[1, 1, 1])
        sandbox.write(f"{folder(0)}/QXID", "0")
        assert not self.was_armed(run, sensors_read)

    def test_is_not_armed_when_the_first_light_knows_no_sensors(self, lights, run, sensors_read):
        lights([DUMMY, BOARD, BOARD], ids=[11, 12], seconds=[1, 1])
        assert not self.was_armed(run, sensors_read)

    def test_is_armed_for_the_first_lights_sample_time(self, lights, run, sensors_read):
        lights([BOARD] * 3, ids=[10, 11, 12], seconds=[EVERY_HOUR, 1, 1])
        assert not self.was_armed(run, sensors_read)
