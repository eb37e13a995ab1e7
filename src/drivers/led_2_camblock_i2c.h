#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// Two LEDs on the light controller of a camera block.
#define LED_TYPE_2_CAMBLOCK_I2C (led_2_camblock_i2c_get_type())
G_DECLARE_FINAL_TYPE(Led_2_CAMBLOCK_I2C, led_2_camblock_i2c, LED, 2_CAMBLOCK_I2C, LedBase)

G_END_DECLS
