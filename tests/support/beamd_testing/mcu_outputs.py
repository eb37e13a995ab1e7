"""A board behind a micro-controller with several outputs, as the kernel offers it, and its regulator."""

from __future__ import annotations

import configparser
import struct
from fractions import Fraction

from . import layout
from .led_board import LedBoard
from .peers import PowerDaemon, TemperatureService
from .sandbox import Sandbox

FOLDER = "/sys/devices/platform/illumination"
MARK = f"{FOLDER}/QXID"
SENSORS = {"IlluminationBoard": 0, "IlluminationDriver": 1}


class McuOutputs(LedBoard):
    """The board of @p example is there, and cool."""

    def __init__(self, sandbox: Sandbox, example: str, outputs: int) -> None:
        super().__init__(sandbox, example, [f"{FOLDER}/led{output}" for output in range(outputs)])
        sandbox.write(MARK, "1")
        for path in self.written:
            sandbox.write(path, "", mode=0o664, owner=(layout.USERS["nobody"][0], 0))
        for sensor in SENSORS.values():
            self.heat(sensor, 40.0)

    def cool_down(self) -> None:
        """Lets all sensors measure so little that a few ticks make the filtered temperature low."""
        for sensor in SENSORS.values():
            self.heat(sensor, -200.0)

    def start_peers(self, power_daemon: PowerDaemon, temperature_service: TemperatureService) -> None:
        temperature_service.set_sensors(SENSORS)
        temperature_service.start()
        power_daemon.start()

    def table(self, suffix: str = "") -> configparser.ConfigParser:
        parser = configparser.ConfigParser()
        parser.read_string(self.sandbox.read(f"/etc/beamd/illumination.conf{suffix}"))
        return parser


def numbers(text: str) -> list[int]:
    """The numbers of a list in a key file."""
    return [int(number) for number in text.split(";") if number]


def single(value: float) -> float:
    """@p value in single precision."""
    return struct.unpack("f", struct.pack("f", value))[0]


def reduction(celsius: float, full: int) -> float:
    """What the examples' regulator takes off at a temperature that stays, with k_p alone."""
    reading = single(celsius)
    # Rounded once, as a fused multiply-add does.
    filtered = float(Fraction(reading) * Fraction(0.2) + Fraction(0.8 * reading))
    return min(max(full - 0.1 * (60.0 - filtered) * full, 0.0), full)
