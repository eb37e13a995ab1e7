"""Lights on a serial link: what the daemon calls of the link's library, and lights whose library or head is missing."""

from __future__ import annotations

import os
import shutil

import pytest

from beamd_testing import layout
from beamd_testing import syslog as log
from beamd_testing.configuration import beamd_conf
from beamd_testing.installation import (
    BEAMD_CONF,
    defaults_path,
    install_board,
    install_dummies,
    install_example,
    install_light,
    state_path,
)
from beamd_testing.led_board import demand_no_board
from beamd_testing.log_lines import TERMINATING
from beamd_testing.services import Controller, Light, announced, events

pytestmark = pytest.mark.memcheck

LIBRARY = "/usr/lib/libserial_link_backend.so"
CALLS = "/run/serial_backend.calls"
LOADED = ["create", "initialise 0"]

NO_EXPANDER = (log.WARNING, "Can't find expander_type, setting as 0, none")
NOT_OPENED = (
    log.ERR,
    f"Failed to open lib {LIBRARY}: {LIBRARY}: cannot open shared object file: No such file or directory",
)


class Link:
    """The example, the library, and a record of what it is called for."""

    def __init__(self, sandbox) -> None:
        self.sandbox = sandbox
        install_example(sandbox, "LEDSERIALLINK")
        sandbox.write(CALLS, "", owner=(layout.USERS["light"][0], 0))

    def install(self, variable: str = "BEAMD_SERIAL_BACKEND") -> None:
        built = os.environ.get(variable)
        assert built, f"{variable} names a built library of serial links; it is not set"
        shutil.copy(built, self.sandbox.path(LIBRARY))

    def take(self) -> list[str]:
        """What has been called since the last look."""
        found = self.sandbox.read(CALLS).splitlines()
        self.sandbox.path(CALLS).write_text("")
        return found

    def expander_types(self, *types: int | None) -> None:
        """One light for each, on the channel of its number."""
        self.sandbox.write(BEAMD_CONF, beamd_conf(["LEDSERIALLINK"] * len(types)))
        state, defaults = self.sandbox.read(state_path(0)), self.sandbox.read(defaults_path(0))
        for number, kind in enumerate(types):
            line = f"expander_type={kind}\n" if kind is not None else ""
            self.sandbox.write(state_path(number), state.replace("expander_type=0\n", line))
            self.sandbox.write(defaults_path(number), defaults)

    def add_dummy(self, number: int) -> None:
        """Gives the daemon a light of another type behind that many of these."""
        self.sandbox.write(BEAMD_CONF, beamd_conf(["LEDSERIALLINK"] * number + ["Dummy"]))
        install_light(self.sandbox, number)
        install_board(self.sandbox, leds=1)


@pytest.fixture
def link(sandbox) -> Link:
    return Link(sandbox)


@pytest.fixture
def library(link) -> Link:
    """The link with its library installed."""
    link.install()
    return link


def no_head(channel: int) -> tuple[int, str]:
    return (log.INFO, f"No IR head found on channel {channel}")


def test_example_works_as_it_is(daemon, bus, library, syslog, timeline):
    running = daemon()
    assert Controller(bus.client).lights()[0][:3] == ("led0", "IR", 0)
    assert library.take() == [*LOADED, "probe 0 0", "set_light 0 0"]
    lamp = Light(bus.client)
    for on in (True, False, True):
        mark = timeline.now()
        lamp.switch(on)
        assert lamp.is_on() is on
        assert library.take() == [f"set_light 0 {int(on)}"]
        assert events(bus, mark) == announced("ON" if on else "OFF")
    running.stop()
    assert library.take() == ["set_light 0 0", "unload"]
    assert syslog.texts() == [TERMINATING]


def test_library_that_no_light_needs_is_not_loaded(daemon, sandbox, bus, library):
    install_dummies(sandbox, {})
    running = daemon()
    lamp = Light(bus.client)
    lamp.switch(True)
    assert lamp.is_on()
    running.stop()
    assert library.take() == []


