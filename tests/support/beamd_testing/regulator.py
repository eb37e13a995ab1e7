"""What the examples' regulator makes of temperatures, with the daemon's rounding."""

from __future__ import annotations

import struct
from fractions import Fraction


def single(value: float) -> float:
    """@p value in single precision."""
    return struct.unpack("f", struct.pack("f", value))[0]


def filtered(reading: float, last: float) -> float:
    """The temperature after a reading. It is rounded once, as a fused multiply-add does."""
    return float(Fraction(reading) * Fraction(0.2) + Fraction(0.8 * last))


def reduction(celsius: float, full: float) -> float:
    """What is taken off @p full at a temperature that stays, with k_p alone."""
    reading = single(celsius)
    return min(max(full - 0.1 * (60.0 - filtered(reading, reading)) * full, 0.0), full)
