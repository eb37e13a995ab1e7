#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// One group of infrared LEDs behind an inverted PWM channel (`basepath` is the chip's folder in sysfs) and,
/// where there are any, GPIO lines. Has no angle of illumination.
#define LED_TYPE_1_PWM (led_1_pwm_get_type())
G_DECLARE_FINAL_TYPE(Led_1_PWM, led_1_pwm, LED, 1_PWM, LedBase)

G_END_DECLS
