"""A light of each type, as one daemon may have them all: its hardware, and what is done to it when the light is switched."""

from __future__ import annotations

import os
import shutil
from math import floor
from typing import TYPE_CHECKING

from . import layout
from .camera_block import CAMERA_BLOCK, single
from .configuration import key_file

if TYPE_CHECKING:
    from .house import House

INTENSITY = 100
FACTOR = single(0.001)  # watts per milliwatt
ROWS = {0: (400, 200), 50: (300, 300), 100: (200, 400)}  # of two LEDs, at full intensity
SENSOR = 3
CALLS = "/run/serial_backend.calls"


class Unit:
    """What belongs to one light: its hardware, and what is done to it when the light is switched."""

    TYPE: str
    KIND = "IR"
    HAS_ZOOM = False
    SETTINGS: dict[str, object] = {}
    BASEPATH = "/dev/null"

    def __init__(self, house: House, number: int) -> None:
        self.house = house
        self.number = number
        self.watts = 0.0
        self.angle = 50
        self.basepath = self.BASEPATH.replace("#", str(number))
        self.make()

    def make(self) -> None:
        """Makes the hardware."""

    def asks(self) -> float:
        """The watts that the light needs."""
        return INTENSITY / 1000

    def deeds(self, on: bool, is_hot: bool = False) -> list:
        """What is done when the light is switched, or switched again. The unit is in that state then."""
        return []

    def take(self) -> list:
        """What has been done since the last look."""
        return []


class FileUnit(Unit):
    """Its files hold what was written to them since the last look, none of it twice."""

    FILES: list[str]
    CONTENT = ""  # at first

    def make(self) -> None:
        for path in self.files():
            self.house.device_file(path, self.CONTENT)

    def files(self) -> list[str]:
        return [self.path(name) for name in self.FILES]

    def path(self, name: str) -> str:
        return f"{self.basepath}/{name}"

    def take(self) -> list[str]:
        contents = []
        for path in self.files():
            contents.append(self.house.sandbox.read(path).rstrip("\0"))
            self.house.sandbox.path(path).write_text("")
        return contents if any(contents) else []

    def levels(self) -> list[int]:
        raise NotImplementedError

    def deeds(self, on: bool, is_hot: bool = False) -> list[str]:
        levels = self.levels()
        return [str(level if on and not is_hot else 0) for level in levels]


def limited(levels: tuple[int, ...], watts: float) -> list[int]:
    """The levels step down by one, two, three hundredths and so on of what is left, until they fit."""
    factor, left = 1.0, list(levels)
    while True:
        left = [int(level * factor) for level in left]
        factor = max(factor - 0.01, 0.0)
        if single(sum(left) * FACTOR) <= watts or not any(left):
            return left


class TwoChannels(FileUnit):
    TYPE = "LED2I2C"
    HAS_ZOOM = True
    BASEPATH = "/sys/devices/platform/board#"
    FILES = ["led0", "led1"]

    def make(self) -> None:
        super().make()
        self.house.sandbox.write(f"{self.basepath}/QXID", "1")

    def asks(self) -> float:
        return sum(ROWS[self.angle]) * FACTOR

    def levels(self) -> list[int]:
        return limited(ROWS[self.angle], self.watts)


class OneChannel(TwoChannels):
    TYPE = "LED1I2C"
    HAS_ZOOM = False
    FILES = ["led0"]

    def asks(self) -> float:
        return single(INTENSITY * FACTOR)

    def levels(self) -> list[int]:
        hundredths = 1.0
        while self.watts < self.asks() * hundredths and self.asks() * hundredths > 0:
            hundredths -= 0.01
        return [int(INTENSITY * hundredths)]


