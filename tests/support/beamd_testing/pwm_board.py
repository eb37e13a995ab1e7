"""A board of LEDs behind a PWM channel, with or without GPIO lines."""

from __future__ import annotations

from .gpio_lines import GpioLines
from .led_board import LedBoard
from .sandbox import Sandbox

_CHIP = "/sys/class/pwm/pwmchip0"
EXPORT = f"{_CHIP}/export"
ENABLE, PERIOD, DUTY_CYCLE = CHANNEL = [f"{_CHIP}/pwm1/{name}" for name in ("enable", "period", "duty_cycle")]

# What is in pwm1/enable: of a restart, the "0" is covered by the "1" that is written after it.
RESTARTED, ENABLED, DISABLED = "11", "1", "0"


class PwmBoard(LedBoard):
    """Written are the channel, then the lines."""

    EXAMPLE = "LED1PWM"
    PLENTY = 2.0
    SENSORS = {"IlluminationBoard": 4}
    ACTIVE_LOW: tuple[int, ...] = ()

    def __init__(self, sandbox: Sandbox) -> None:
        super().__init__(sandbox, CHANNEL)
        for path in (EXPORT, *CHANNEL):
            self.write(path)
        self.lines = GpioLines(self, self.ACTIVE_LOW)

    def given(self) -> list[str]:
        return [EXPORT, *CHANNEL]

    def contents(self, enabled: str, milliwatts: int) -> list[str]:
        """What is written for a light that gives that much."""
        period, high, low = (
            int(self.setting("pwm.conf", key, "pwm")) for key in ("ld_period", "duty_high", "duty_low")
        )
        percent = milliwatts * 100 // int(self.setting("led0.conf", "intensityHIGH"))
        lines = self.lines.all(enabled != DISABLED)
        return [enabled, str(period), str(low + high - high * percent // 100), *lines]

    def dark(self) -> list[str]:
        return self.contents(DISABLED, 0)

    def lit(self, *, reduction: float = 0.0) -> list[str]:
        return self.contents(ENABLED, int(self.reference() - reduction))

    def reference(self) -> float:
        return int(self.setting("led0.conf", "intensity"))


class PwmBoardWithLines(PwmBoard):
    """One line is active low, and two are not."""

    ACTIVE_LOW = (0, 1, 0)
