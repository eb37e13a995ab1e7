"""The board of a fisheye camera."""

from __future__ import annotations

from .led_board import MilliwattBoard
from .sandbox import Sandbox


def led_file(led: int) -> str:
    return f"/sys/class/leds/fisheye{led}/power"


class FisheyeBoard(MilliwattBoard):
    EXAMPLE = "LEDFISHEYEI2C"
    PLENTY = 5.0
    LEDS = 4
    LOST_SENSOR = "update_temperature: unable to read temperature from sensor"

    def __init__(self, sandbox: Sandbox) -> None:
        super().__init__(sandbox, map(led_file, range(self.LEDS)))
        for path in self.written:
            self.write(path, "7")

    def lit(
        self, watts: float = PLENTY, requested: list[int] | None = None, *, reduction: float = 0.0
    ) -> list[str]:
        requested = requested or self.requested()
        highest = int(self.setting("led0.conf", "intensityHIGH"))
        left = watts * 1000.0 - reduction
        return [str(min(max(int(left * (each / sum(requested))), 0), highest)) for each in requested]

    def reference(self) -> float:
        return self.PLENTY * 1000.0

    def write_failure(self, led: int, on: bool) -> str:
        return f"activate_light: write failure to led {led}"
