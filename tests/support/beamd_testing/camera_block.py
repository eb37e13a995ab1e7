"""Lights on a camera block, as the examples configure them: what is written to its registers."""

from __future__ import annotations

import os
import time
from fractions import Fraction

from . import layout, syslog
from .configuration import beamd_conf
from .devices import FakeDevices
from .installation import BEAMD_CONF, install_light
from .led_board import LedBoard, numbers
from .regulator import single
from .sandbox import Sandbox
from .timeline import TIMEOUT

CAMERA_BLOCK = BUS, SLAVE, SUBDEVICE = 0, 0x3A, 5
DEVICE = f"/dev/i2c-{BUS}"
ADDRESSED = f"slave {DEVICE} {SLAVE:x}"

READ_FAILED = (syslog.ERR, "read_reg(read): ret = -1, Input/output error")
WRITE_FAILED = (syslog.ERR, "write_reg(read): ret = -1, Input/output error")

Write = tuple[int, int, int, int, int]  # bus, slave, sub-device, register, value


def enable_register(led: int) -> int:
    return 0x10 + 2 * led


def power_register(led: int) -> int:
    return enable_register(led) + 1


def write(register: int, value: int) -> Write:
    return (*CAMERA_BLOCK, register, value)


def register_name(number: int) -> str:
    """The register as a device of the fake devices."""
    return f"{DEVICE} {SLAVE:x} {SUBDEVICE:x} {number:x}"


def enabled(led: int, value: int = 1) -> Write:
    return write(enable_register(led), value)


def not_opened(reason: str) -> list[tuple[int, str]]:
    """What the log tells of a bus that cannot be opened."""
    return [
        (syslog.ERR, f"Error opening i2c device. {reason}. Path: {DEVICE}"),
        (syslog.ERR, f"Failed to open device {reason}"),
    ]


