#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// LEDs of one attribute file each (`basepath` with the LED's number), which take milliwatts as decimal text.
/// Follows the lens by itself: the table's angles are degrees of the horizontal field of view, which the
/// kernel's data cache tells.
#define LED_TYPE_SYSFS (led_sysfs_get_type())
G_DECLARE_FINAL_TYPE(Led_SYSFS, led_sysfs, LED, SYSFS, LedBase)

G_END_DECLS
