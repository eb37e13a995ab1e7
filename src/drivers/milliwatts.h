#pragma once

#include <vector>

#include "led/led_base.h"

/// Lights whose intensities are milliwatts.

/// What each LED of @p light shall give.
std::vector<gdouble> requested_milliwatts(LedBase *light);

/// What @p light is granted, between 0 and G_MAXINT; 0 for a grant that is no number.
gdouble granted_milliwatts(const LedBase *light);

/// Asks for the sum of what the LEDs shall give, for nothing unless @p is_on.
void request_milliwatts(LedBase *light, bool is_on);
