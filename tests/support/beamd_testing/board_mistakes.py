"""Mistakes in the files that describe a light's board: its table, its regulator, its PWM channel and its registers."""

from __future__ import annotations

from .mistake import (
    CAMBLOCK,
    DIMMING,
    HERE,
    LIGHT,
    PWM,
    TABLE,
    added,
    append,
    copy,
    drop,
    in_line,
    left_out,
    mark,
    mistake,
    remove,
    swap,
    write,
)

REFUSES = "refuses-to-start"
ROW = "[50]\n0=0;0;\n100=120;120;"


def table_of(leds: int, points: int) -> str:
    """A table of two rows."""
    levels = "1;" * leds
    row = "".join(f"{intensity}={levels}\n" for intensity in range(points))
    return f"[info]\nleds={leds}\n[0]\n{row}[100]\n{row}"


def in_row(rule: str, new: str, **rest: str):
    """The row for angle 50 of the two channels' table reads @p new."""
    return mistake("LED2I2C", rule, TABLE, swap(TABLE, ROW, new), **rest)


TABLES = [
    mistake("LED2I2C", "file-missing", TABLE, remove(TABLE), reason=REFUSES),
    mistake("LEDBL", "file-missing", TABLE, remove(TABLE), reason="undetected"),
    mistake(
        "LED2I2C",
        "file-missing",
        TABLE,
        copy(TABLE, "/etc/beamd/ilumination.conf"),
        remove(TABLE),
        reason=REFUSES,
    ),
    mistake(
        "LED2I2C",
        "file-unused",
        "/etc/beamd/ilumination.conf",
        copy(TABLE, "/etc/beamd/ilumination.conf"),
        suggestion="illumination.conf",
        severity="warning",
    ),
    in_line("LED2I2C", "does-not-parse", TABLE, "[50]", "[50", reason=REFUSES),
    mistake(
        "LED2I2C",
        "first-group",
        TABLE,
        drop(TABLE, "[info]\nleds=2"),
        append(TABLE, "[info]\nleds=2"),
        mark(TABLE, "[0]"),
        names="info",
        reason="misread",
    ),
    in_line("LED2I2C", "unknown-group", TABLE, "[info]", "[inof]", suggestion="info"),
    mistake("LEDBL", "unknown-group", TABLE, append(TABLE, f"{HERE}[0]\n0=0;0;0;"), names="0", severity="warning"),
    mistake("LED2I2C", "missing-group", TABLE, drop(TABLE, "[info]\nleds=2"), names="info"),
    left_out("LED2I2C", "missing-key", TABLE, "leds=2", "[info]", reason="dark"),
    left_out("LEDBL", "missing-key", TABLE, "leds=3", "[info]", reason=REFUSES),
    left_out("Tarsil", "missing-key", TABLE, "angle_div=25", "[info]", reason="misread"),
    in_line("LED2I2C", "unknown-key", TABLE, "leds=2", "led=2", suggestion="leds"),
    in_line("Tarsil", "unknown-key", TABLE, "angle_div=25", "angel_div=25", suggestion="angle_div"),
    added("LED2I2C", "duplicate-key", TABLE, ROW, "100=100;100;"),
    in_line("LED2I2C", "duplicate-group", TABLE, "[100]", "[50]"),
    in_line("LED2I2C", "value-type", TABLE, "leds=2", "leds=two", reason="dark"),
    in_row("value-type", f"[50]\n0=0;0;\n{HERE}100=120,120;", names="100"),
    in_row("trailing-text", f"[50]\n0=0;0;\n{HERE}100=120;120 # both", names="100", severity="warning"),
    in_line("LED2I2C", "value-range", TABLE, "leds=2", "leds=2000"),
    in_line("LED2I2C", "value-range", TABLE, "leds=2", "leds=0", reason="dark"),
    in_row("value-range", f"[50]\n0=0;0;\n{HERE}100=120;-5;", names="100"),
    in_line("Tarsil", "value-range", TABLE, "intensity_div=10", "intensity_div=0"),
    in_line("LED2I2C", "table-number", TABLE, "[50]", "[50deg]", reason="misread"),
    in_row("table-number", f"[50]\n0=0;0;\n{HERE}50%=60;60;\n100=120;120;", names="50%", reason="misread"),
    in_line("LED2I2C", "table-first-angle", TABLE, "[0]", "[10]"),
    in_line("LED2I2C", "table-last-angle", TABLE, "[100]", "[90]"),
    mistake(
        "LED2I2C",
        "table-order",
        TABLE,
        swap(TABLE, "[100]", "[5]"),
        swap(TABLE, "[50]", "[100]"),
        swap(TABLE, "[5]", f"{HERE}[50]"),
        names="50",
        reason="misread",
    ),
    in_row("table-order", f"[50]\n100=120;120;\n{HERE}0=0;0;", names="0", reason="misread"),
    in_row("table-empty", f"{HERE}[50]", names="50", reason="dark"),
    mistake("LED2CAMBLOCKI2C", "table-empty", TABLE, write(TABLE, f"{HERE}[info]\nleds=2\n"), names="info"),
    mistake("Tarsil", "table-empty", TABLE, write(TABLE, f"{HERE}[info]\nangle_div=1\nintensity_div=1\n"), names="info"),
    in_row("levels-count", f"[50]\n0=0;0;\n{HERE}100=120;", names="100"),
    in_line("LEDSYSFS", "levels-count", TABLE, "100=1200;1200;0;", "100=1200;1200;", reason=REFUSES),
    in_line("Tarsil", "levels-count", TABLE, "30=60;84;", "30=60;"),
    in_line("LED2I2C", "leds-count", TABLE, "leds=2", "leds=3"),
    in_line("LEDCAMBLOCKI2C", "leds-count", TABLE, "leds=3", "leds=4"),
    mistake(
        "LEDSYSFS",
        "leds-count",
        TABLE,
        write(TABLE, table_of(17, 101).replace("leds", f"{HERE}leds")),
        names="leds",
        reason="dropped",
    ),
    mistake(
        "LED1I2C",
        "leds-count",
        TABLE,
        write(TABLE, table_of(2, 101).replace("leds", f"{HERE}leds")),
        names="leds",
        severity="warning",
    ),
    mistake(
        "LED2I2C", "table-too-large", TABLE, write(TABLE, table_of(2, 40000)), reason=REFUSES
    ),
    in_line("LED2I2C", "intensity-beyond-table", LIGHT, "intensityHIGH=100", "intensityHIGH=200", reason="dark"),
    in_line("LEDSYSFS", "intensity-beyond-table", LIGHT, "intensityHIGH=100", "intensityHIGH=200", reason="misread"),
    in_line("Tarsil", "intensity-beyond-table", LIGHT, "intensityHIGH=100", "intensityHIGH=110", reason="misread"),
    mistake(
        "LEDCAMBLOCKI2C",
        "level-beyond-full-scale",
        TABLE,
        swap(TABLE, "1000=400;1000;400;", f"{HERE}1000=400;1200;400;"),
        names='"1000"',
        reason="misread",
    ),
    mistake(
        "LEDSYSFS",
        "point-unused",
        TABLE,
        swap(TABLE, "0=0;0;0;\n100=0;1600;1200;", f"{HERE}0=90;0;0;\n50=0;800;600;\n100=0;1600;1200;"),
        names='"0"',
        severity="warning",
    ),
    in_line("Tarsil", "table-grid", TABLE, "[100]", "[125]"),
    in_line("Tarsil", "table-grid", TABLE, "90=180;252;", "110=180;252;"),
    mistake("Tarsil", "table-grid", TABLE, drop(TABLE, "100=200;280;"), mark(TABLE, "[50]"), names="50"),
    in_line("Tarsil", "table-grid", f"{TABLE}.wide", "[100]", "[75]"),
]

