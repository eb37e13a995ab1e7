#!/usr/bin/python3
"""Checks the numbers of the examples in docs/tuning.md against the calculation that the regulator's code is held to.

Usage: tuning_numbers.py DOCUMENT SETTINGS, where SETTINGS is the dimming.conf of the example that the document is about.
"""

from __future__ import annotations

import configparser
import sys
from dataclasses import dataclass, replace
from pathlib import Path

from regulator_golden import Gains, Sequence

FULL = 100.0
# The model of a board: surroundings and rise of an undimmed light in °C, time constant and step in seconds.
SURROUNDINGS, RISE, TIME_CONSTANT, STEP = 25.0, 60.0, 100.0, 0.1


def table(document: str, first_column: str, columns: int) -> list[list[str]]:
    """The rows of the table whose first column has that title."""
    lines = document.splitlines()
    titles = [i for i, line in enumerate(lines) if line.startswith(f"| {first_column} |")]
    [start] = [i for i in titles if lines[i].count("|") == columns + 1]
    rows = []
    for line in lines[start + 2 :]:
        if not line.startswith("|"):
            break
        rows.append([cell.strip() for cell in line.strip("|").split("|")])
    return rows


@dataclass
class Settings:
    gains: Gains
    sample_time: float

    @classmethod
    def read(cls, path: str) -> Settings:
        parser = configparser.ConfigParser()
        parser.read_string(Path(path).read_text())
        keys = parser["regulator"]
        return cls(Gains(*(float(keys[key]) for key in ("k_p", "k_i", "k_d", "ref_temp"))), float(keys["sample_time"]))


def written(reduction: float) -> int:
    return max(int(FULL - reduction), 0)


def ticks(settings: Settings, readings: list[float]) -> list[list[str]]:
    light = Sequence("ticks", settings.gains)
    rows = []
    for number, reading in enumerate(readings, 1):
        light.step(settings.sample_time, FULL, reading)
        terms = [float.fromhex(term) for term in light.lines[-1].partition(" = ")[2].partition(" > ")[0].split()]
        filtered, _, error, proportional, derivative, integral, _, reduction = terms
        share = proportional + integral + derivative
        row = [str(number), f"{reading:.0f}", f"{filtered:.2f}", f"{error:.2f}", f"{proportional:.3f}"]
        rows.append(row + [f"{integral:.3f}", f"{share:.3f}", f"{reduction:.2f}", str(written(reduction))])
    return rows


def settled(settings: Settings, k_p: str, k_i: str) -> list[str]:
    """What an hour comes to: what there was in its last five minutes, and the highest temperature."""
    light = Sequence("model", replace(settings.gains, k_p=float(k_p), k_i=float(k_i)))
    celsius, level = SURROUNDINGS, int(FULL)
    seen = []
    highest = celsius
    for _ in range(round(3600 / settings.sample_time)):
        for _ in range(round(settings.sample_time / STEP)):
            celsius += (SURROUNDINGS + RISE * level / FULL - celsius) * STEP / TIME_CONSTANT
            highest = max(highest, celsius)
        light.step(settings.sample_time, FULL, celsius)
        level = written(light.reduction)
        seen.append((celsius, level))
    temperatures, levels = zip(*seen[-round(300 / settings.sample_time) :])
    swing = max(temperatures) - min(temperatures)
    if swing > 1:
        state = [f"swings by {swing:.1f}", f"{min(levels)} to {max(levels)}"]
    else:
        state = [f"{celsius:.1f}", str(level)]
    return [k_p, k_i, *state, f"{highest:.1f}"]


def problems_of(document: str, settings: Settings) -> list[str]:
    shown = table(document, "tick", 9)
    calculated = ticks(settings, [float(row[1]) for row in shown])
    models = table(document, "k_p", 5)
    pairs = [*zip(shown, calculated), *((row, settled(settings, row[0], row[1])) for row in models)]
    if len(pairs) < 10:
        return ["the examples are not there"]
    problems = [f"{row} should be {right}" for row, right in pairs if row != right]
    for row in calculated:
        if row[0] == "6" and f"\npower_reduce = {row[7]}, temp = {row[2]}\n" not in document:
            problems.append(f"the log line of tick 6 is not that of {row}")
    return problems


def main() -> int:
    problems = problems_of(Path(sys.argv[1]).read_text(), Settings.read(sys.argv[2]))
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
