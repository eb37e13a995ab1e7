"""beamctl monitor: what happens, as it comes."""

from __future__ import annotations

import json
import os
import re
import signal
import subprocess
from collections.abc import Callable, Iterator
from typing import Any

import pytest
from beamd_testing import coverage
from beamd_testing.beamctl import SilentBus, command, read_until, strict_json, variables
from beamd_testing.bus import BEAMD
from beamd_testing.bus_client import BusClient
from beamd_testing.daemon import complaints
from beamd_testing.installation import install_dummies
from beamd_testing.sandbox import child_of
from beamd_testing.services import Light
from gi.repository import GLib

NOT_RUNNING = {"event": "not-running", "owner": None}
HOSTILE = "\033[31m\a\nIR \\ \"red\" a=b"


class Monitor:
    """beamctl monitor while it runs."""

    def __init__(self, sandbox, *arguments: str, output: int = subprocess.PIPE) -> None:
        self.sandbox = sandbox
        self._run = coverage.new_run()
        self._process = sandbox.popen(
            command("monitor", *arguments),
            env=variables(self._run),
            stdout=output,
            stderr=subprocess.PIPE,
            text=True,
        )
        self._pid = child_of(self._process.pid)

    def line(self) -> str:
        """The next line, without the time."""
        line = self._next()
        assert re.match(r"\d\d:\d\d:\d\d  ", line), line
        return line[10:].removesuffix("\n")

    def event(self) -> dict[str, Any]:
        event = strict_json(self._next())
        assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d+)?Z", event.pop("time"))
        return event

    def _next(self) -> str:
        return read_until(self._process.stdout.fileno(), "\n")

    def started(self) -> str:
        """Reads that the daemon runs: who it is."""
        event = self.event()
        owner = event.pop("owner")
        assert owner.startswith(":1.") and event == {"event": "running"}
        return owner

    def end(self, number: signal.Signals = signal.SIGINT) -> tuple[int, str, str]:
        """Ends it: its status and what was left to read."""
        os.kill(self._pid, number)
        return self.wait()

    def wait(self) -> tuple[int, str, str]:
        out, err = self._process.communicate(timeout=60)
        coverage.hand_over(self._run)
        assert not complaints(err), err
        return self._process.returncode, out, err

    def close(self) -> None:
        if self._process.poll() is None:
            self.end(signal.SIGKILL)


@pytest.fixture
def monitor(sandbox, bus) -> Iterator[Callable[..., Monitor]]:
    monitors: list[Monitor] = []

    def monitor(*arguments: str, **options: Any) -> Monitor:
        monitors.append(Monitor(sandbox, *arguments, **options))
        return monitors[-1]

    yield monitor
    for each in monitors:
        each.close()


def switched(sender: str, state: str, number: int, kind: str) -> list[dict[str, Any]]:
    return [
        {"event": "LightStatusChanged", "sender": sender, "values": {"state": state}},
        {"event": "LightStatus", "sender": sender, "values": {"id": number, "type": kind, "state": state}},
    ]


def left(owner: str) -> dict[str, Any]:
    return {"event": "not-running", "owner": owner}


def test_each_event_comes_once_and_in_order(daemon, sandbox, bus, monitor) -> None:
    install_dummies(sandbox, {}, {"common": {"ledtype": "Weiß"}})
    daemon()
    watching = monitor("--json")
    owner = watching.started()
    changes = [(number, state) for _ in range(10) for number in (0, 1) for state in (True, False)]
    for number, state in changes:
        Light(bus.client, number).switch(state)
    for number, state in changes:
        wanted = switched(owner, "ON" if state else "OFF", number, ["IR", "Weiß"][number])
        assert [watching.event(), watching.event()] == wanted
    assert watching.end() == (0, "", "")


def test_for_people(daemon, sandbox, bus, monitor) -> None:
    install_dummies(sandbox, {})
    running = daemon()
    watching = monitor()
    assert re.fullmatch(r"running  beamd is :1\.\d+", watching.line())
    Light(bus.client).switch(True)
    assert watching.line() == "LightStatusChanged  state=ON"
    assert watching.line() == "LightStatus  id=0 state=ON type=IR"
    running.stop()
    assert watching.line() == "not-running  beamd is not on the bus"
    assert watching.end() == (0, "", "")