class ThreeOutputs(TwoChannels):
    TYPE = "Tarsil"
    FILES = ["led0", "led1", "led2"]

    def make(self) -> None:
        super().make()
        self.house.sandbox.write("/var/run/poeclass", "3")

    def asks(self) -> float:
        return single(sum(self.outputs(2)) * 0.0018)

    def outputs(self, column: int) -> tuple[int, int, int]:
        outer, inner = (level * column // 2 for level in ROWS[self.angle])
        return outer, inner, outer

    def levels(self) -> list[int]:
        fitting = (column for column in (2, 1) if sum(self.outputs(column)) * 0.0018 <= self.watts)
        return list(self.outputs(next(fitting, 0)))


class Pwm(FileUnit):
    TYPE = "LED1PWM"
    BASEPATH = "/sys/class/pwm/pwmchip#"
    FILES = ["pwm1/duty_cycle", "pwm1/period", "pwm1/enable"]
    PERIOD, DUTY_HIGH, DUTY_LOW = 100000, 90000, 10000

    def make(self) -> None:
        super().make()
        self.last = 0
        self.house.device_file(f"{self.basepath}/export")
        timing = {"ld_period": self.PERIOD, "duty_high": self.DUTY_HIGH, "duty_low": self.DUTY_LOW}
        self.house.sandbox.write("/etc/beamd/pwm.conf", key_file({"pwm": timing}))

    def deeds(self, on: bool, is_hot: bool = False) -> list[str]:
        percent = min(INTENSITY, int(self.watts * 1000)) if on and not is_hot else 0
        duty = self.DUTY_LOW + self.DUTY_HIGH - self.DUTY_HIGH * percent // 100
        enable = str(int(on))
        if on and percent != self.last:  # stopped, started and enabled once more from the beginning of the file
            self.last, enable = percent, "11"
        return [str(duty), str(self.PERIOD), enable]


class Backlight(FileUnit):
    TYPE = "LEDBL"
    BASEPATH = "/sys/class/backlight/lamp#_%d"
    FILES = ["brightness"]

    def files(self) -> list[str]:
        folders = [self.basepath.replace("%d", str(led)) for led in (0, 1)]
        lines = [f"/sys/class/gpio/ir_led_{self.number}_{line}/value" for line in (0, 1)]
        return [f"{folder}/brightness" for folder in folders] + lines

    def make(self) -> None:
        super().make()
        for led in (0, 1):
            self.house.device_file(self.basepath.replace("%d", str(led)) + "/bl_power")
            for name in ("direction", "edge", "uevent", "active_low"):
                self.house.device_file(f"/sys/class/gpio/ir_led_{self.number}_{led}/{name}", "0")

    def asks(self) -> float:
        return 2 * INTENSITY / 1000

    def deeds(self, on: bool, is_hot: bool = False) -> list[str]:
        budget = int(self.watts * 1000) if on else 0
        # What the regulator takes off is one LED's power, of a budget for both.
        level = min(max(floor(0.5 * (budget - (INTENSITY if is_hot else 0))), 0), INTENSITY) if budget else 0
        return [str(level)] * 2 + [str(int(level > 0))] * 2


class Fisheye(FileUnit):
    TYPE = "LEDFISHEYEI2C"
    BASEPATH = "/sys/class/leds/fisheye#_%d/power"
    CONTENT = "7"

    def files(self) -> list[str]:
        return [self.basepath.replace("%d", str(led)) for led in (0, 1)]

    def asks(self) -> float:
        return 2 * INTENSITY / 1000

    def levels(self) -> list[int]:
        return [min(int(self.watts * 1000 * 0.5), INTENSITY)] * 2


class Sysfs(Fisheye):
    TYPE = "LEDSYSFS"
    HAS_ZOOM = True
    BASEPATH = "/sys/class/leds/lens#_%d/brightness"

    def asks(self) -> float:
        return single(sum(ROWS[self.angle]) * FACTOR)

    def levels(self) -> list[int]:
        levels, allowed = ROWS[self.angle], int(self.watts / FACTOR)
        total = sum(levels)
        return [int(each / total * allowed) if total > allowed else each for each in levels]


class Camblock(TwoChannels):
    TYPE = "LEDCAMBLOCKI2C"
    BASEPATH = "/dev/null"
    FULL_SCALE = 400
    SETTINGS = {"intensityHIGH": FULL_SCALE}
    FIRST_REGISTER = 0x10

    def make(self) -> None:
        self.is_enabled = False
        self.mark = 0

    def deeds(self, on: bool, is_hot: bool = False) -> list[tuple[int, ...]]:
        levels = self.levels() if on else [0, 0]
        registers = [(self.FIRST_REGISTER + 2 * led, self.FIRST_REGISTER + 2 * led + 1) for led in (0, 1)]
        if not any(levels):
            self.is_enabled = False
            return [(*CAMERA_BLOCK, enable, 0) for enable, _ in registers]
        writes = []
        for (enable, power), level in zip(registers, levels):
            writes += [] if self.is_enabled else [(*CAMERA_BLOCK, enable, 1)]
            given = 0 if is_hot else int(single(single(255 / self.FULL_SCALE) * level))
            writes.append((*CAMERA_BLOCK, power, given))
        self.is_enabled = True
        return writes

    def take(self) -> list[tuple[int, ...]]:
        writes = self.house.devices.register_writes(self.mark)
        self.mark = self.house.bus.timeline.now()
        own = range(self.FIRST_REGISTER, self.FIRST_REGISTER + 4)
        return [each for each in writes if each[3] in own]


class TwoLedCamblock(Camblock):
    TYPE = "LED2CAMBLOCKI2C"
    FIRST_REGISTER = 0x20


class Ptz(Unit):
    TYPE = "LED2UART"

    def make(self) -> None:
        self.mark = 0

    def deeds(self, on: bool, is_hot: bool = False) -> list[tuple]:
        return [("Administrator", 0, "tt:LightIR|On" if on else "tt:LightIR|Off")]

    def take(self) -> list[tuple]:
        commands = self.house.coordinator.calls("Auxiliary", self.mark)
        self.mark = self.house.bus.timeline.now()
        return commands


class SerialLink(Unit):
    TYPE = "LEDSERIALLINK"
    SETTINGS = {"expander_type": 2}

    def make(self) -> None:
        built = os.environ.get("BEAMD_SERIAL_BACKEND")
        assert built, "BEAMD_SERIAL_BACKEND names a built library of serial links; it is not set"
        shutil.copy(built, self.house.sandbox.path("/usr/lib/libserial_link_backend.so"))
        self.house.sandbox.write(CALLS, "", owner=(layout.USERS["light"][0], 0))

    def deeds(self, on: bool, is_hot: bool = False) -> list[str]:
        return [f"set_light {self.number} {int(on)}"]

    def take(self) -> list[str]:
        calls = self.house.sandbox.read(CALLS).splitlines()
        self.house.sandbox.path(CALLS).write_text("")
        return calls


class Dummy(Unit):
    TYPE = "Dummy"
    KIND = "White"
    HAS_ZOOM = True
    BASEPATH = "/usr/share/beamd/dummy"

    def make(self) -> None:
        self.house.sandbox.write(f"{self.basepath}/QXID", "1")

    def asks(self) -> float:
        return sum(ROWS[self.angle]) * FACTOR


UNITS = [
    TwoChannels,
    Ptz,
    ThreeOutputs,
    Camblock,
    OneChannel,
    SerialLink,
    Pwm,
    Sysfs,
    Backlight,
    Dummy,
    Fisheye,
    TwoLedCamblock,
]
