#pragma once

#include <array>

#include "led/illumination_table.h"

/// The most LEDs that are driven; those that a light has beyond it are not.
inline constexpr gsize kSysfsLeds = 16;
/// Milliwatts per LED.
using SysfsPowers = std::array<gint, kSysfsLeds>;

/// Two intensity points of a row of the table.
struct TableSegment {
  const IlluminationPoint *low;
  const IlluminationPoint *high;
};

/// The last row of @p table that is not above @p angle, or its first one; NULL in a table without rows.
const IlluminationRow *row_for_angle(const IlluminationRow *table, gint angle);

/// The two points of @p row, which has two at least, between which @p intensity is looked for: the first two
/// when there are no others or all lie below it; otherwise those that end with the third point or the first
/// one after it that is not below it.
TableSegment segment_for_intensity(const IlluminationRow &row, gint intensity);

/// Where @p intensity lies in @p segment: 0 at its low point, 1 at its high one, beyond them outside of it.
gfloat quota_in_segment(const TableSegment &segment, gint intensity);

/// The milliwatts of LED @p led at @p quota of @p segment.
gint power_in_segment(const TableSegment &segment, gfloat quota, gint led);

/// The sum of @p powers.
gint64 sum_of(const SysfsPowers &powers);

/// @p powers scaled down to @p allowed milliwatts, if they are more.
SysfsPowers within_allowance(const SysfsPowers &powers, gint allowed);
