#!/usr/bin/python3
"""Makes regulator_golden.txt: what the thermal regulator has to calculate, bit by bit.

Usage: regulator_golden.py [--check]

Without --check the file beside this one is written; with it, it must already be what would be written.

This calculates on its own, without any of the regulator's code, with Python's floats (IEEE doubles, each operation
rounded) and with fractions where only the final result is rounded. Lines of the file, words separated by blanks:

    # TEXT             to be ignored
    sequence NAME      the state starts anew: filtered -1000, everything else 0
    gains K_P K_I K_D REF_TEMP
                       for the ticks that follow; a change within a sequence is another light of the same class
    step SAMPLE_TIME REFERENCE READING [READING] = FILTERED ACCUMULATED ERROR PROPORTIONAL DERIVATIVE INTEGRAL
         OUTPUT REDUCTION > PREV_ERROR INTEGRAL PREV_OUTPUT
                       a tick (one line): its readings in °C, two of them when the filter is unseeded, the terms in the
                       order in which they are formed, and the state that it leaves
    keep = FILTERED > PREV_ERROR INTEGRAL PREV_OUTPUT
                       a tick that goes no further, with the reference 0 or the regulator disabled, and the state still

Numbers are hexadecimal as printf's %a writes them, or inf, -inf, nan; the sign counts with zeros, not with NaNs.
"""

from __future__ import annotations

import math
import random
import struct
import sys
from collections.abc import Callable, Iterator
from dataclasses import dataclass, field
from fractions import Fraction
from pathlib import Path

GOLDEN = Path(__file__).with_suffix(".txt")
UNSEEDED = -1000.0
FAILED = -9999.0
INF = math.inf
NAN = math.nan


def divide(dividend: float, divisor: float) -> float:
    if divisor != 0.0:
        return dividend / divisor
    if dividend == 0.0 or math.isnan(dividend):
        return NAN
    return math.copysign(INF, dividend) * math.copysign(1.0, divisor)


def fused_multiply_add(x: float, y: float, z: float) -> float:
    """x times y plus z, rounded once."""
    if not all(map(math.isfinite, (x, y, z))):
        # Nothing is rounded where an operand is infinite or NaN; a finite product must not become infinite, though.
        return z if math.isfinite(x) and math.isfinite(y) else x * y + z
    exact = Fraction(x) * Fraction(y) + Fraction(z)
    if exact == 0:
        return math.copysign(0.0, x) * math.copysign(1.0, y) + z if x == 0 or y == 0 else 0.0
    try:
        return float(exact)
    except OverflowError:
        return INF if exact > 0 else -INF


def single(value: float) -> float:
    """The nearest float of single precision: what a sensor can tell."""
    return struct.unpack("f", struct.pack("f", value))[0]


def one_of(chance: random.Random, values: tuple[float, ...]) -> float:
    """Of Random's methods only random() gives the same numbers in every version of Python."""
    return values[int(chance.random() * len(values))]


def shown(value: float) -> str:
    if not math.isfinite(value):
        return str(value)
    mantissa, exponent = value.hex().split("p")
    return (mantissa.rstrip("0").rstrip(".") if "." in mantissa else mantissa) + "p" + exponent


def shown_all(*values: float) -> str:
    return " ".join(map(shown, values))


@dataclass
class Gains:
    k_p: float
    k_i: float
    k_d: float
    ref_temp: float


