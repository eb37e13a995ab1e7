"""The regulator calculates the same bits on every kind of machine: here, and in emulators of the cameras' processors.

A pytest file. Compiles with the arguments that meson.build has for all code.
"""

from __future__ import annotations

import re
import subprocess
from collections.abc import Iterator
from pathlib import Path
from tempfile import TemporaryDirectory

import pytest

HERE = Path(__file__).resolve().parent
SOURCES = HERE.parent.parent / "src"
PROGRAM = [SOURCES / "drivers/regulator_step.cpp", HERE / "regulator_golden_check.cpp"]
GOLDEN = HERE / "regulator_golden.txt"

FLAGS = ["-std=c++20", "-Wall", "-Wextra", "-Werror", "-static"]
MACHINES = {
    "native": (["g++"], []),
    "aarch64": (["aarch64-linux-gnu-g++"], ["qemu-aarch64"]),
    "armhf": (["arm-linux-gnueabihf-g++"], ["qemu-arm"]),
    "armhf-vfpv4": (["arm-linux-gnueabihf-g++", "-mfpu=neon-vfpv4"], ["qemu-arm"]),
}


@pytest.fixture
def folder() -> Iterator[str]:
    with TemporaryDirectory() as path:
        yield path


def project_arguments() -> list[str]:
    text = (SOURCES.parent / "meson.build").read_text()
    [call] = re.findall(r"^add_project_arguments\(('.*)\)", text, re.MULTILINE)
    return re.findall(r"'(-.*?)'", call)


def run_golden(machine: str, arguments: list[str], folder: str) -> subprocess.CompletedProcess[str]:
    compiler, emulator = MACHINES[machine]
    program = f"{folder}/check"
    compilation = [*compiler, *FLAGS, *arguments, f"-I{SOURCES}", *PROGRAM, "-o", program]
    compiled = subprocess.run(compilation, capture_output=True, text=True)
    assert compiled.returncode == 0, compiled.stderr
    return subprocess.run([*emulator, program, GOLDEN], capture_output=True, text=True)


@pytest.mark.parametrize("optimization", ["-O0", "-O2", "-O3"])
@pytest.mark.parametrize("machine", MACHINES)
def test_bits_are_the_same(machine: str, optimization: str, folder: str) -> None:
    result = run_golden(machine, [optimization, *project_arguments()], folder)
    assert result.returncode == 0, result.stdout + result.stderr
    assert result.stdout.endswith(" ticks, 0 differ\n")


@pytest.mark.parametrize("machine", ["aarch64", "armhf-vfpv4"])
def test_contraction_would_be_noticed(machine: str, folder: str) -> None:
    result = run_golden(machine, ["-O2", *project_arguments(), "-ffp-contract=fast"], folder)
    assert result.returncode == 1
    assert re.search(r" ticks, [1-9]\d* differ\n$", result.stdout), result.stdout
