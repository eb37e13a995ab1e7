#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// A board of three infrared outputs behind a micro-controller, for supplies of PoE class 3 only: the
/// attribute files `led0`, `led1` and `led2` take their values as decimal text of a fixed size. Offers two
/// LEDs: the outer outputs 0 and 2, and output 1. Its table depends on the optics.
#define LED_TYPE_3_I2C (led_3_i2c_get_type())
G_DECLARE_FINAL_TYPE(Led_3_I2C, led_3_i2c, LED, 3_I2C, LedBase)

G_END_DECLS
