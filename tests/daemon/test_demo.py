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


def test_every_example_with_hardware_is_shown() -> None:
    assert sorted(TYPES) == sorted(EXAMPLES - {"Dummy"})


@pytest.mark.parametrize("name", TYPES)
def test_light(sandbox, name: str) -> None:
    run = coverage.new_run()
    environment = dict(os.environ, LD_LIBRARY_PATH=os.environ["BEAMD_PLATFORM_DIR"]) | coverage.variables(run)
    scenes = [REPOSITORY / "scripts/demo-scenes", REPOSITORY, os.environ["BEAMD_BUILD_DIR"], name]
    shown = sandbox.run(scenes, env=environment, timeout=300).stdout
    coverage.hand_over(run)
    assert shown.rstrip().endswith("beamd ended with status 0")

    dark, _, lit = shown.partition("## It gives what the grant allows")
    assert 'RequestPower "led0" "normal"' in dark
    assert re.search(r"^/sys/\S+: [1-9]\d*$", lit, re.MULTILINE), f"no file tells that the light shines: {shown}"
