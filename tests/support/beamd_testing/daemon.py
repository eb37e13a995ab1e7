"""The real beamd, run in a sandbox."""

from __future__ import annotations

import os
import re
import shlex
import signal
import subprocess
import tempfile
import time
from collections.abc import Sequence
from pathlib import Path

from . import coverage
from .bus import BEAMD, Bus
from .bus_client import BusError
from .devices import FakeDevices
from .sandbox import Sandbox, child_of
from .syslog import INFO, Syslog

CONTROLLER_PATH = "/com/velk/LightController"
CONTROLLER_INTERFACE = "com.velk.LightController.Common"

# A daemon under valgrind or a sanitizer takes its time.
START_TIMEOUT = 60.0
STOP_TIMEOUT = 60.0

_GLIB_COMPLAINT = re.compile(r"^.*(?:CRITICAL|WARNING) \*\*:.*", re.MULTILINE)
_SANITIZER_COMPLAINT = re.compile(
    r"^.*(?:==\d+==ERROR: |: runtime error: |SUMMARY: \w+Sanitizer).*", re.MULTILINE
)
_VALGRIND_LINE = re.compile(r"^==\d+== .*\S.*", re.MULTILINE)
_VALGRIND_SUMMARY = re.compile(r"ERROR SUMMARY: (\d+) errors")


def complaints(output: str) -> list[str]:
    """The lines of @p output in which GLib, a sanitizer or valgrind reports a fault."""
    found = _GLIB_COMPLAINT.findall(output) + _SANITIZER_COMPLAINT.findall(output)
    summary = _VALGRIND_SUMMARY.findall(output)
    if any(int(count) > 0 for count in summary) or not summary:  # a quiet valgrind prints faults only
        found += [line for line in _VALGRIND_LINE.findall(output) if "==ERROR: " not in line]
    return found


