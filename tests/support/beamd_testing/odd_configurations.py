"""Configurations that look odd and are right."""

from __future__ import annotations

from .mistake import (
    BEAMD,
    DEFAULTS,
    DIMMING,
    LIGHT,
    TABLE,
    Change,
    append,
    beside,
    copy,
    drop,
    remove,
    swap,
    write,
)

FIRST_LINE = "; One infrared light: a single channel behind a micro-controller that the kernel offers as a folder of files."
ROW = "0=0;0;0;\n100=0;1600;1200;"

# The example, and what is changed in it.
ODD_AND_RIGHT: dict[str, tuple[str, tuple[Change, ...]]] = {
    "list without a last semicolon": ("LED2I2C", (swap(LIGHT, "intensities=100;100;", "intensities=100;100"),)),
    "blanks": ("LED1I2C", (swap(LIGHT, "intensity=50", "  intensity  =  50  "),)),
    "digits for a boolean": ("LED1I2C", (swap(LIGHT, "enable=true", "enable=1"),)),
    "sign and zeros": ("LED1I2C", (swap(LIGHT, "intensity=50", "intensity=+050"),)),
    "light that may not be switched on": ("LED1I2C", (swap(LIGHT, "enable=true", "enable=false"),)),
    "power request left out": ("LED1I2C", (drop(LIGHT, "usepowerrequest=true"),)),
    "requirement": ("LED1I2C", (swap(LIGHT, "minimum_poe_class=0", "minimum_poe_class=3"),)),
    "lowest intensity": ("LED1I2C", (swap(LIGHT, "intensityLOW=0", "intensityLOW=10"),)),
    "modes left out": (
        "LED1I2C",
        (drop(LIGHT, "automaticintensity=true"), drop(LIGHT, "manualintensity=100"), drop(LIGHT, "syncdaynight=true")),
    ),
    "gains left out": ("LED2I2C", (drop(DIMMING, "k_i=0.001"), drop(DIMMING, "k_d=0"))),
    "no sensor": ("LED1I2C", (drop(DIMMING, "temp_sensor_id=IlluminationBoard"),)),
    "one sensor of two": ("LED2I2C", (drop(DIMMING, "temp_sensor_id2=IlluminationDriver"),)),
    "empty regulator": ("LED2I2C", (write(DIMMING, ""),)),
    "regulator that is switched off": ("LED1I2C", (swap(DIMMING, "enabled=true", "enabled=false"),)),
    "no regulator": ("LEDSYSFS", (remove(DIMMING),)),
    "colon in beamd.conf": ("LED1I2C", (swap(BEAMD, "NbrOfLeds=1", "NbrOfLeds : 1"),)),
    "comment in beamd.conf": ("LED1I2C", (swap(BEAMD, "Type=LED1I2C", "Type=LED1I2C ; one channel"),)),
    "comment that ends beamd.conf": ("Dummy", (append(BEAMD, "# that is all"),)),
    "byte order mark in beamd.conf": ("LED1I2C", (swap(BEAMD, FIRST_LINE, f"\ufeff{FIRST_LINE}"),)),
    "zero in a group's number": ("LED1I2C", (swap(BEAMD, "[LED.L0]", "[LED.L00]"),)),
    "points on a line": ("LEDSYSFS", (swap(TABLE, ROW, "0=0;0;0;\n50=0;800;600;\n100=0;1600;1200;"),)),
    "percent sign": (
        "LEDBL",
        (swap(DEFAULTS, "basepath=/sys/class/backlight/ir%d", "basepath=/sys/class/100%%/ir%02d"),),
    ),
    "files of others": (
        "LED1I2C",
        (write("/usr/share/beamd/board/QXID", "1"), write("/etc/beamd/README", "ours"), write("/etc/other.conf", "x")),
    ),
    "traces of an editor": (
        "Tarsil",
        (write(f"{TABLE}.bak", "x"), write(f"{LIGHT}~", "x"), write("/etc/beamd/dimming.conf.dpkg-old", "x")),
    ),
    "traces of a package manager": (
        "Tarsil",
        tuple(write(f"{TABLE}.{end}", "x") for end in ("rpmsave", "rpmnew", "ucf-dist", "ucf-old", "bak1", "save")),
    ),
    "blanks around a row's name": ("LED1I2C", (swap(TABLE, "[100]", "[ 100 ]"),)),
    "names with a sign": (
        "LED1I2C",
        (
            swap(DIMMING, "temp_sensor_id=IlluminationBoard", "temp_sensor_id=LED Board # 2"),
            swap(DEFAULTS, "basepath=/sys/devices/platform/illumination", "basepath=/sys/devices/LED board #2"),
        ),
    ),
    "Tarsil without a table for other lenses": ("Tarsil", (remove(TABLE),)),
    "table of another lens beside one channel": ("LED1I2C", (beside("Tarsil"),)),
    "tables of two kinds": ("LEDSYSFS", (copy(TABLE, f"{TABLE}.board2"), beside("Tarsil"))),
    "one channel beside two": (
        "LED1I2C",
        (beside("LED2I2C"), copy(TABLE, TABLE, "LED2I2C")),
    ),
}
