#pragma once

#include <vector>

#include "led/led_base.h"

/// Lights whose intensities are milliwatts.

/// Reads the number of LEDs of @p light from the file @p file_name. FALSE, logged at LOG_ERR, when there is
/// none; when the file cannot be loaded also with error #LIGHT_CONTROL_ERROR_NO_BOARD.
bool load_led_count(LedBase *light, const char *file_name, GError **error);

/// What each LED of @p light shall give.
std::vector<gdouble> requested_milliwatts(LedBase *light);

/// What @p light is granted, between 0 and G_MAXINT; 0 for a grant that is no number.
gdouble granted_milliwatts(const LedBase *light);

/// Asks for the sum of what the LEDs shall give, for nothing unless @p is_on.
void request_milliwatts(LedBase *light, bool is_on);