class Daemon:
    """One run of the program. Whoever makes one calls finish() at the end, which judges how it went."""

    def __init__(
        self,
        sandbox: Sandbox,
        bus: Bus,
        syslog: Syslog,
        argv: Sequence[str] = ("--no-daemon",),
        binary: str | Path | None = None,
        environment: dict[str, str] | None = None,
        wrapper: Sequence[str] = (),
        detaches: bool = False,
        devices: FakeDevices | None = None,
        expected_complaint: str = "",
    ) -> None:
        """Starts it; see wait_until_ready().

        @p wrapper stands before the command line, and before $BEAMD_WRAPPER. @p detaches tells that @p argv
        lets it put itself into the background. @p devices serve its device files. @p expected_complaint is a
        text in what GLib has to complain of in this run, and which therefore is not fatal.
        """
        self.sandbox = sandbox
        self.bus = bus
        self.syslog = syslog
        self._detaches = detaches
        self._expected_complaint = expected_complaint
        self._ended_as_wanted = False
        self._pid: int | None = None
        self._reports = Path(tempfile.mkdtemp(prefix="daemon", dir=sandbox.top))
        self._reports.chmod(0o1777)
        self._stderr = self._reports / "stderr"
        self._coverage = coverage.new_run()
        self.mark = bus.timeline.now()
        self._devices = devices
        if devices:
            wrapper = [*devices.wrapper(), *wrapper]
        wrapper = [*wrapper, *shlex.split(os.environ.get("BEAMD_WRAPPER", ""))]
        command = [*wrapper, str(binary or _binary()), *argv]
        with self._stderr.open("wb") as stderr:
            self.process = sandbox.popen(
                command,
                env=self._environment() | (environment or {}),
                stdin=subprocess.PIPE if devices else subprocess.DEVNULL,
                stdout=subprocess.PIPE if devices else None,
                stderr=stderr,
            )
        if devices:
            devices.attach(self.process)

    @property
    def stderr(self) -> str:
        return self._stderr.read_text(errors="backslashreplace")

    @property
    def pid(self) -> int:
        """The daemon's process id as this process sees it. Behind a wrapper, known once it is ready."""
        return self._pid or child_of(self.process.pid)

    def status(self) -> dict[str, str]:
        """The fields of the process's status file: "Uid", "Gid", "Groups" and so on."""
        lines = Path(f"/proc/{self.pid}/status").read_text().splitlines()
        return {key: value.strip() for key, value in (line.split(":", 1) for line in lines)}

    def wait_until_ready(self) -> Daemon:
        """Returns once the name is owned and the controller is published on the bus."""
        deadline = time.monotonic() + START_TIMEOUT
        while not (self.bus.has_owner(BEAMD) and self._is_published()):
            assert not self._has_failed(), f"beamd ended while it started:\n{self._account()}"
            assert time.monotonic() < deadline, f"beamd is not on the bus:\n{self._account()}"
            time.sleep(0.01)
        owner = self.bus.client.ask_bus("GetNameOwner", "(s)", BEAMD)
        inner = self.bus.client.ask_bus("GetConnectionUnixProcessID", "(s)", owner)
        self._pid = self.sandbox.outer_pid(inner)
        return self

    def wait_for_exit(self, status: int) -> None:
        """Waits until it ends by itself, and demands that @p status is its exit status."""
        self._ended_as_wanted = True
        found = self.process.wait(STOP_TIMEOUT)
        assert found == status, f"exit status {found}, not {status}:\n{self._account()}"

    def stop(self, number: int = signal.SIGTERM) -> None:
        """Asks it to end, and demands that it does so cleanly."""
        pid = self.pid
        os.kill(pid, number)
        self.wait_for_exit(0)
        self._wait_until_gone(pid)
        self.syslog.wait_for((INFO, "Terminating"), after=self.mark)

    def kill(self) -> None:
        """Ends it at once, without a chance to clean up."""
        pid = self.pid
        os.kill(pid, signal.SIGKILL)
        self._ended_as_wanted = True
        self.process.wait(STOP_TIMEOUT)
        self._wait_until_gone(pid)

    def finish(self) -> None:
        """Stops it if it still runs. Fails if it died, did not stop cleanly or left other complaints() than
        those expected."""
        try:
            if not self._ended_as_wanted:
                assert not self._has_failed(), f"beamd died ({self.process.poll()}):\n{self._account()}"
                self.stop()
        finally:
            coverage.hand_over(self._coverage)
            if self._devices:
                self._devices.detach()
        reports = "\n".join(path.read_text(errors="replace") for path in sorted(self._reports.iterdir()))
        faults = complaints(reports)
        if expected := self._expected_complaint:
            assert any(expected in fault for fault in faults), f"no complaint of {expected!r}:\n{reports}"
            faults = [fault for fault in faults if expected not in fault]
        assert not faults, "beamd complained: " + "\n".join(faults) + "\n" + reports

    def _environment(self) -> dict[str, str]:
        environment = dict(os.environ)
        environment["G_DEBUG"] = "" if self._expected_complaint else "fatal-warnings"
        if platform := os.environ.get("BEAMD_PLATFORM_DIR"):
            environment["LD_LIBRARY_PATH"] = platform
        environment |= coverage.variables(self._coverage)
        # Valgrind names its files after the process, which has the same number in every sandbox.
        environment["TMPDIR"] = str(self._reports)
        # A daemon that has closed its standard streams still reports.
        for name in ("ASAN", "UBSAN", "LSAN"):
            options = os.environ.get(f"{name}_OPTIONS", "")
            environment[f"{name}_OPTIONS"] = f"{options}:log_path={self._reports}/{name.lower()}"
        return environment

    def _is_published(self) -> bool:
        try:
            node = self.bus.client.introspect(CONTROLLER_PATH)
        except BusError:
            return False
        return node.lookup_interface(CONTROLLER_INTERFACE) is not None

    def _has_failed(self) -> bool:
        if self._detaches and self.process.poll() == 0:  # the first process, which has nothing more to do
            return self._pid is not None and self._pid not in self.sandbox.processes()
        return self.process.poll() is not None

    def _wait_until_gone(self, pid: int) -> None:
        deadline = time.monotonic() + STOP_TIMEOUT
        while pid in self.sandbox.processes():
            assert time.monotonic() < deadline, f"beamd did not end:\n{self._account()}"
            time.sleep(0.01)

    def _account(self) -> str:
        return f"{self.stderr}\n{self.bus.timeline}"


def _binary() -> str:
    binary = os.environ.get("BEAMD_BINARY")
    assert binary, "BEAMD_BINARY names the program under test; it is not set"
    return binary
