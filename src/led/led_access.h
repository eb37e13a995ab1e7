#pragma once

#include "led/led_base.h"

/// Whether the light can work at all: FALSE with LIGHT_CONTROL_ERROR_NO_BOARD without its board, FALSE with
/// LIGHT_CONTROL_ERROR_WRONG_POE without enough power.
bool led_access_check(const LedBase *light, GError **error);

/// Whether angles apply to the light: FALSE with LIGHT_CONTROL_ERROR_NOT_SUPPORTED when not.
bool led_access_check_angle(const LedBase *light, GError **error);

/// Whether @p value is within the light's intensities: FALSE with LIGHT_CONTROL_ERROR_INVALID_INTENSITY when
/// not.
bool led_access_check_intensity(const LedBase *light, gint value, GError **error);

/// Whether @p value is within the light's angles: FALSE with LIGHT_CONTROL_ERROR_INVALID_ANGLE when not.
bool led_access_check_angle_range(const LedBase *light, gint value, GError **error);