class TestCalls:
    def test_lights_share_the_library(self, daemon, bus, library):
        library.expander_types(0, 5, -1)
        running = daemon()
        probed = [call for n, kind in enumerate((0, 5, -1)) for call in (f"probe {n} {kind}", f"set_light {n} 0")]
        assert library.take() == [*LOADED, *probed]
        for number in (2, 0):
            Light(bus.client, number).switch(True)
        assert library.take() == ["set_light 2 1", "set_light 0 1"]
        assert [Light(bus.client, number).is_on() for number in range(3)] == [True, False, True]
        running.stop()
        assert library.take() == ["set_light 0 0", "set_light 2 0", "unload"]

    @pytest.mark.parametrize("line", ["", "expander_type=none\n"])
    def test_expander_type_that_cannot_be_read_is_0(self, daemon, sandbox, library, syslog, line):
        text = sandbox.read(state_path(0))
        sandbox.write(state_path(0), text.replace("expander_type=0\n", line))
        daemon()
        assert library.take() == [*LOADED, "probe 0 0", "set_light 0 0"]
        assert syslog.texts() == [NO_EXPANDER]

    def test_light_that_is_on_is_switched_on_again(self, daemon, bus, library):
        daemon()
        lamp = Light(bus.client)
        lamp.call("SetIntensity", "(i)", 100)
        library.take()
        lamp.switch(True)
        lamp.switch(True)
        lamp.call("SetIntensity", "(i)", 100)
        lamp.call("SetEnabled", "(b)", False)
        assert library.take() == ["set_light 0 1"] * 3 + ["set_light 0 0"]

    @pytest.mark.parametrize("options, told", [((), []), (("--debug",), [(log.INFO, "(6:0):")])])
    def test_what_the_library_tells(self, launch, library, devices, syslog, options, told):
        running = launch(argv=["--no-daemon", *options], devices=devices).wait_until_ready()
        assert "serial backend: ready, 100%\n" in running.stderr
        assert [line for line in syslog.texts() if line[1].startswith("(")] == told


class TestFailures:
    def test_no_library(self, daemon, bus, link, syslog):
        link.expander_types(0, 0)
        link.add_dummy(2)
        daemon()
        # Each light tries to load it.
        assert syslog.texts() == [NOT_OPENED, NOT_OPENED, no_head(0), no_head(1)]
        for number in range(2):
            demand_no_board(Light(bus.client, number))
        other = Light(bus.client, 2)
        other.switch(True)
        assert other.is_on() and other.get("CardDetected")
        assert link.take() == []

    def test_library_without_its_entry(self, daemon, bus, link, syslog):
        link.install("BEAMD_SERIAL_BACKEND_WITHOUT_ENTRY")
        link.add_dummy(1)
        daemon()
        assert syslog.texts() == [(log.ERR, "Failed to find symbol lib_serial_link_create"), no_head(0)]
        demand_no_board(Light(bus.client))
        other = Light(bus.client, 1)
        other.switch(True)
        assert other.is_on()
        assert link.take() == ["unload"]

    def test_library_that_is_none(self, daemon, sandbox, bus, link, syslog):
        sandbox.write(LIBRARY, "not a library")
        daemon()
        [(priority, complaint), last] = syslog.texts()
        assert priority == log.ERR and complaint.startswith(f"Failed to open lib {LIBRARY}: ")
        assert last == no_head(0)
        demand_no_board(Light(bus.client))

    def test_missing_head_is_no_concern_of_the_others(self, daemon, bus, library, syslog):
        library.expander_types(0, 0, 0)
        daemon(environment={"SERIAL_BACKEND_PROBE": "1=-1"})
        assert syslog.texts() == [no_head(1)]
        probed = [call for n in range(3) for call in (f"probe {n} 0", f"set_light {n} 0")]
        assert library.take() == [*LOADED, *probed]
        demand_no_board(Light(bus.client, 1))
        for number in (0, 2):
            lamp = Light(bus.client, number)
            lamp.switch(True)
            assert lamp.is_on()
        assert library.take() == ["set_light 0 1", "set_light 2 1"]

    def test_library_that_cannot_probe_has_no_heads(self, daemon, bus, library, syslog):
        daemon(environment={"SERIAL_BACKEND_LACKS": "probe"})
        assert syslog.texts() == [no_head(0)]
        demand_no_board(Light(bus.client))

    def test_library_that_cannot_switch(self, daemon, bus, library, syslog):
        daemon(environment={"SERIAL_BACKEND_LACKS": "set_light"})
        lamp = Light(bus.client)
        lamp.switch(True)
        assert lamp.is_on()
        assert library.take() == [*LOADED, "probe 0 0"]
        assert syslog.texts() == []
