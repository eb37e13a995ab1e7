"""The demo shows every type of light on its hardware."""

from __future__ import annotations

import os
import re
from pathlib import Path

import pytest
from beamd_testing import coverage

REPOSITORY = Path(__file__).resolve().parent.parent.parent
TYPES = re.findall(r"^hardware_(\w+)\(\)", (REPOSITORY / "scripts/demo-hardware").read_text(), re.MULTILINE)
EXAMPLES = {path.name for path in (REPOSITORY / "data/examples").iterdir()}

# What tells that a light is on, of those that no file tells of.
ON = {
    "LEDCAMBLOCKI2C": r"^write /dev/i2c-0 3a 5 13 7f$",
    "LED2CAMBLOCKI2C": r"^write /dev/i2c-0 3a 5 11 4c$",
    "LED2UART": r'^\S+ Auxiliary "Administrator" 0 "tt:LightIR\|On"$',
    "LEDSERIALLINK": r"^set_light 0 1$",
}
# These need no power.
PLAIN = {"LED2UART", "LEDSERIALLINK"}


def test_every_example_with_hardware_is_shown() -> None:
    assert sorted(TYPES) == sorted(EXAMPLES - {"Dummy"})


@pytest.mark.slow
@pytest.mark.parametrize("name", TYPES)
def test_light(sandbox, name: str) -> None:
    run = coverage.new_run()
    environment = dict(os.environ, LD_LIBRARY_PATH=os.environ["BEAMD_PLATFORM_DIR"]) | coverage.variables(run)
    scenes = [REPOSITORY / "scripts/demo-scenes", REPOSITORY, os.environ["BEAMD_BUILD_DIR"], name]
    shown = sandbox.run(scenes, env=environment, timeout=300).stdout
    coverage.hand_over(run)
    assert shown.rstrip().endswith("beamd ended with status 0")

    dark, _, lit = shown.partition(f"## {'Switched on' if name in PLAIN else 'It gives what the grant allows'}\n")
    assert ('RequestPower "led0" "normal"' in dark) is (name not in PLAIN)
    on = ON.get(name, r"^/sys/\S+: [1-9]\d*$")
    assert re.search(on, lit, re.MULTILINE), f"nothing tells that the light shines: {shown}"
    assert name not in ON or not re.search(on, dark, re.MULTILINE)
