"""Boards behind a micro-controller, as the kernel offers them, with one to three outputs."""

from __future__ import annotations

from . import syslog
from .led_board import LedBoard, numbers
from .regulator import single
from .sandbox import Sandbox

FOLDER = "/sys/devices/platform/illumination"
MARK = f"{FOLDER}/QXID"
POE_CLASS = "/var/run/poeclass"
DIMMING_CONF = "/etc/beamd/dimming.conf"
DEFAULT_OPTICS = (syslog.INFO, "No optics bootblock parameter found - using default config")
OFF = (0, 0, 0)

Levels = tuple[int, int]
Outputs = tuple[int, int, int]


class McuBoard(LedBoard):
    PLENTY = 100.0
    SENSORS = {"IlluminationBoard": 0, "IlluminationDriver": 1}
    OUTPUTS: int

    def __init__(self, sandbox: Sandbox) -> None:
        super().__init__(sandbox, [f"{FOLDER}/led{output}" for output in range(self.OUTPUTS)])
        sandbox.write(MARK, "1")
        for path in self.written:
            self.write(path, mode=0o664)

    def contents(self, outputs: tuple[int, ...], reduction: float = 0.0) -> list[str]:
        """What is in the files of a light whose outputs would give that much if it were not for the reduction."""
        raise NotImplementedError

    def takes(self, outputs: tuple[int, ...]) -> None:
        """Demands that these, and nothing else, have been written since the last look."""
        assert self.take() == self.contents(outputs)

    def write_failure(self, led: int, on: bool) -> str:
        return f"Write failure to led {led}"


class OneChannel(McuBoard):
    EXAMPLE = "LED1I2C"
    OUTPUTS = 1
    SENSORS = {"IlluminationBoard": 0}

    def contents(self, outputs: tuple[int], reduction: float = 0.0) -> list[str]:
        return [str(int(outputs[0] - reduction))]

    def lit(self, *, reduction: float = 0.0) -> list[str]:
        return self.contents((self.reference(),), reduction)

    def need(self) -> float:
        return single(self.reference() * single(float(self.setting("led0.conf", "powerusagefactor"))))

    def reference(self) -> float:
        return int(self.setting("led0.conf", "intensity"))


class TwoChannels(McuBoard):
    EXAMPLE = "LED2I2C"
    OUTPUTS = 2

    def give(self, angle: int, intensities: Levels, watts: float = McuBoard.PLENTY) -> Levels:
        """What the channels give by the table, with @p watts."""
        table = self.key_file("illumination.conf")
        upper = next(row for row in (50, 100) if angle <= row)
        full = [numbers(table[str(row)]["100"]) for row in (upper - 50, upper)]
        rows = [[_between(0, row[led], intensities[led], 100) for led in (0, 1)] for row in full]
        return self._limited([_between(*ends, angle - (upper - 50), 50) for ends in zip(*rows)], watts)

    def contents(self, levels: Levels, reduction: float = 0.0) -> list[str]:
        total = sum(levels)
        return [str(max(int(level - reduction * (level / total)), 0) if total else 0) for level in levels]

    def lit(self, *, reduction: float = 0.0) -> list[str]:
        return self.contents(self.give(50, (50, 50)), reduction)

    def need(self) -> float:
        return self._watts(self.give(50, (50, 50)))

    def reference(self) -> float:
        return sum(self.give(50, (50, 50)))

    def _watts(self, levels: Levels | list[int]) -> float:
        return sum(levels) * single(float(self.setting("led0.conf", "powerusagefactor")))

    def _limited(self, levels: list[int], watts: float) -> Levels:
        """The levels step down by one, two, three hundredths and so on of what is left, until they fit."""
        factor = 1.0
        while True:
            levels = [int(level * factor) for level in levels]
            factor = max(factor - 0.01, 0.0)
            if single(self._watts(levels)) <= watts or not any(levels):
                return tuple(levels)


class ThreeOutputs(McuBoard):
    EXAMPLE = "Tarsil"
    OUTPUTS = 3
    AT_START = [DEFAULT_OPTICS]

    def __init__(self, sandbox: Sandbox) -> None:
        super().__init__(sandbox)
        sandbox.write(POE_CLASS, "3")

    def give(
        self, angle: int, intensity: int, watts: float = McuBoard.PLENTY, suffix: str = "", leds=(100, 100)
    ) -> Outputs:
        """What the outputs give by the table, with @p watts: of all their columns the highest that fit."""
        table = self.key_file(f"illumination.conf{suffix}")
        step = int(table["info"]["intensity_div"])
        row = table[table.sections()[1 + angle // int(table["info"]["angle_div"])]]
        cells = [numbers(row[str(column * step)]) for column in range(len(row))]
        columns = [min(intensity, led) // step for led in leds]

        def outputs(limit: int) -> Outputs:
            outer, inner = (cells[min(column, limit)][led] for led, column in enumerate(columns))
            return outer, inner, outer

        fitting = [limit for limit in range(1, intensity // step + 1) if watts_of(outputs(limit)) <= watts]
        return outputs(max(fitting, default=0))

    def contents(self, outputs: Outputs, reduction: float = 0.0) -> list[str]:
        """The text, and zeros up to 12 bytes. Output 2 carries the share of output 0."""
        first, second, _ = outputs
        total = sum(outputs) or 1
        shares = [first / total, second / total, first / total]
        values = [max(int(value - int(reduction) * share), 0) for value, share in zip(outputs, shares)]
        return [str(value).ljust(12, "\0") for value in values]

    def dark(self) -> list[str]:
        return self.contents(OFF)

    def lit(self, *, reduction: float = 0.0) -> list[str]:
        return self.contents(self.give(50, 60), reduction)

    def need(self) -> float:
        return single(watts_of(self.give(50, 60)))

    def reference(self) -> float:
        return sum(self.give(50, 60))

    def write_failure(self, led: int, on: bool) -> str:
        return f"Failed to {'set new value for' if on else 'disable'} led {led}. Error: No space left on device"


def watts_of(outputs: Outputs) -> float:
    """The watts that the three outputs need."""
    return sum(outputs) * 0.0018


def _between(low: int, high: int, place: int, span: int) -> int:
    """The whole number at @p place of a way of @p span steps from @p low to @p high."""
    return low + int((high - low) * place / span)