@dataclass
class Sequence:
    """The ticks of one driver class; `reduction` is what the latest step left."""

    name: str
    gains: Gains
    filtered: float = UNSEEDED
    prev_error: float = 0.0
    integral: float = 0.0
    prev_output: float = 0.0
    reduction: float = 0.0
    lines: list[str] = field(default_factory=list)

    def __post_init__(self) -> None:
        self.lines.append(f"sequence {self.name}")
        self.change_gains(self.gains)

    def change_gains(self, gains: Gains) -> None:
        self.gains = gains
        self.lines.append("gains " + shown_all(gains.k_p, gains.k_i, gains.k_d, gains.ref_temp))

    def shown_state(self) -> str:
        return shown_all(self.prev_error, self.integral, self.prev_output)

    def keep(self) -> None:
        self.lines.append(f"keep = {shown(self.filtered)} > {self.shown_state()}")

    def filter(self, read: Callable[[], float]) -> list[float]:
        readings = []
        if self.filtered == UNSEEDED:
            readings.append(read())
            self.filtered = readings[0]
        readings.append(read())
        self.filtered = fused_multiply_add(readings[-1], 0.2, 0.8 * self.filtered)
        return readings

    def step(self, sample_time: float, reference: float, read: Callable[[], float] | float) -> None:
        readings = self.filter(read if callable(read) else lambda: read)
        gains, e_prev = self.gains, self.prev_error
        accumulated = sample_time * gains.k_i * e_prev + self.integral
        e = gains.ref_temp - self.filtered
        self.prev_error, self.integral = e, accumulated
        p = e * gains.k_p
        d = divide(e - e_prev, sample_time) * gains.k_d * e_prev
        if gains.k_i > 0 and self.prev_output > reference:
            limited = 1.0 - p - d
            self.integral = limited if limited > 0.0 else 0.0
        elif gains.k_i > 0 and self.prev_output < 0.0:
            self.integral = 0.0
        output = (p + self.integral + d) * reference
        self.prev_output = output
        rest = reference - output
        self.reduction = reference if reference < rest else 0.0 if rest < 0.0 else rest
        self.lines.append(
            f"step {shown_all(sample_time, reference, *readings)} = "
            f"{shown_all(self.filtered, accumulated, e, p, d, self.integral, output, self.reduction)} > "
            f"{self.shown_state()}"
        )


def dimmed_at_three_temperatures() -> Iterator[Sequence]:
    for temperature in (70.0, 55.0, 50.0, 60.0):
        sequence = Sequence(f"proportional at {temperature:.0f}", Gains(0.1, 0.0, 0.0, 60.0))
        for _ in range(3):
            sequence.step(180.0, 100.0, temperature)
        yield sequence


class Board:
    """A board that nears ambient, warmed by the steps that the light gives."""

    def __init__(self, ambient: float, warming: float, temperature: float, noise: random.Random) -> None:
        self.ambient, self.warming, self.temperature, self.noise = ambient, warming, temperature, noise

    def read(self) -> float:
        return single(self.temperature + self.noise.random() - 0.5)

    def advance(self, steps: float) -> None:
        self.temperature += 0.05 * (self.ambient + self.warming * steps - self.temperature)


def on_a_board(name: str, gains: Gains, board: Board, ticks: int, reference: float) -> Sequence:
    sequence = Sequence(name, gains)
    for _ in range(ticks):
        sequence.step(10.0, reference, board.read)
        board.advance(reference - sequence.reduction)
    return sequence


def boards(chance: random.Random) -> Iterator[Sequence]:
    usual = Gains(0.05, 0.0002, 0.01, 60.0)
    yield on_a_board("settles", usual, Board(25.0, 0.6, 20.0, chance), 400, 100.0)
    yield on_a_board("starts hot", usual, Board(25.0, 0.3, 95.0, chance), 200, 255.0)
    yield on_a_board("too hot for any light", usual, Board(85.0, 0.6, 85.0, chance), 150, 100.0)
    yield on_a_board("never warm", usual, Board(-30.0, 0.1, -30.0, chance), 150, 1000.0)
    yield on_a_board("integral alone", Gains(0.0, 0.001, 0.0, 60.0), Board(25.0, 0.9, 20.0, chance), 200, 77.0)
    yield on_a_board("without integral", Gains(0.04, 0.0, 0.02, 55.0), Board(25.0, 0.7, 20.0, chance), 150, 100.0)


def wound_up() -> Iterator[Sequence]:
    """Into either limit, out of it and into the other one, with every kind of integral gain."""
    for k_i in (0.003, 1e300, INF, NAN, 0.0, -0.0, -0.003, -INF):
        sequence = Sequence(f"wound up with k_i {k_i}", Gains(0.01, k_i, 0.005, 60.0))
        for temperature in (20.0, 100.0, 60.0, 20.0):
            for tick in range(12):
                sequence.step(30.0, 100.0, single(temperature + 0.37 * tick))
        yield sequence


