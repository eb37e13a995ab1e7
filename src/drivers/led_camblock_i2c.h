#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// LEDs on the light controller of a camera block, with the registers of each in a group of its own.
#define LED_TYPE_CAMBLOCK_I2C (led_camblock_i2c_get_type())
G_DECLARE_FINAL_TYPE(Led_CAMBLOCK_I2C, led_camblock_i2c, LED, CAMBLOCK_I2C, LedBase)

G_END_DECLS