class CameraBlock(LedBoard):
    """Its bus, which the daemon may use, and its first sensor, the only one that counts. No LED has a file."""

    PLENTY = 100.0
    NEEDS_DEVICES = True  # the bus is served by what serves the lens's data cache
    LEDS: int
    INTENSITY = 500  # the example's
    FULL: list[int]  # the milliwatts of its LEDs, with all the power that they need
    PROBE: list[str] = []  # what is done to the bus before the light is there

    def __init__(self, sandbox: Sandbox) -> None:
        super().__init__(sandbox, [])
        _, *others = self.SENSORS.values()
        for sensor in others:
            self.break_sensor(sensor)
        sandbox.write(DEVICE, "")
        self.allow("lightfiles")

    def allow(self, group: str) -> None:
        """Lets the group read and write the bus."""
        path = self.sandbox.path(DEVICE)
        os.chown(path, 0, layout.GROUPS[group][0])
        path.chmod(0o660)

    def add_dummy(self) -> None:
        """Gives the daemon a light of another type behind this one."""
        self.sandbox.write(BEAMD_CONF, beamd_conf([self.EXAMPLE, "Dummy"]))
        install_light(self.sandbox, 1)
        self.sandbox.write("/sys/devices/illumination/QXID", "1")

    def remove(self, name: str, key: str) -> None:
        """Takes a key out of one of the example's files."""
        path = f"/etc/beamd/{name}"
        lines = self.sandbox.read(path).splitlines(keepends=True)
        left = [line for line in lines if not line.startswith(f"{key}=")]
        assert len(left) == len(lines) - 1, f"{key} is not once in {path}"
        self.sandbox.write(path, "".join(left))

    def give(self, angle: int = 50, intensities: list[int] | None = None, watts: float = PLENTY) -> list[int]:
        """The milliwatts of the LEDs by the table, each at its own intensity, and before any reduction."""
        table = self.key_file("illumination.conf")
        rows = [int(name) for name in table.sections()[1:]]
        upper = next(row for row in rows[1:] if angle <= row)
        lower = rows[rows.index(upper) - 1]
        high = self._highest()
        intensities = intensities or [self.INTENSITY] * self.LEDS
        below, above = (
            [int(level * intensity / high) for level, intensity in zip(levels, intensities)]
            for levels in (numbers(table[str(row)][str(high)]) for row in (lower, upper))
        )
        levels = [low + int((top - low) * (angle - lower) / (upper - lower)) for low, top in zip(below, above)]
        return self._limited(levels, watts)

    def need(self, angle: int = 50, intensities: list[int] | None = None) -> float:
        """The watts that the light asks for: as many as the hungrier one of the rows around the angle."""
        rows = [int(name) for name in self.key_file("illumination.conf").sections()[1:]]
        upper = next(row for row in rows if angle <= row)
        around = {upper, rows[max(rows.index(upper) - 1, 0)]}
        return max(sum(self.give(row, intensities)) for row in around) * self._watts_per_milliwatt()

    def dark(self) -> list[Write]:
        return [enabled(led, 0) for led in range(self.LEDS)]

    def lit(
        self, milliwatts: list[int] | None = None, *, reduction: float = 0.0, was_dark: bool = False
    ) -> list[Write]:
        """What is written when the LEDs are to give that much."""
        milliwatts = milliwatts or self.FULL
        high, total = self._highest(), sum(milliwatts)
        writes = []
        for led, power in enumerate(milliwatts):
            # Rounded once, as a fused multiply-add does.
            left = max(int(float(power - Fraction(power / total) * Fraction(reduction))), 0)
            level = int(single(single(255 / high) * left)) & 0xFF
            writes += [enabled(led)] if was_dark else []
            writes.append(write(power_register(led), level))
        return writes

    def reference(self, milliwatts: list[int] | None = None) -> float:
        """Two LEDs' power, however many there are."""
        return sum((milliwatts or self.FULL)[:2])

    def reduction(self, celsius: float, milliwatts: list[int] | None = None) -> float:
        """What is taken off at a temperature that stays, by the example's k_p alone."""
        reference = self.reference(milliwatts)
        reading = single(celsius)
        filtered = 0.2 * reading + 0.8 * reading
        return min(max(reference - 0.1 * (60.0 - filtered) * reference, 0.0), reference)

    def read_failure(self, led: int) -> str:
        """What the log tells when the LED is not asked whether it is enabled."""
        raise NotImplementedError

    def _highest(self) -> int:
        return int(self.setting("led0.conf", "intensityHIGH"))

    def _limited(self, levels: list[int], watts: float) -> list[int]:
        """The levels step down by one, two, three hundredths and so on of what is left, until they fit."""
        factor = 1.0
        while True:
            levels = [int(level * factor) for level in levels]
            factor = max(factor - 0.01, 0.0)
            if self._watts(levels) <= watts or not any(levels):
                return levels

    def _watts(self, levels: list[int]) -> float:
        return single(sum(levels) * self._watts_per_milliwatt())

    def _watts_per_milliwatt(self) -> float:
        return single(float(self.setting("led0.conf", "powerusagefactor")))


class ListedLeds(CameraBlock):
    EXAMPLE = "LEDCAMBLOCKI2C"
    SENSORS = {"IlluminationBoard": 0, "IlluminationDriver": 1, "IlluminationLens": 2}
    LEDS = 3
    FULL = [200, 500, 200]
    PROBE = [ADDRESSED]

    def read_failure(self, led: int) -> str:
        return f"Read failure to led:{led}"

    def write_failure(self, led: int, on: bool) -> str:
        return f"Write failure to led:{led}" if on else f"Write failure shut to LED:{led}"


class LedPair(CameraBlock):
    EXAMPLE = "LED2CAMBLOCKI2C"
    SENSORS = {"IlluminationBoard": 0}
    LEDS = 2
    FULL = [300, 300]

    def read_failure(self, led: int) -> str:
        return f"Write failure to led {led}"

    def write_failure(self, led: int, on: bool) -> str:
        return f"Write failure to led {led}" if on else f"Write failure shut to LED {led}"


def wait_for_writes(devices: FakeDevices, expected: list[Write], after: int) -> None:
    """Waits until just that has been written in one go, maybe with other writes before and after it."""
    deadline = time.monotonic() + TIMEOUT
    while not _contains(found := devices.register_writes(after), expected):
        assert time.monotonic() < deadline, f"{expected} is not in {found}"
        time.sleep(0.02)


def _contains(found: list[Write], expected: list[Write]) -> bool:
    length = len(expected)
    return any(found[place : place + length] == expected for place in range(len(found) - length + 1))
