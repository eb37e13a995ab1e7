#pragma once

#include "led/led_base.h"

/// Whether the light can work at all: false with LIGHT_CONTROL_ERROR_NO_BOARD without its board, false with
/// LIGHT_CONTROL_ERROR_WRONG_POE without enough power.
bool light_check_usable(const LedBase *light, GError **error);

/// Whether angles apply to the light: false with LIGHT_CONTROL_ERROR_NOT_SUPPORTED when not.
bool light_check_angle_supported(const LedBase *light, GError **error);

/// Whether @p value is within the light's intensities: false with LIGHT_CONTROL_ERROR_INVALID_INTENSITY when
/// not.
bool light_check_intensity(const LedBase *light, gint value, GError **error);

/// Whether @p value is within the light's angles: false with LIGHT_CONTROL_ERROR_INVALID_ANGLE when not.
bool light_check_angle(const LedBase *light, gint value, GError **error);

/// Refuses an intensity: sets LIGHT_CONTROL_ERROR_INVALID_INTENSITY.
void light_refuse_intensity(GError **error);
