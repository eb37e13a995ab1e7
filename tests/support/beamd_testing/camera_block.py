"""Lights on a camera block, as the examples configure them: what is written to its registers."""

from __future__ import annotations

import configparser
import os
import re
import struct
import time
from fractions import Fraction

from . import layout
from .configuration import value_text
from .devices import FakeDevices
from .installation import install_example
from .sandbox import Sandbox
from .timeline import TIMEOUT

CAMERA_BLOCK = BUS, SLAVE, SUBDEVICE = 0, 0x3A, 5
DEVICE = f"/dev/i2c-{BUS}"
ADDRESSED = f"slave {DEVICE} {SLAVE:x}"
PLENTY = 100.0  # watts

Write = tuple[int, int, int, int, int]  # bus, slave, sub-device, register, value


def single(value: float) -> float:
    """@p value in single precision."""
    return struct.unpack("f", struct.pack("f", value))[0]


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


def dark(leds: range | list[int]) -> list[Write]:
    """What is written when these LEDs are switched off."""
    return [enabled(led, 0) for led in leds]


class CameraBlock:
    """The example of that name, its bus, which the daemon may use, and sensors that are cool."""

    def __init__(self, sandbox: Sandbox, devices: FakeDevices, example: str) -> None:
        self.sandbox = sandbox
        self.devices = devices
        install_example(sandbox, example)
        devices.add_bus(BUS)
        self.allow("lightfiles")
        self.heat(40.0)

    def allow(self, group: str) -> None:
        """Lets the group read and write the bus."""
        path = self.sandbox.path(DEVICE)
        os.chown(path, 0, layout.GROUPS[group][0])
        path.chmod(0o660)

    def heat(self, celsius: float) -> None:
        """Sets what the first sensor, of which the examples know no other one that counts, measures."""
        path = "/sys/class/thermal/thermal_zone0/temp"
        self.sandbox.write(f"{path}.new", f"{round(celsius * 1000)}\n")
        self.sandbox.path(f"{path}.new").rename(self.sandbox.path(path))

    def configure(self, name: str, **values: object) -> None:
        """Changes keys of one of the example's files."""
        path = f"/etc/beamd/{name}"
        text = self.sandbox.read(path)
        for key, value in values.items():
            text, count = re.subn(rf"^{key}=.*$", f"{key}={value_text(value)}", text, flags=re.MULTILINE)
            assert count == 1, f"{key} is {count} times in {path}"
        self.sandbox.write(path, text)

    def remove(self, name: str, key: str) -> None:
        path = f"/etc/beamd/{name}"
        text, count = re.subn(rf"^{key}=.*\n", "", self.sandbox.read(path), flags=re.MULTILINE)
        assert count == 1, f"{key} is {count} times in {path}"
        self.sandbox.write(path, text)

    def setting(self, key: str) -> float:
        return float(self._key_file("led0.conf")["common"][key])

    def milliwatts(self, angle: int, intensities: list[int], watts: float = PLENTY) -> list[int]:
        """What the LEDs give by the table, each with its own intensity, before the temperature is looked at."""
        table = self._key_file("illumination.conf")
        rows = [int(name) for name in table.sections()[1:]]
        upper = next(row for row in rows[1:] if angle <= row)
        lower = rows[rows.index(upper) - 1]
        high = int(self.setting("intensityHIGH"))
        below, above = (
            [int(int(level) * intensity / high) for level, intensity in zip(levels, intensities)]
            for levels in (table[str(row)][str(high)].rstrip(";").split(";") for row in (lower, upper))
        )
        levels = [low + int((top - low) * (angle - lower) / (upper - lower)) for low, top in zip(below, above)]
        return self._limited(levels, watts)

    def need(self, angle: int, intensities: list[int]) -> float:
        """The watts that the light asks for: as many as the hungrier one of the rows around the angle."""
        table = self._key_file("illumination.conf")
        rows = [int(name) for name in table.sections()[1:]]
        upper = next(row for row in rows if angle <= row)
        around = {upper, rows[max(rows.index(upper) - 1, 0)]}
        return max(sum(self.milliwatts(row, intensities)) for row in around) * self._watts_per_milliwatt()

    def lit(self, milliwatts: list[int], reduction: float = 0.0, were_dark: bool = False) -> list[Write]:
        """What is written when the LEDs are to give that much."""
        high, total = self.setting("intensityHIGH"), sum(milliwatts)
        writes = []
        for led, power in enumerate(milliwatts):
            # Rounded once, as a fused multiply-add does.
            left = max(int(float(power - Fraction(power / total) * Fraction(reduction))), 0)
            level = int(single(single(255 / high) * left)) & 0xFF
            writes += [enabled(led)] if were_dark else []
            writes.append(write(power_register(led), level))
        return writes

    def reduction(self, milliwatts: list[int], celsius: float) -> float:
        """What is taken off at a temperature that stays, by the example's k_p alone: a part of two LEDs' power."""
        reference = milliwatts[0] + milliwatts[1]
        reading = single(celsius)
        filtered = 0.2 * reading + 0.8 * reading
        return min(max(reference - 0.1 * (60.0 - filtered) * reference, 0.0), reference)

    def writes(self, after: int) -> list[Write]:
        return self.devices.register_writes(after)

    def wait_for(self, expected: list[Write], after: int) -> None:
        """Waits until just that has been written in one go, maybe with other writes before and after it."""
        deadline = time.monotonic() + TIMEOUT
        while not _contains(found := self.writes(after), expected):
            assert time.monotonic() < deadline, f"{expected} is not in {found}"
            time.sleep(0.02)

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
        return single(self.setting("powerusagefactor"))

    def _key_file(self, name: str) -> configparser.ConfigParser:
        parser = configparser.ConfigParser()
        parser.optionxform = str
        parser.read_string(self.sandbox.read(f"/etc/beamd/{name}"))
        return parser


def _contains(found: list[Write], expected: list[Write]) -> bool:
    length = len(expected)
    return any(found[place : place + length] == expected for place in range(len(found) - length + 1))
