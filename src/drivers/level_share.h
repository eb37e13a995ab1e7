#pragma once

#include <algorithm>
#include <cmath>

#include "daemon/numbers.h"

/// A thermal reduction, shared over the LEDs of a light in proportion to what they give.

/// What is left of @p level, a part of @p sum, after @p reduction is shared out over the whole; rounded once
/// only, and may be below 0.
inline gint after_reduction(gint level, gdouble sum, gdouble reduction) {
  return to_int(std::fma(-(level / sum), reduction, gdouble(level)));
}

/// What is left of @p level when it carries @p share (0 to 1) of @p reduction; never below 0.
inline gint reduced_level(gint level, gdouble share, gdouble reduction) {
  return std::max(to_int(level - reduction * share), 0);
}
