"""A board behind a micro-controller, as the kernel offers it: attribute files and a thermal zone."""

from __future__ import annotations

import re
import time

from . import layout
from .sandbox import Sandbox
from .timeline import TIMEOUT

FOLDER = "/sys/devices/platform/illumination"
DIMMING_CONF = "/etc/beamd/dimming.conf"

# Longer than any number that may be written.
_BLANK = "-" * 12


class McuBoard:
    """A board that is there and lukewarm, with one channel.

    The channel's file is a plain one: other than the kernel's it keeps the rest of what it held. Therefore it
    is filled with blanks after each look at it. The temperature tick may write the value that stands over
    again before a new one comes.
    """

    def __init__(self, sandbox: Sandbox, folder: str = FOLDER) -> None:
        self.sandbox = sandbox
        self.mark = f"{folder}/QXID"
        self.channel = f"{folder}/led0"
        self.value: int | None = None  # what has been written last
        sandbox.write(self.mark, "1")
        self.make_channel()
        self.warm(45.0)

    def make_channel(self, owner: tuple[int, int] = (layout.USERS["nobody"][0], 0)) -> None:
        """Makes the channel's file, which its group may write, anew."""
        self.sandbox.path(self.channel).unlink(missing_ok=True)
        self.sandbox.write(self.channel, _BLANK, mode=0o664, owner=owner)

    def break_channel(self) -> None:
        """Lets writing the channel fail."""
        path = self.sandbox.path(self.channel)
        path.unlink()
        path.symlink_to("/dev/full")

    def mend_channel(self) -> None:
        self.make_channel((0, layout.USERS["light"][1]))

    def warm(self, celsius: float) -> None:
        """Sets the temperature that the sensor with the id 0 measures."""
        path = "/sys/class/thermal/thermal_zone0/temp"
        self.sandbox.write(f"{path}.new", f"{round(celsius * 1000)}\n")
        self.sandbox.path(f"{path}.new").rename(self.sandbox.path(path))

    def takes(self, *values: int) -> None:
        """Demands that these values have been written since the last look, in this order."""
        found = self.sandbox.read(self.channel)
        assert found in self._contents(values), f"{found!r} is not what {values} leave behind"
        self._look_away(values)

    def wait_for(self, *values: int) -> None:
        """Waits until they have been written."""
        deadline = time.monotonic() + TIMEOUT
        while (found := self.sandbox.read(self.channel)) not in self._contents(values):
            assert time.monotonic() < deadline, f"{found!r} is not what {values} leave behind"
            time.sleep(0.005)
        self._look_away(values)

    def _contents(self, values: tuple[int, ...]) -> set[str]:
        before = () if self.value is None else (self.value,)
        return {_left_behind(values), _left_behind((*before, *values))}

    def _look_away(self, values: tuple[int, ...]) -> None:
        self.value = values[-1] if values else self.value
        with self.sandbox.path(self.channel).open("r+") as file:
            file.write(_BLANK)


def _left_behind(values: tuple[int, ...]) -> str:
    content = _BLANK
    for text in map(str, values):
        content = text + content[len(text) :]
    return content


def set_keys(sandbox: Sandbox, path: str, **values: object) -> None:
    """Gives keys that the key file at @p path has already these values."""
    text = sandbox.read(path)
    for key, value in values.items():
        text, count = re.subn(rf"^{key}=.*$", f"{key}={value}", text, flags=re.MULTILINE)
        assert count == 1, f"{path} has {count} keys {key}"
    sandbox.write(path, text)
