"""Texts of beamd's configuration files.

Each builder starts from a complete, valid file; the overrides replace keys, add keys and, with None, remove
them. A whole group is removed by giving None for it.
"""

from __future__ import annotations

from collections.abc import Mapping

Value = str | int | float | bool | list | tuple
KeyFile = Mapping[str, Mapping[str, Value]]
Overrides = Mapping[str, Mapping[str, Value | None] | None]

# Every key that a light knows.
LIGHT_STATE: KeyFile = {
    "common": {
        "intensityLOW": 0,
        "intensityHIGH": 100,
        "intensity": 50,
        "enable": True,
        "syncdaynight": False,
        "automaticintensity": False,
        "manualintensity": 60,
        "manualangleofillumination": 40,
        "usepowerrequest": False,
        "rampdown_time": 0,
        "max_brightness_level": 255,
        "nbrofinterfaces": 3,
        "ledtype": "IR",
        "usemanualoverride": False,
        "individualintensitysupport": True,
        "intensities": [60, 60],
        "powerusagefactor": 0.0018,
        "required_total_power": 0.0,
        "minimum_poe_class": 0,
    },
    "zoom": {
        "automaticangleofillumination": True,
        "angleofillumination": 30,
        "angleofilluminationLOW": 10,
        "angleofilluminationHIGH": 60,
    },
}

LIGHT_DEFAULTS: KeyFile = {"common": {"basepath": "/sys/devices/illumination"}}


def value_text(value: Value) -> str:
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, (list, tuple)):
        return "".join(f"{value_text(entry)};" for entry in value)
    return str(value)


def key_file(content: KeyFile, overrides: Overrides | None = None) -> str:
    """@p content with @p overrides, as the text of a key file."""
    overrides = overrides or {}
    groups = [*content, *(name for name in overrides if name not in content)]
    text = []
    for name in groups:
        changes = overrides.get(name, {})
        if changes is None:
            continue
        keys = {**content.get(name, {}), **changes}
        lines = [f"{key}={value_text(value)}" for key, value in keys.items() if value is not None]
        text.append("\n".join([f"[{name}]", *lines]) + "\n")
    return "\n".join(text)


def beamd_conf(types: list[str], overrides: Overrides | None = None) -> str:
    """The daemon's file for one light of each type, in order."""
    content = {"LED": {"NbrOfLeds": len(types)}}
    content |= {f"LED.L{number}": {"Type": name} for number, name in enumerate(types)}
    return key_file(content, overrides)


def light_state(overrides: Overrides | None = None) -> str:
    """A light's state file, /etc/beamd/led<N>.conf."""
    return key_file(LIGHT_STATE, overrides)


def light_defaults(overrides: Overrides | None = None) -> str:
    """A light's defaults file, /usr/share/beamd/led<N>.conf."""
    return key_file(LIGHT_DEFAULTS, overrides)