def test_daemon_that_comes_and_goes(daemon, sandbox, bus, monitor) -> None:
    install_dummies(sandbox, {})
    watching = monitor("--json")
    assert watching.event() == NOT_RUNNING
    running = daemon()
    first = watching.started()
    Light(bus.client).switch(True)
    assert [watching.event(), watching.event()] == switched(first, "ON", 0, "IR")
    running.kill()
    assert watching.event() == left(first)
    daemon()
    second = watching.started()
    assert second != first
    Light(bus.client).switch(True)
    assert [watching.event(), watching.event()] == switched(second, "ON", 0, "IR")
    assert watching.end(signal.SIGTERM) == (0, "", "")


def test_what_is_of_no_interest(bus, monitor) -> None:
    watching = monitor("--json")
    assert watching.event() == NOT_RUNNING
    values = GLib.Variant("(a{sv})", ({"state": GLib.Variant("s", "ON")},))
    for path, interface, member, content in [
        ("/com/velk/Event", "com.velk.Event", "MotionDetected", values),
        ("/com/velk/Event", "com.velk.Event", "LightStatus", GLib.Variant("(s)", ("ON",))),
        ("/com/velk/Other", "com.velk.Event", "LightStatus", values),
        ("/com/velk/Event", "com.velk.Event", "LightStatus", values),
    ]:
        bus.client.connection.emit_signal(None, path, interface, member, content)
    sender = bus.client.connection.get_unique_name()
    assert watching.event() == {"event": "LightStatus", "sender": sender, "values": {"state": "ON"}}
    assert watching.end() == (0, "", "")


def test_bus_that_goes_away(bus, monitor) -> None:
    watching, readable = monitor("--json"), monitor()
    assert watching.event() == NOT_RUNNING
    readable.line()
    bus.stop()
    status, rest, complaint = watching.wait()
    assert (status, complaint) == (3, "")
    assert rest.count("\n") == 1
    error = json.loads(rest)["error"]
    assert (error["code"], error["message"]) == ("bus-unreachable", "the bus has gone")
    advice = "is the bus running? systemctl status dbus"
    assert readable.wait() == (3, "", f"beamctl: the bus has gone\n{advice}\n")


def test_reader_that_has_left(bus, sandbox, monitor) -> None:
    ours, theirs = os.pipe()
    watching = monitor(output=theirs)
    os.close(theirs)
    assert b"not-running" in os.read(ours, 4096)
    os.close(ours)
    values = GLib.Variant("(a{sv})", ({"state": GLib.Variant("s", "ON")},))
    bus.client.connection.emit_signal(None, "/com/velk/Event", "com.velk.Event", "LightStatus", values)
    assert watching.wait() == (1, None, "beamctl: cannot write the output: Broken pipe\n")


def test_name_that_other_programs_own(bus, monitor) -> None:
    watching = monitor("--json")
    assert watching.event() == NOT_RUNNING
    bus.client.ask_bus("RequestName", "(su)", BEAMD, 1)
    first = watching.started()
    assert first == bus.client.connection.get_unique_name()
    other = BusClient(bus.address, BEAMD)
    other.ask_bus("RequestName", "(su)", BEAMD, 2)
    second = other.connection.get_unique_name()
    assert [watching.event(), watching.started()] == [left(first), second]
    other.close()
    assert [watching.event(), watching.started()] == [left(second), first]
    bus.client.ask_bus("ReleaseName", "(s)", BEAMD)
    assert watching.event() == left(first)


def test_texts_that_are_not_for_a_terminal(bus, monitor) -> None:
    watching, readable = monitor("--json"), monitor()
    assert watching.event() == NOT_RUNNING
    readable.line()
    told = {"type": HOSTILE, "a b": "", "long": "x" * 50_000, "odd": float("nan")}
    values = {key: GLib.Variant("d" if key == "odd" else "s", value) for key, value in told.items()}
    content = GLib.Variant("(a{sv})", (values,))
    bus.client.connection.emit_signal(None, "/com/velk/Event", "com.velk.Event", "LightStatus", content)
    assert watching.event()["values"] == told | {"odd": None}
    odd = "\N{REPLACEMENT CHARACTER}"
    shown = readable.line()
    assert shown.startswith("LightStatus  ") and "\033" not in shown
    assert f'type="{odd}[31m{odd}{odd}IR \\\\ \\"red\\" a=b"' in shown
    assert '"a b"=""' in shown and f"long={'x' * 50_000}" in shown


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_is_interrupted_while_it_waits_for_the_bus(sandbox, monitor, number: signal.Signals) -> None:
    with SilentBus(sandbox) as silent:
        watching = monitor("--bus", silent.address)
        silent.wait_for_hello()
        assert watching.end(number) == (-number, "", "")
