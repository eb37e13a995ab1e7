#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// The infrared LEDs of a fisheye camera, one attribute file an LED (`basepath` with the LED's number) that
/// takes its milliwatts as decimal text. The granted power is shared out in proportion to the requested
/// intensities. Has no angle of illumination.
#define LED_TYPE_FISHEYE_I2C (led_fisheye_i2c_get_type())
G_DECLARE_FINAL_TYPE(Led_Fisheye_I2C, led_fisheye_i2c, LED, FISHEYE_I2C, LedBase)

G_END_DECLS