def gains_of_another_light() -> Iterator[Sequence]:
    """With each kind of integral gain a light that finds what another one has wound up, beyond either limit."""
    for temperature in (20.0, 150.0):
        for k_i in (0.003, INF, NAN, 0.0, -0.003):
            sequence = Sequence(f"k_i {k_i} on what {temperature} degrees left", Gains(0.05, 0.001, 0.005, 60.0))
            for gains in (sequence.gains, Gains(0.01, k_i, 0.005, 60.0)):
                sequence.change_gains(gains)
                for tick in range(3):
                    sequence.step(30.0, 100.0, single(temperature + 0.37 * tick))
            yield sequence


def infinite_and_undefined_gains() -> Iterator[Sequence]:
    for name in ("k_p", "k_i", "k_d", "ref_temp"):
        for value in (INF, -INF, NAN):
            for k_i in (0.002, 0.0):
                gains = Gains(0.02, k_i, 0.01, 60.0)
                setattr(gains, name, value)
                sequence = Sequence(f"{name} {value}, k_i {gains.k_i}", gains)
                for temperature in (40.0, 45.0, 60.0, 75.0, 75.0, 40.0):
                    sequence.step(10.0, 100.0, temperature)
                yield sequence
    every = Sequence("every gain infinite", Gains(INF, INF, INF, 60.0))
    for temperature in (40.0, 45.0, 75.0, 75.0, 40.0, 60.0):
        every.step(10.0, 100.0, temperature)
    yield every


def infinite_terms_that_cancel() -> Iterator[Sequence]:
    """The limited integral is 1 - P - D where that is undefined."""
    sequence = Sequence("infinite terms that cancel", Gains(0.1, 0.001, 0.0, 60.0))
    for _ in range(3):
        sequence.step(10.0, 100.0, 20.0)
    sequence.change_gains(Gains(INF, 0.001, -INF, 60.0))
    for temperature in (10.0, 5.0, 90.0):
        sequence.step(10.0, 100.0, temperature)
    yield sequence


def sample_times() -> Iterator[Sequence]:
    temperatures = (40.0, 40.0, 41.0, 39.0, 75.0, 75.0, 60.0, 60.0, 20.0, 20.0)
    for sample_time in (0.0, -0.0, -10.0, 1.0, 2147483647.0, -2147483648.0):
        for k_d in (0.01, 0.0, -0.01):
            for k_i in (0.001, 0.0):
                sequence = Sequence(f"sample time {sample_time}, k_d {k_d}, k_i {k_i}", Gains(0.02, k_i, k_d, 60.0))
                for temperature in temperatures:
                    sequence.step(sample_time, 100.0, temperature)
                yield sequence
    for k_i in (0.01, 0.0):
        sequence = Sequence(f"sample time 0 in between, k_i {k_i}", Gains(0.05, k_i, 0.0, 60.0))
        for tick, temperature in enumerate(temperatures * 2):
            sequence.step(0.0 if tick % 7 == 5 else 10.0, 100.0, temperature)
        yield sequence


def failed_reads(chance: random.Random) -> Iterator[Sequence]:
    usual = Gains(0.05, 0.0002, 0.0001, 60.0)
    sequence = Sequence("never readable", usual)
    for _ in range(60):
        sequence.step(10.0, 100.0, FAILED)
    yield sequence
    sequence = Sequence("readable now and then", usual)
    for _ in range(300):
        sequence.step(10.0, 100.0, lambda: FAILED if chance.random() < 0.05 else single(40.0 + 50.0 * chance.random()))
    yield sequence
    sequence = Sequence("the seed alone cannot be read", usual)
    readings = iter([FAILED] + 200 * [72.5])
    for _ in range(200):
        sequence.step(10.0, 100.0, lambda: next(readings))
    yield sequence


