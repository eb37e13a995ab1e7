"""A board whose LEDs have attribute files, with the configuration of an example."""

from __future__ import annotations

import configparser
import time
from collections.abc import Iterable

import pytest

from . import layout
from .bus_client import BusError
from .configuration import value_text
from .installation import install_example
from .sandbox import Sandbox
from .services import Light
from .timeline import TIMEOUT

Access = tuple[int, int, int]  # owner, group, mode

# Whose a file is until the daemon gives it away.
FRESH: Access = (*layout.USERS["nobody"], 0o600)
# And whose the files are that it writes.
LIGHTS: Access = (FRESH[0], layout.USERS["light"][1], 0o664)


class LedBoard:
    """A board that is there, and cool.

    @p written are the files that the daemon writes, and which are told in this order. Their contents are what
    was written since they were last looked at: the daemon does not cut them.
    """

    EXAMPLE: str
    PLENTY: float  # watts: all that the light of the example can use
    SENSORS = {"IlluminationBoard": 3, "IlluminationDriver": 4}
    AT_START: list[tuple[int, str]] = []  # what the log tells
    NEEDS_DEVICES = False

    def __init__(self, sandbox: Sandbox, written: Iterable[str]) -> None:
        self.sandbox = sandbox
        self.written = list(written)
        install_example(sandbox, self.EXAMPLE)
        for sensor in self.SENSORS.values():
            self.heat(sensor, 40)

    def given(self) -> list[str]:
        """The files that the daemon gives to the group of the user "light"."""
        return self.written

    def dark(self) -> list[str]:
        """What is written to the files of a light that is off."""
        return ["0"] * len(self.written)

    def lit(self, *, reduction: float = 0.0) -> list[str]:
        """The same for one that is on, at its first intensity and with all the power that it asks for."""
        raise NotImplementedError

    def need(self) -> float:
        """The watts that it asks for."""
        raise NotImplementedError

    def reference(self) -> float:
        """What the regulator reduces, and by how much at the most."""
        raise NotImplementedError

    def write_failure(self, led: int, on: bool) -> str:
        """What the log tells when the LED cannot be switched."""
        raise NotImplementedError

    def write(self, path: str, content: str = "", mode: int = FRESH[2]) -> None:
        """Makes a file that nobody has been given yet."""
        self.sandbox.write(path, content, mode, FRESH[:2])

    def access(self, path: str) -> Access:
        status = self.sandbox.path(path).stat()
        return status.st_uid, status.st_gid, status.st_mode & 0o7777

    def configure(self, name: str, **values: object) -> None:
        """Changes keys of one of the example's files."""
        path = f"/etc/beamd/{name}"
        lines = self.sandbox.read(path).splitlines()
        for key, value in values.items():
            places = [place for place, line in enumerate(lines) if line.startswith(f"{key}=")]
            assert len(places) == 1, f"{key} is not once in {path}"
            lines[places[0]] = f"{key}={value_text(value)}"
        self.sandbox.write(path, "\n".join(lines) + "\n")

    def setting(self, name: str, key: str, group: str = "common") -> str:
        return self.key_file(name)[group][key]

    def key_file(self, name: str) -> configparser.ConfigParser:
        parser = configparser.ConfigParser()
        parser.read_string(self.sandbox.read(f"/etc/beamd/{name}"))
        return parser

    def append(self, name: str, lines: str) -> None:
        path = f"/etc/beamd/{name}"
        self.sandbox.write(path, self.sandbox.read(path) + lines)

    def add_sensors(self, count: int) -> None:
        """Names that many in the settings beside those of the example."""
        numbers = range(len(self.SENSORS) + 1, len(self.SENSORS) + 1 + count)
        self.append("dimming.conf", "".join(f"temp_sensor_id{number}=IlluminationBoard\n" for number in numbers))

    def heat(self, sensor: int, celsius: float) -> None:
        path = f"/sys/class/thermal/thermal_zone{sensor}/temp"
        self.sandbox.write(f"{path}.new", f"{round(celsius * 1000)}\n")
        self.sandbox.path(f"{path}.new").rename(self.sandbox.path(path))

    def break_sensor(self, sensor: int) -> None:
        self.sandbox.path(f"/sys/class/thermal/thermal_zone{sensor}/temp").unlink()

    def take(self) -> list[str]:
        """What was written to each file; it is gone then."""
        found = [self.sandbox.read(path) for path in self.written]
        self.forget()
        return found

    def forget(self) -> None:
        for path in self.written:
            self.sandbox.path(path).write_text("")

    def wait_for(self, expected: list[str]) -> None:
        """Waits for a tick of the regulator that writes this."""
        deadline = time.monotonic() + TIMEOUT
        while (found := [self.sandbox.read(path) for path in self.written]) != expected:
            assert time.monotonic() < deadline, f"{found} is written, not {expected}"
            if all(found):
                self.forget()
            time.sleep(0.02)

    def fill_up(self, path: str) -> None:
        """From now on the file opens and takes nothing."""
        file = self.sandbox.path(path)
        file.rename(file.with_name(file.name + ".hidden"))
        file.symlink_to("/dev/full")

    def mend(self, path: str) -> None:
        file = self.sandbox.path(path)
        file.unlink()
        file.with_name(file.name + ".hidden").rename(file)


class MilliwattBoard(LedBoard):
    """Its LEDs share the granted power in proportion to the milliwatts that they are to have."""

    LOST_SENSOR: str  # what the log tells, before the sensor's number, of one that cannot be read

    def requested(self, intensity: int = 10**6) -> list[int]:
        """The milliwatts that the LEDs are to have of a light of that intensity."""
        return [min(each, intensity) for each in numbers(self.setting("led0.conf", "intensities"))]

    def need(self) -> float:
        return sum(self.requested()) / 1000


def numbers(text: str) -> list[int]:
    """The numbers of a list in a key file."""
    return [int(number) for number in text.split(";") if number]


def demand_no_board(lamp: Light) -> None:
    """Demands that the light tells that its board is missing."""
    assert not lamp.get("CardDetected")
    with pytest.raises(BusError) as refusal:
        lamp.switch(True)
    assert (refusal.value.domain, refusal.value.code) == ("light-control-error-quark", 6)
    assert refusal.value.message == "No IR light PCB found"
