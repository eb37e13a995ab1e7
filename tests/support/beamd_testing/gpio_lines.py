"""GPIO lines of a light's LEDs, as the kernel offers them."""

from __future__ import annotations

from . import layout
from .led_board import Access, LedBoard

FILES = ("active_low", "direction", "edge", "uevent", "value")
GIVEN: Access = (0, layout.GROUPS["gpio"][0], 0o664)


def gpio_file(line: int, name: str = "value") -> str:
    return f"/sys/class/gpio/ir_led_0_{line}/{name}"


class GpioLines:
    """A line for each entry of @p active_low. Each switches by a file that the @p board's light writes."""

    def __init__(self, board: LedBoard, active_low: tuple[int, ...]) -> None:
        self.active_low = active_low
        for line, inverted in enumerate(active_low):
            for name in FILES:
                board.write(gpio_file(line, name), f"{inverted}\n" if name == "active_low" else "")
            board.written.append(gpio_file(line))

    def levels(self, *on: bool) -> list[str]:
        """What is written to switch the lines, of which each is told."""
        return [str(int(each) ^ low) for each, low in zip(on, self.active_low, strict=True)]

    def all(self, on: bool) -> list[str]:
        return self.levels(*[on] * len(self.active_low))
