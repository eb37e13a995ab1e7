"""Complete configurations of lights without hardware, put in place in a sandbox."""

from __future__ import annotations

from pathlib import Path

from .configuration import LIGHT_DEFAULTS, Overrides, beamd_conf, key_file, light_defaults, light_state
from .sandbox import Sandbox

EXAMPLES = Path(__file__).resolve().parent.parent.parent.parent / "data/examples"
BEAMD_CONF = "/etc/beamd/beamd.conf"


def state_path(number: int) -> str:
    return f"/etc/beamd/led{number}.conf"


def defaults_path(number: int) -> str:
    return f"/usr/share/beamd/led{number}.conf"


def install_dummies(sandbox: Sandbox, *lights: Overrides, leds: int = 0) -> None:
    """One dummy per entry of @p lights, which changes a complete state file. Each has @p leds LEDs."""
    sandbox.write(BEAMD_CONF, beamd_conf(["Dummy"] * len(lights)))
    install_board(sandbox, leds)
    for number, changes in enumerate(lights):
        install_light(sandbox, number, changes)


def install_light(sandbox: Sandbox, number: int, changes: Overrides | None = None) -> None:
    sandbox.write(state_path(number), light_state(changes))
    sandbox.write(defaults_path(number), light_defaults())


def install_board(sandbox: Sandbox, leds: int) -> None:
    """What a light finds of its board."""
    sandbox.write(f"{LIGHT_DEFAULTS['common']['basepath']}/QXID", "1")
    row = {"0": [0] * leds, "100": [100] * leds}
    sandbox.write("/etc/beamd/illumination.conf", key_file({"info": {"leds": leds}, "0": row, "100": row}))


def install_example(sandbox: Sandbox, name: str) -> None:
    """Copies the files of an example to the places that they have below its folder."""
    files = [path for path in (EXAMPLES / name).rglob("*") if path.is_file()]
    assert files, f"there is no example {name}"
    for path in files:
        sandbox.write(f"/{path.relative_to(EXAMPLES / name)}", path.read_bytes())
