"""A board of attribute files whose light follows the lens."""

from __future__ import annotations

import array
import fcntl
import termios
import time
from fractions import Fraction
from typing import BinaryIO

from .led_board import LedBoard, numbers
from .regulator import single
from .sandbox import Sandbox
from .services import Light
from .timeline import TIMEOUT

DATA_CACHE = "/dev/datacache0"


def led_file(led: int) -> str:
    return f"/sys/class/leds/ir{led}/brightness"


def angle_of(lamp: Light) -> int:
    return lamp.call("GetCurrentAngleOfIllumination")


class SysfsBoard(LedBoard):
    """Knows what the example's table makes of an angle, an intensity, a grant and a reduction."""

    EXAMPLE = "LEDSYSFS"
    PLENTY = 5.0
    LEDS = 3
    NEEDS_DEVICES = True

    def __init__(self, sandbox: Sandbox) -> None:
        super().__init__(sandbox, map(led_file, range(self.LEDS)))
        for path in self.written:
            self.write(path, "7")
        self.factor = single(float(self.setting("led0.conf", "powerusagefactor")))

    def rows(self) -> list[tuple[int, list[tuple[int, list[int]]]]]:
        """The table: angles with intensities with the milliwatts of each LED."""
        table = self.key_file("illumination.conf")
        return [
            (int(name), [(int(intensity), numbers(levels)) for intensity, levels in table[name].items()])
            for name in table.sections()[1:]
        ]

    def powers(self, angle: int, intensity: int = 50) -> list[int]:
        """The milliwatts of each LED."""
        rows = self.rows()
        points = next((points for row, points in reversed(rows) if row <= angle), rows[0][1])
        assert len(points) == 2
        return on_the_line(*points, intensity)

    def need(self, powers: list[int] | None = None) -> float:
        return single(sum(powers or self.powers(70)) * self.factor)

    def levels(self, angle: int, intensity: int = 50, watts: float = PLENTY, reduction: float = 0.0) -> list[str]:
        """What the LEDs have to be given."""
        powers = self.powers(angle, intensity)
        allowed = int(watts / self.factor)
        if sum(powers) > allowed:
            powers = [int(each / sum(powers) * allowed) for each in powers]
        if sum(powers) and reduction:
            total = sum(powers)
            powers = [int(float(each - Fraction(each / total) * Fraction(reduction))) for each in powers]
        return [str(max(each, 0)) for each in powers]

    def lit(self, *, reduction: float = 0.0) -> list[str]:
        return self.levels(70, reduction=reduction)

    def reference(self) -> float:
        return sum(self.powers(70))

    def write_failure(self, led: int, on: bool) -> str:
        contents = self.lit() if on else self.dark()
        return f"Write failure to led {led} - {contents[led]}mW"

    def wait_for_writes(self) -> list[str]:
        """Waits until all LEDs have been written, in their order, and takes what it was."""
        deadline = time.monotonic() + TIMEOUT
        while not self.sandbox.read(self.written[-1]):
            assert time.monotonic() < deadline, "nothing is written"
            time.sleep(0.0005)
        return self.take()

    def unread_news(self) -> int:
        """How much the data cache has told that has not been read."""
        count = array.array("i", [0])
        with self.data_cache() as cache:
            fcntl.ioctl(cache, termios.FIONREAD, count)
        return count[0]

    def wait_until_read(self) -> None:
        """Returns when there is no more news; fails when it does not become less."""
        left = self.unread_news()
        deadline = time.monotonic() + TIMEOUT
        while now := self.unread_news():
            if now < left:
                left, deadline = now, time.monotonic() + TIMEOUT
            assert time.monotonic() < deadline, f"{left} of the data cache's news are not read"
            time.sleep(0.001)

    def data_cache(self) -> BinaryIO:
        return self.sandbox.path(DATA_CACHE).open("r+b", buffering=0)


def on_the_line(low: tuple[int, list[int]], high: tuple[int, list[int]], intensity: int) -> list[int]:
    """The levels at an intensity on the line through two points of a row, or beyond them."""
    quota = single((intensity - low[0]) / (high[0] - low[0]))
    return [int(single((above - below) * quota + below)) for below, above in zip(low[1], high[1])]
