#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// A light without hardware: it is configured, offered and switched like any other, and always obeys.
#define LED_TYPE_DUMMY (led_dummy_get_type())
G_DECLARE_FINAL_TYPE(LedDummy, led_dummy, LED, DUMMY, LedBase)

G_END_DECLS
