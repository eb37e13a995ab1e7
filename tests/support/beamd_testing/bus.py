"""The system bus of a sandbox: a real dbus-daemon with the stock configuration."""

from __future__ import annotations

import subprocess
import time
from collections.abc import Iterable
from pathlib import Path
from typing import Any

from gi.repository import GLib

from .bus_client import BusClient
from .bus_monitor import BusMessage, BusMonitor, message
from .sandbox import Sandbox
from .timeline import TIMEOUT, Event, Timeline

BEAMD = "com.velk.LightController"
PEERS = [
    "com.velk.PTZ.Coordinator",
    "com.velk.PowerControl.Consumer",
    "com.velk.PowerControl.Status",
    "com.velk.TemperatureController",
]


def peers_policy() -> str:
    """What the peers' own packages install on a camera: they run as root, and everybody may call them."""
    own = "".join(f'<allow own="{name}"/>' for name in PEERS)
    send = "".join(f'<allow send_destination="{name}"/>' for name in PEERS)
    policies = f'<policy user="root">{own}</policy><policy context="default">{send}</policy>'
    return f"<busconfig>{policies}</busconfig>\n"


class Bus:
    """Runs until close(). Every message is put on the timeline."""

    def __init__(self, sandbox: Sandbox, timeline: Timeline, policies: Iterable[Path] = ()) -> None:
        self.sandbox = sandbox
        self.timeline = timeline
        self.address = sandbox.top / "run/dbus/system_bus_socket"
        self._settled = 0
        sandbox.write("/usr/share/dbus-1/system.d/peers.conf", peers_policy())
        for policy in policies:
            sandbox.write(f"/usr/share/dbus-1/system.d/{policy.name}", policy.read_bytes())
        self._process = self._start()
        self._monitor = BusMonitor(self.address, timeline)
        self.client = BusClient(self.address, BEAMD)

    def wait_for(
        self,
        kind: str,
        member: str,
        interface: str | None = None,
        path: str | None = None,
        after: int = 0,
        timeout: float = TIMEOUT,
    ) -> BusMessage:
        """The first "signal", "call", ... of that name from number @p after of the timeline on."""
        return self.timeline.wait_for(
            message(kind, member, interface, path), timeout, after, f"the {kind} {member} on the bus"
        )

    def messages(
        self, kind: str, member: str, interface: str | None = None, path: str | None = None, after: int = 0
    ) -> list[BusMessage]:
        """What has passed the bus so far, messages sent before this call included."""
        self.settle()
        matches = message(kind, member, interface, path)
        return self.timeline.events(lambda event: matches(event) and event.number >= after)

    def settle(self) -> None:
        """Returns once all that reached the bus before this call is on the timeline."""
        self._settled += 1
        marker = f"beamd.testing.mark{self._settled}"
        self.client.ask_bus("NameHasOwner", "(s)", marker)

        asked = message("call", "NameHasOwner")

        def is_marker(event: Event) -> bool:
            return asked(event) and event.arguments == (marker,)

        self.timeline.wait_for(is_marker, what="the bus to settle")

    def has_owner(self, name: str) -> bool:
        return self.client.ask_bus("NameHasOwner", "(s)", name)

    def wait_for_owner(self, name: str, alive: subprocess.Popen) -> None:
        """Returns once @p name has an owner; fails when @p alive, which is to own it, ends instead."""
        deadline = time.monotonic() + TIMEOUT
        while not self.has_owner(name):
            assert alive.poll() is None, f"the process that should own {name} ended with {alive.returncode}"
            assert time.monotonic() < deadline, f"nobody owns {name}"
            time.sleep(0.005)

    def wait_for_no_owner(self, name: str) -> None:
        deadline = time.monotonic() + TIMEOUT
        while self.has_owner(name):
            assert time.monotonic() < deadline, f"{name} still has an owner"
            time.sleep(0.005)

    def call_as(
        self,
        user: str,
        path: str,
        interface: str,
        method: str,
        *arguments: Any,
        name: str = BEAMD,
        group: str | None = None,
    ) -> tuple[int, str]:
        """Calls as @p user, with the arguments in GVariant's text form; returns exit status and output."""
        call = ["gdbus", "call", "--system", "--dest", name, "--object-path", path]
        call += ["--method", f"{interface}.{method}", *map(str, arguments)]
        result = self.sandbox.run(call, user=user, group=group, check=False)
        return result.returncode, result.stdout

    def close(self) -> None:
        self.client.close()
        self._monitor.close()
        self.stop()

    def stop(self) -> None:
        """Ends the bus under its clients' feet."""
        self.sandbox.end(self._process)

    def _start(self) -> subprocess.Popen:
        log = self.sandbox.top / "dbus-daemon.stderr"
        with log.open("wb") as stderr:
            command = ["dbus-daemon", "--system", "--nofork", "--nopidfile"]
            process = self.sandbox.popen(command, stderr=stderr)
        deadline = time.monotonic() + TIMEOUT
        while True:
            try:
                BusClient(self.address, BEAMD).close()
                return process
            except GLib.Error as error:
                assert process.poll() is None, f"dbus-daemon ended: {log.read_text()}"
                assert time.monotonic() < deadline, f"the bus does not answer: {error}"
                time.sleep(0.005)
