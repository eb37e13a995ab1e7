#pragma once

#include <glib.h>

#include "daemon/numbers.h"

/// The full scale of a device whose light does not configure its own.
inline constexpr gint kDefaultFullScale = 255;

/// Where @p value lies between @p low and @p high on a scale from 0 to @p full_scale (-1 = the default one),
/// without its fraction; 0 when there is nothing in between.
constexpr gint brightness_of(gint value, gint low, gint high, gint full_scale) {
  const gint64 range = gint64{high} - low;
  const gint64 scale = full_scale == -1 ? kDefaultFullScale : full_scale;
  return range == 0 ? 0 : to_int((gint64{value} - low) * scale / range);
}
