"""Fixtures of the tests that run the real daemon: a sandbox, its log, its bus, its peers and beamd itself."""

from __future__ import annotations

import os
import sys
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

REPOSITORY = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(REPOSITORY / "tests/support"))

from beamd_testing.beamctl import Beamctl  # noqa: E402
from beamd_testing.bus import Bus  # noqa: E402
from beamd_testing.daemon import Daemon  # noqa: E402
from beamd_testing.devices import FakeDevices  # noqa: E402
from beamd_testing.led_board import LedBoard  # noqa: E402
from beamd_testing.peers import PowerDaemon, TemperatureService  # noqa: E402
from beamd_testing.sandbox import Sandbox, require_namespace  # noqa: E402
from beamd_testing.services import Light  # noqa: E402
from beamd_testing.syslog import Syslog  # noqa: E402
from beamd_testing.timeline import Timeline  # noqa: E402


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "memcheck: calls much of the program: run under valgrind as well")
    config.addinivalue_line("markers", "slow: takes so long that each should be another worker's")
    try:
        require_namespace()
    except RuntimeError as error:
        raise pytest.UsageError(str(error)) from None


def pytest_collection_modifyitems(items: list[pytest.Item]) -> None:
    """Spreads the slow tests: workers take neighbours, a quarter of their share at first."""
    slow = [item for item in items if item.get_closest_marker("slow")]
    quick = [item for item in items if item not in slow]
    share = len(items) // (4 * int(os.environ.get("PYTEST_XDIST_WORKER_COUNT", "1")))
    for number, item in enumerate(slow):
        quick.insert(number * share, item)
    items[:] = quick


@pytest.fixture
def sandbox() -> Iterator[Sandbox]:
    sandbox = Sandbox()
    yield sandbox
    sandbox.close()


@pytest.fixture
def timeline() -> Iterator[Timeline]:
    timeline = Timeline()
    yield timeline
    timeline.close()


@pytest.fixture
def syslog(sandbox: Sandbox, timeline: Timeline) -> Iterator[Syslog]:
    syslog = Syslog(sandbox, timeline)
    yield syslog
    syslog.close()


@pytest.fixture
def bus_policies() -> list[Path]:
    """The policy files on the bus: what the project installs."""
    policy = os.environ.get("BEAMD_BUS_POLICY")
    assert policy, "BEAMD_BUS_POLICY names the project's bus policy, as built; it is not set"
    return [Path(policy)]


@pytest.fixture
def bus(sandbox: Sandbox, timeline: Timeline, syslog: Syslog, bus_policies: list[Path]) -> Iterator[Bus]:
    bus = Bus(sandbox, timeline, bus_policies)
    yield bus
    bus.close()


@pytest.fixture
def temperature_service(bus: Bus) -> TemperatureService:
    """Not started, and without sensors."""
    return TemperatureService(bus)


@pytest.fixture
def power_daemon(bus: Bus) -> PowerDaemon:
    """Not started, and without a status."""
    return PowerDaemon(bus)


@pytest.fixture
def devices(sandbox: Sandbox, timeline: Timeline) -> FakeDevices:
    """A data cache and no I2C bus yet, for a daemon that is started with them."""
    return FakeDevices(sandbox, timeline)


@pytest.fixture
def launch(sandbox: Sandbox, bus: Bus, syslog: Syslog) -> Iterator[Callable[..., Daemon]]:
    """Starts the daemon with the arguments of Daemon and does not wait. Each run is judged in the end."""
    daemons: list[Daemon] = []

    def launch(**options) -> Daemon:
        daemons.append(Daemon(sandbox, bus, syslog, **options))
        return daemons[-1]

    yield launch
    for daemon in daemons:
        daemon.finish()


@pytest.fixture
def daemon(launch: Callable[..., Daemon]) -> Callable[..., Daemon]:
    """Starts the daemon with the arguments of Daemon and waits until it serves the bus."""
    return lambda **options: launch(**options).wait_until_ready()


@pytest.fixture
def beamctl(sandbox: Sandbox) -> Beamctl:
    return Beamctl(sandbox)


@pytest.fixture
def board_type(request: pytest.FixtureRequest) -> type[LedBoard]:
    """The board that all tests of a module have, unless they are parametrized with others."""
    return request.module.BOARD


@pytest.fixture
def example(sandbox: Sandbox, board_type: type[LedBoard], temperature_service: TemperatureService) -> LedBoard:
    """The example of a light, with its board and its sensors."""
    board = board_type(sandbox)
    temperature_service.set_sensors(board.SENSORS)
    temperature_service.start()
    return board


@pytest.fixture
def board(example: LedBoard) -> LedBoard:
    """The same, but no tick of the regulator comes in between unless that is what is tested."""
    example.configure("dimming.conf", sample_time=3600)
    return example


@pytest.fixture
def serve(
    daemon: Callable[..., Daemon], board: LedBoard, power_daemon: PowerDaemon, request: pytest.FixtureRequest
) -> Callable[..., Daemon]:
    """Starts the daemon with these options, which serves the board's light with the power daemon's help."""

    def serve(*options: str) -> Daemon:
        power_daemon.start()
        devices = request.getfixturevalue("devices") if board.NEEDS_DEVICES else None
        return daemon(argv=["--no-daemon", *options], devices=devices)

    return serve


@pytest.fixture
def light(serve: Callable[..., Daemon], bus: Bus, board: LedBoard) -> Callable[..., Light]:
    """The board's light, served: dark, and without a grant."""

    def light(*options: str) -> Light:
        serve(*options)
        board.forget()
        return Light(bus.client)

    return light


@pytest.fixture
def lit(light: Callable[..., Light], board: LedBoard) -> Callable[..., Light]:
    """The light when it is on, with all the power that it can use."""

    def lit(*options: str) -> Light:
        lamp = light(*options)
        lamp.call("SetPower", "(d)", board.PLENTY)
        lamp.switch(True)
        board.forget()
        return lamp

    return lit


@pytest.fixture
def ticking(lit: Callable[..., Light], board: LedBoard) -> Callable[..., Light]:
    """The lit light with a tick each second, of a regulator without memory unless @p settings tell otherwise."""

    def ticking(*options: str, **settings: object) -> Light:
        board.configure("dimming.conf", **{"sample_time": 1, "k_i": 0, **settings})
        return lit(*options)

    return ticking
