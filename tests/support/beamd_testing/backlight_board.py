"""A board of backlights with GPIO lines."""

from __future__ import annotations

import math

from .gpio_lines import GpioLines
from .led_board import MilliwattBoard
from .sandbox import Sandbox


def led_file(led: int, name: str = "brightness") -> str:
    return f"/sys/class/backlight/ir{led}/{name}"


class BacklightBoard(MilliwattBoard):
    """Three LEDs with a line each, of which the second one is active low."""

    EXAMPLE = "LEDBL"
    PLENTY = 2.0
    LEDS = 3
    LOST_SENSOR = "update_temperature: unable to read temperature from             sensor"

    def __init__(self, sandbox: Sandbox) -> None:
        super().__init__(sandbox, map(led_file, range(self.LEDS)))
        for led in range(self.LEDS):
            for name in ("bl_power", "brightness", "max_brightness"):
                self.write(led_file(led, name))
        self.lines = GpioLines(self, (0, 1, 0))

    def given(self) -> list[str]:
        return [led_file(led, name) for led in range(self.LEDS) for name in ("bl_power", "brightness")]

    def lit(
        self, watts: float = PLENTY, requested: list[int] | None = None, *, reduction: float = 0.0
    ) -> list[str]:
        requested = requested or self.requested()
        keys = ("intensityLOW", "intensityHIGH", "max_brightness_level")
        low, high, scale = (int(self.setting("led0.conf", key)) for key in keys)
        left = int(watts * 1000.0) - reduction
        shares = (math.floor(each / sum(requested) * left) for each in requested)
        levels = [low if share < low else min(share, high) for share in shares]
        return self._contents([(level - low) * scale // (high - low) for level in levels])

    def dark(self) -> list[str]:
        return self._contents([0] * self.LEDS)

    def reference(self) -> float:
        return int(self.setting("led0.conf", "manualintensity"))

    def _contents(self, brightness: list[int]) -> list[str]:
        return [*map(str, brightness), *self.lines.levels(*map(bool, brightness))]
