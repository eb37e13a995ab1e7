#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// A board of one infrared channel behind a micro-controller: the attribute file `led0` takes the intensity
/// as decimal text. Dims by the granted power and by temperature; has no angle of illumination.
#define LED_TYPE_1_I2C (led_1_i2c_get_type())
G_DECLARE_FINAL_TYPE(Led_1_I2C, led_1_i2c, LED, 1_I2C, LedBase)

G_END_DECLS
