#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// A board of two infrared channels behind a micro-controller: the attribute files `led0` and `led1` take
/// their levels as decimal text. Follows the illumination table, the granted power and the temperature.
#define LED_TYPE_2_I2C (led_2_i2c_get_type())
G_DECLARE_FINAL_TYPE(Led_2_I2C, led_2_i2c, LED, 2_I2C, LedBase)

G_END_DECLS