SENSOR = "temp_sensor_id=IlluminationBoard"
SECOND = "temp_sensor_id2=IlluminationDriver"
THIRD = "temp_sensor_id3=IlluminationLens"

REGULATORS = [
    mistake("LED2I2C", "file-missing", DIMMING, remove(DIMMING), reason=REFUSES),
    mistake("LEDFISHEYEI2C", "file-missing", DIMMING, remove(DIMMING), reason="undetected"),
    mistake("LEDFISHEYEI2C", "missing-group", DIMMING, write(DIMMING, ""), names="regulator", reason=REFUSES),
    in_line("LED2I2C", "does-not-parse", DIMMING, "k_d=0", "=0", names="=0", reason=REFUSES),
    in_line("LED2I2C", "unknown-group", DIMMING, "[regulator]", "[regulater]", suggestion="regulator"),
    in_line("LED2I2C", "unknown-key", DIMMING, "k_p=0.1", "k_P=0.1", suggestion="k_p"),
    in_line("LED1I2C", "unknown-key", DIMMING, SENSOR, "temp_sensor_id1=IlluminationBoard", suggestion="temp_sensor_id"),
    in_line("LED2I2C", "empty-value", DIMMING, SECOND, "temp_sensor_id2="),
    in_line("LED2I2C", "value-type", DIMMING, "k_p=0.1", "k_p=0,1"),
    in_line("LED1I2C", "value-type", DIMMING, "enabled=true", "enabled=on", suggestion="true"),
    in_line("LED2I2C", "value-type", DIMMING, "sample_time=5", "sample_time=5s"),
    in_line("Tarsil", "value-type", DIMMING, "poe_class_present=true", "poe_class_present=yes", suggestion="true"),
    in_line("LED2I2C", "trailing-text", DIMMING, SECOND, "temp_sensor_id2=IlluminationDriver # hot"),
    in_line("LED2I2C", "value-range", DIMMING, "sample_time=5", "sample_time=0", reason="unregulated"),
    in_line("LEDFISHEYEI2C", "value-range", DIMMING, "sample_time=5", "sample_time=0", reason=REFUSES),
    in_line("LED2I2C", "value-range", DIMMING, "ref_temp=60", "ref_temp=0"),
    in_line("LEDFISHEYEI2C", "value-range", DIMMING, "ref_temp=60", "ref_temp=-1", reason=REFUSES),
    in_line("LED2I2C", "value-range", DIMMING, "ref_temp=60", "ref_temp=600"),
    in_line("LED2I2C", "value-range", DIMMING, "k_i=0.001", "k_i=nan"),
    left_out("LED2I2C", "missing-key", DIMMING, "sample_time=5", "[regulator]"),
    left_out("LED2I2C", "missing-key", DIMMING, "ref_temp=60", "[regulator]"),
    left_out("LEDFISHEYEI2C", "missing-key", DIMMING, "k_d=0", "[regulator]", reason=REFUSES),
    in_line("LED2I2C", "sensor-gap", DIMMING, SECOND, "temp_sensor_id3=IlluminationDriver", reason="dropped"),
    added("LED1I2C", "sensor-count", DIMMING, SENSOR, SECOND, reason="unregulated"),
    mistake(
        "LEDFISHEYEI2C",
        "sensor-count",
        DIMMING,
        append(DIMMING, f"temp_sensor_id3=C\ntemp_sensor_id4=D\n{HERE}temp_sensor_id5=E"),
        names="temp_sensor_id5",
        reason=REFUSES,
    ),
    left_out("LEDCAMBLOCKI2C", "sensor-count", DIMMING, THIRD, SECOND, names="temp_sensor_id2", severity="warning"),
    in_line("LED2I2C", "gain-sign", DIMMING, "k_p=0.1", "k_p=-0.1", reason="unregulated"),
    in_line("LED2I2C", "gain-sign", DIMMING, "k_d=0", "k_d=-3", reason="unregulated"),
    mistake(
        "LED2I2C",
        "gains-zero",
        DIMMING,
        swap(DIMMING, "k_p=0.1", f"{HERE}k_p=0"),
        swap(DIMMING, "k_i=0.001", "k_i=0"),
        names="k_p",
    ),
    left_out("LED1I2C", "regulator-idle", DIMMING, "enabled=true", "[regulator]", severity="warning"),
    added("LED2I2C", "key-without-effect", DIMMING, "[regulator]", "enabled=false"),
    added("LED1I2C", "key-without-effect", DIMMING, "enabled=true", "poe_class_present=true", severity="warning"),
    mistake(
        "LEDSYSFS",
        "gain-sign",
        f"{DIMMING}.board2",
        copy(DIMMING, f"{DIMMING}.board2"),
        swap(f"{DIMMING}.board2", "k_i=0.001", f"{HERE}k_i=-0.001"),
        names="k_i",
    ),
]

