#pragma once

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

/// @p value, or the nearest number that an int can hold.
constexpr gint to_int(gint64 value) {
  return static_cast<gint>(
      std::clamp<gint64>(value, std::numeric_limits<gint>::min(), std::numeric_limits<gint>::max()));
}

/// @p value without its fraction; numbers that an int cannot hold give the nearest one that it can, NaN gives
/// 0.
inline gint to_int(gdouble value) {
  if (std::isnan(value))
    return 0;
  return static_cast<gint>(
      std::clamp<gdouble>(value, std::numeric_limits<gint>::min(), std::numeric_limits<gint>::max()));
}

/// The decimal number at the start of @p text as far as an int can hold it; 0 when there is none.
inline gint parse_int(const char *text) { return to_int(gint64{strtoll(text, nullptr, 10)}); }
