"""Mistakes in the files that tell how a light is reached: its PWM channel and its registers."""

from __future__ import annotations

from .mistake import (
    CAMBLOCK,
    DIMMING,
    HARMLESS,
    HERE,
    PWM,
    REFUSES,
    added,
    append,
    beside,
    in_line,
    left_out,
    mark,
    mistake,
    remove,
    swap,
    write,
)

CHANNELS = [
    mistake("LED1PWM", "file-missing", PWM, remove(PWM), reason=REFUSES),
    in_line("LED1PWM", "unknown-group", PWM, "[pwm]", "[PWM]", suggestion="pwm", reason="dropped"),
    added("LED1PWM", "unknown-key", PWM, "duty_low=10000", "polarity=inversed", reason="dropped"),
    left_out("LED1PWM", "missing-key", PWM, "duty_low=10000", "[pwm]", reason=REFUSES),
    in_line("LED1PWM", "value-type", PWM, "ld_period=100000", "ld_period=100us", reason=REFUSES),
    in_line("LED1PWM", "value-range", PWM, "duty_low=10000", "duty_low=0", reason=REFUSES),
    in_line("LED1PWM", "value-range", PWM, "ld_period=100000", "ld_period=100000000", reason="dark"),
    in_line("LED1PWM", "duty-beyond-period", PWM, "duty_high=90000", "duty_high=95000", reason="misread"),
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
        reason="misread",
    ),
    in_line(
        "LEDCAMBLOCKI2C", "unknown-group", CAMBLOCK, "[i2c_info]", "[i2c-info]", suggestion="i2c_info", reason="dropped"
    ),
    mistake(
        "LED2CAMBLOCKI2C",
        "unknown-group",
        CAMBLOCK,
        append(CAMBLOCK, f"{HERE}[led0]\nenable_disable_reg=16"),
        names="led0",
        reason="dropped",
    ),
    in_line(
        "LEDCAMBLOCKI2C",
        "unknown-key",
        CAMBLOCK,
        "power_reg=19",
        "powerreg=19",
        suggestion="power_reg",
        reason="dropped",
    ),
    in_line(
        "LED2CAMBLOCKI2C",
        "unknown-key",
        CAMBLOCK,
        "camblocksubdevice_led1_power_reg=19",
        "camblocksubdevice_led1_powerreg=19",
        suggestion="camblocksubdevice_led1_power_reg",
        reason="dropped",
    ),
    in_line("LEDCAMBLOCKI2C", "duplicate-group", CAMBLOCK, "[led2]", "[led1]", reason="misread"),
    left_out("LEDCAMBLOCKI2C", "missing-key", CAMBLOCK, "power_reg=19", "[led1]", reason=REFUSES),
    left_out(
        "LED2CAMBLOCKI2C", "missing-key", CAMBLOCK, "camblocksubdevice_led1_power_reg=19", "[i2c_info]", reason="dark"
    ),
    in_line(
        "LEDCAMBLOCKI2C",
        "value-type",
        CAMBLOCK,
        "camblockI2Caddress=58",
        "camblockI2Caddress=0x3a",
        suggestion="58",
        reason=REFUSES,
    ),
    in_line(
        "LEDCAMBLOCKI2C",
        "value-range",
        CAMBLOCK,
        "camblockI2Caddress=58",
        "camblockI2Caddress=129",
        suggestion="64",
        reason="undetected",
    ),
    in_line("LEDCAMBLOCKI2C", "value-range", CAMBLOCK, "camblockI2Cbus=0", "camblockI2Cbus=256", reason="misread"),
    in_line("LEDCAMBLOCKI2C", "value-range", CAMBLOCK, "camblocksubdevice=5", "camblocksubdevice=-1", reason="misread"),
    in_line("LEDCAMBLOCKI2C", "value-range", CAMBLOCK, "power_reg=19", "power_reg=300", reason="misread"),
    in_line("LEDCAMBLOCKI2C", "register-shared", CAMBLOCK, "power_reg=19", "power_reg=18", reason="misread"),
    # A table for two LEDs suits both Types, but no number of sensors does.
    mistake(
        "LED2CAMBLOCKI2C",
        "sensor-count",
        DIMMING,
        append(CAMBLOCK, TWO_MORE_LEDS),
        beside("LEDCAMBLOCKI2C"),
        swap("/etc/beamd/led1.conf", "intensities=1000;1000;1000;", "intensities=1000;1000;"),
        mark(DIMMING, "temp_sensor_id=IlluminationBoard"),
        names="temp_sensor_id",
        **HARMLESS,
    ),
]
