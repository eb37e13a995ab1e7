"""Fixtures of the tests that run the real daemon: a sandbox, its log, its bus, its peers and beamd itself."""

from __future__ import annotations

import os
import sys
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

REPOSITORY = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(REPOSITORY / "tests/support"))

from beamd_testing.bus import Bus  # noqa: E402
from beamd_testing.daemon import Daemon  # noqa: E402
from beamd_testing.devices import FakeDevices  # noqa: E402
from beamd_testing.peers import PowerDaemon, TemperatureService  # noqa: E402
from beamd_testing.sandbox import Sandbox, require_namespace  # noqa: E402
from beamd_testing.syslog import Syslog  # noqa: E402
from beamd_testing.timeline import Timeline  # noqa: E402


def pytest_configure() -> None:
    try:
        require_namespace()
    except RuntimeError as error:
        raise pytest.UsageError(str(error)) from None


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
