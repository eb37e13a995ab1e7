"""I2C buses and the data cache, served to the daemon by the program fake_devices."""

from __future__ import annotations

import os
import subprocess
from dataclasses import dataclass

from .sandbox import Sandbox
from .timeline import Event, Timeline

_DATA_CACHE = "/dev/datacache0"


@dataclass
class DeviceReport(Event):
    text: str

    def __str__(self) -> str:
        return f"device {self.text}"


class FakeDevices:
    """Serves the daemon that is started with it; see fake_devices.cpp for what it reports.

    What is set before the start is in force when the daemon starts.
    """

    def __init__(self, sandbox: Sandbox, timeline: Timeline) -> None:
        self.timeline = timeline
        self._sandbox = sandbox
        self._early: list[str] = []
        self._process: subprocess.Popen | None = None
        self._pending = b""
        sandbox.fifo(_DATA_CACHE)

    def add_bus(self, number: int) -> None:
        self._sandbox.write(f"/dev/i2c-{number}", "", mode=0o600)

    def set_register(self, bus: int, slave: int, subdevice: int, number: int, value: int) -> None:
        self._command(f"register /dev/i2c-{bus} {slave:x} {subdevice:x} {number:x} {value:x}")

    def fail(self, request: str, error: int) -> None:
        """Lets a request fail with the errno @p error, or work again with 0.

        The requests are "funcs", "slave", "transfer", "subscribe", "unsubscribe" and "read".
        """
        self._command(f"fail {request} {error}")

    def set_field_of_view(self, degrees: float) -> None:
        """Changes the data cache's value, which makes it readable."""
        self._command(f"hfov {degrees}")

    def reports(self, after: int = 0) -> list[str]:
        """What was done to the devices, in order."""
        return [report.text for report in self._reports(after) if not report.text.startswith("done ")]

    def register_writes(self, after: int = 0) -> list[tuple[int, ...]]:
        """Each register written, in order: bus, slave, sub-device, register, value."""
        writes = [text.split()[1:] for text in self.reports(after) if text.startswith("write ")]
        return [(int(path.removeprefix("/dev/i2c-")), *(int(n, 16) for n in rest)) for path, *rest in writes]

    def wait_for(self, text: str, after: int = 0) -> DeviceReport:
        def matches(event: Event) -> bool:
            return isinstance(event, DeviceReport) and event.text == text

        return self.timeline.wait_for(matches, after=after, what=f"the device report {text!r}")

    def wrapper(self) -> list[str]:
        """What stands before the daemon's command line."""
        program = os.environ.get("BEAMD_FAKE_DEVICES")
        assert program, "BEAMD_FAKE_DEVICES names the built fake_devices; it is not set"
        return [program]

    def attach(self, process: subprocess.Popen) -> None:
        """Takes over the pipes of @p process, which was started with wrapper(), and lets the daemon start."""
        self._process = process
        os.set_blocking(process.stdout.fileno(), False)
        self.timeline.record(self)
        for command in [*self._early, "start"]:
            self._command(command)

    def detach(self) -> None:
        if self._process is not None:
            self.timeline.forget(self)
            self._process.stdin.close()
            self._process.stdout.close()

    def fileno(self) -> int:
        return self._process.stdout.fileno()

    def receive(self) -> bool:
        try:
            while data := os.read(self.fileno(), 1 << 16):
                self._pending += data
        except BlockingIOError:
            return True
        return False

    def take_events(self) -> list[Event]:
        *lines, self._pending = self._pending.split(b"\n")
        return [DeviceReport(line.decode()) for line in lines]

    def _command(self, text: str) -> None:
        if self._process is None:
            self._early.append(text)
            return
        mark = self.timeline.now()
        self._process.stdin.write(f"{text}\n".encode())
        self._process.stdin.flush()

        possible = (f"done {text}", f"not understood: {text}")

        def answers(event: Event) -> bool:
            return isinstance(event, DeviceReport) and event.text in possible

        answer = self.timeline.wait_for(answers, after=mark, what=f"the answer to {text!r}")
        assert answer.text.startswith("done "), answer.text

    def _reports(self, after: int) -> list[DeviceReport]:
        return self.timeline.events(lambda event: isinstance(event, DeviceReport) and event.number >= after)