CHANNELS = [
    mistake("LED1PWM", "file-missing", PWM, remove(PWM), reason=REFUSES),
    in_line("LED1PWM", "unknown-group", PWM, "[pwm]", "[PWM]", suggestion="pwm"),
    added("LED1PWM", "unknown-key", PWM, "duty_low=10000", "polarity=inversed"),
    left_out("LED1PWM", "missing-key", PWM, "duty_low=10000", "[pwm]", reason=REFUSES),
    in_line("LED1PWM", "value-type", PWM, "ld_period=100000", "ld_period=100us", reason=REFUSES),
    in_line("LED1PWM", "value-range", PWM, "duty_low=10000", "duty_low=0", reason=REFUSES),
    in_line("LED1PWM", "value-range", PWM, "ld_period=100000", "ld_period=100000000"),
    in_line("LED1PWM", "duty-beyond-period", PWM, "duty_high=90000", "duty_high=95000"),
]

CONTROLLER = "[i2c_info]\ncamblockI2Cbus=0\ncamblockI2Caddress=58\ncamblocksubdevice=5\n"
TWO_MORE_LEDS = "".join(f"[led{led}]\nenable_disable_reg={16 * led}\npower_reg={16 * led + 1}\n" for led in (1, 2))

REGISTERS = [
    mistake("LEDCAMBLOCKI2C", "file-missing", CAMBLOCK, remove(CAMBLOCK), reason=REFUSES),
    mistake(
        "LEDCAMBLOCKI2C",
        "first-group",
        CAMBLOCK,
        write(CAMBLOCK, f"{HERE}[led0]\nenable_disable_reg=1\npower_reg=2\n{CONTROLLER}{TWO_MORE_LEDS}"),
        names="i2c_info",
    ),
    in_line("LEDCAMBLOCKI2C", "unknown-group", CAMBLOCK, "[i2c_info]", "[i2c-info]", suggestion="i2c_info"),
    mistake(
        "LED2CAMBLOCKI2C",
        "unknown-group",
        CAMBLOCK,
        append(CAMBLOCK, f"{HERE}[led0]\nenable_disable_reg=16"),
        names="led0",
        reason="dropped",
    ),
    in_line("LEDCAMBLOCKI2C", "unknown-key", CAMBLOCK, "power_reg=19", "powerreg=19", suggestion="power_reg"),
    in_line(
        "LED2CAMBLOCKI2C",
        "unknown-key",
        CAMBLOCK,
        "camblocksubdevice_led1_power_reg=19",
        "camblocksubdevice_led1_powerreg=19",
        suggestion="camblocksubdevice_led1_power_reg",
    ),
    in_line("LEDCAMBLOCKI2C", "duplicate-group", CAMBLOCK, "[led2]", "[led1]"),
    left_out("LEDCAMBLOCKI2C", "missing-key", CAMBLOCK, "power_reg=19", "[led1]", reason=REFUSES),
    left_out(
        "LED2CAMBLOCKI2C", "missing-key", CAMBLOCK, "camblocksubdevice_led1_power_reg=19", "[i2c_info]", reason="dark"
    ),
    in_line(
        "LEDCAMBLOCKI2C", "value-type", CAMBLOCK, "camblockI2Caddress=58", "camblockI2Caddress=0x3a", suggestion="58"
    ),
    in_line("LEDCAMBLOCKI2C", "value-range", CAMBLOCK, "camblockI2Caddress=58", "camblockI2Caddress=129", suggestion="64"),
    in_line("LEDCAMBLOCKI2C", "value-range", CAMBLOCK, "camblockI2Cbus=0", "camblockI2Cbus=256"),
    in_line("LEDCAMBLOCKI2C", "value-range", CAMBLOCK, "camblocksubdevice=5", "camblocksubdevice=-1"),
    in_line("LEDCAMBLOCKI2C", "value-range", CAMBLOCK, "power_reg=19", "power_reg=300"),
    in_line("LEDCAMBLOCKI2C", "register-shared", CAMBLOCK, "power_reg=19", "power_reg=18", reason="misread"),
]
