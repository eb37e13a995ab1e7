#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// Infrared LEDs that the kernel offers as backlights, one folder an LED (`basepath` with the LED's number),
/// and switches by GPIO lines. Intensities are milliwatts: the granted power is shared out in proportion to
/// them. Has no angle of illumination.
#define LED_TYPE_BL (led_bl_get_type())
G_DECLARE_FINAL_TYPE(Led_BL, led_bl, LED, BL, LedBase)

G_END_DECLS
