#pragma once

#include <glib.h>

#include <algorithm>

/// What the power register of an LED takes for @p milliwatts where @p full_scale is the most that the LED
/// gives: the low 8 bits of its share of 255, calculated in single precision.
inline guint8 camblock_level(gint milliwatts, gint full_scale) {
  if (full_scale == 0)
    return 0;
  const gfloat level = 255.0F / static_cast<gfloat>(full_scale) * static_cast<gfloat>(milliwatts);
  return static_cast<guint8>(static_cast<gint64>(std::clamp<gdouble>(level, G_MININT, G_MAXUINT)) & 0xFF);
}
