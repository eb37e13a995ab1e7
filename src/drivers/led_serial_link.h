#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// An infrared head on a serial link, whose protocol lives in a backend that is loaded at run time.
#define LED_TYPE_SERIAL_LINK (led_serial_link_get_type())
G_DECLARE_FINAL_TYPE(LedSerialLink, led_serial_link, LED, SERIAL_LINK, LedBase)

G_END_DECLS
