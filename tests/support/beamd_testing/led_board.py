"""A board whose LEDs have attribute files, with the configuration of an example."""

from __future__ import annotations

import configparser
import time
from collections.abc import Iterable

from . import layout
from .configuration import value_text
from .installation import install_example
from .sandbox import Sandbox
from .timeline import TIMEOUT

Access = tuple[int, int, int]  # owner, group, mode

# Whose a file is until the daemon gives it away.
FRESH: Access = (*layout.USERS["nobody"], 0o600)


class LedBoard:
    """@p written are the files that the daemon writes, and which are told in this order.

    Their contents are what was written since they were last looked at: the daemon does not cut them.
    """

    def __init__(self, sandbox: Sandbox, example: str, written: Iterable[str]) -> None:
        self.sandbox = sandbox
        self.written = list(written)
        install_example(sandbox, example)

    def write(self, path: str, content: str = "") -> None:
        """Makes a file that nobody has been given yet."""
        *owner, mode = FRESH
        self.sandbox.write(path, content, mode, tuple(owner))

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
        parser = configparser.ConfigParser()
        parser.read_string(self.sandbox.read(f"/etc/beamd/{name}"))
        return parser[group][key]

    def requested(self, intensity: int = 10**6) -> list[int]:
        """The milliwatts that the LEDs are to have of a light of that intensity."""
        each = self.setting("led0.conf", "intensities").rstrip(";").split(";")
        return [min(int(milliwatts), intensity) for milliwatts in each]

    def heat(self, sensor: int, celsius: float) -> None:
        self.sandbox.write(f"/sys/class/thermal/thermal_zone{sensor}/temp", f"{round(celsius * 1000)}\n")

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