def references(chance: random.Random) -> Iterator[Sequence]:
    for reference in (0.0, -0.0, -1.0, -100.0, 1.0, 3.0, 255.0, 2147483647.0, -2147483648.0):
        for gains in (Gains(0.05, 0.001, 0.002, 60.0), Gains(-0.05, -0.001, 0.002, 60.0), Gains(INF, 0.0, 0.0, 60.0)):
            sequence = Sequence(f"reference {reference}, k_p {gains.k_p}", gains)
            for temperature in (20.0, 50.0, 60.0, 85.0, 85.0, 20.0, 20.0):
                sequence.step(10.0, reference, single(temperature + chance.random()))
            yield sequence


def kept_state(chance: random.Random) -> Iterator[Sequence]:
    sequence = Sequence("kept before the first step", Gains(0.05, 0.001, 0.002, 60.0))
    for _ in range(3):
        sequence.keep()
    for _ in range(150):
        if chance.random() < 0.3:
            sequence.keep()
        else:
            sequence.step(10.0, one_of(chance, (40.0, 100.0, 255.0)), single(50.0 + 20.0 * chance.random()))
    yield sequence


def odd_readings() -> Iterator[Sequence]:
    usual = Gains(0.05, 0.001, 0.002, 60.0)
    for reading in (INF, -INF, NAN, single(3e38), -single(3e38), single(1e-45), -single(1e-45), 0.0, -0.0):
        for at_first in (False, True):
            sequence = Sequence(f"reading {reading} {'at first' if at_first else 'later'}", usual)
            for tick in range(8):
                sequence.step(10.0, 100.0, reading if (tick in (0, 4)) == at_first else 40.0)
            yield sequence
    sequence = Sequence("unseeded once more", usual)
    for temperature in (-1000.0, -1000.0, 40.0, 50.0):
        sequence.step(10.0, 100.0, temperature)
    yield sequence
    for ref_temp in (0.0, -0.0):
        sequence = Sequence(f"nothing but zeros, ref_temp {ref_temp}", Gains(0.0, 0.0, -0.0, ref_temp))
        for reading in (-0.0, 0.0, -0.0, -0.0):
            sequence.step(10.0, 100.0, reading)
        yield sequence


def anything(chance: random.Random, sequences: int, ticks: int) -> Iterator[Sequence]:
    """Gains of all sizes and signs; the temperature walks, the lights of the class differ."""

    def gain(largest: float) -> float:
        size = largest * chance.random() * one_of(chance, (1.0, 1.0, 0.1, 0.01))
        return one_of(chance, (1.0, 1.0, 1.0, -1.0, 0.0)) * size

    for number in range(sequences):
        sequence = Sequence(
            f"anything {number}", Gains(gain(0.2), gain(0.01), gain(0.1), 40.0 + 40.0 * chance.random())
        )
        temperature = 100.0 * chance.random()
        sample_time = one_of(chance, (1.0, 5.0, 10.0, 60.0, 180.0))
        for _ in range(ticks):
            temperature += 20.0 * (chance.random() - 0.5)
            reading = temperature if chance.random() < 0.98 else FAILED
            sequence.step(sample_time, one_of(chance, (100.0, 100.0, 100.0, 63.0, 4000.0)), single(reading))
        yield sequence


def golden_text() -> str:
    chance = random.Random(20)
    sequences = [
        *dimmed_at_three_temperatures(),
        *boards(chance),
        *wound_up(),
        *gains_of_another_light(),
        *infinite_and_undefined_gains(),
        *infinite_terms_that_cancel(),
        *sample_times(),
        *failed_reads(chance),
        *references(chance),
        *kept_state(chance),
        *odd_readings(),
        *anything(chance, sequences=40, ticks=25),
    ]
    lines = [line for sequence in sequences for line in sequence.lines]
    return "\n".join(["# Made by regulator_golden.py, which describes the lines.", *lines, ""])


def main() -> int:
    text = golden_text()
    if sys.argv[1:] != ["--check"]:
        GOLDEN.write_text(text)
        return 0
    if GOLDEN.read_text() != text:
        print(f"{GOLDEN} is not what {Path(__file__).name} makes", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
