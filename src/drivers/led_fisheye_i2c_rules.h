#pragma once

#include <algorithm>

#include "daemon/numbers.h"

/// The part (0 to 1) of the budget that an LED gets which wants @p requested of @p total milliwatts.
inline gdouble share_of(gdouble requested, gdouble total) {
  return total == 0.0 || requested == 0.0 ? 0.0 : requested / total;
}

/// The milliwatts of an LED with @p share of @p budget, of which @p reduction is taken off; 0 to @p highest.
inline gint shared_level(gdouble budget, gdouble reduction, gdouble share, gint highest) {
  const gint level = to_int((budget - reduction) * share);
  return level < 0 ? 0 : std::min(level, highest);
}
