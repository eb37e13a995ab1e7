#pragma once

#include <span>
#include <vector>

#include "led/illumination_table.h"

/// The arithmetic of the illumination table: no light is needed for it. Where a table is not as it should be
/// (angles or intensities out of order, equal ones, numbers near the limits of int) the results are defined,
/// too. Each level list of a table has at least as many levels as there are requested intensities.

/// @p from + (@p to - @p from) * @p part / @p whole, the division rounded toward zero, as far as an int can
/// hold it; @p from when @p whole is 0.
gint interpolate(gint from, gint to, gint64 part, gint64 whole);

/// What @p row gives for the @p requested intensity of each LED; 0 where it has nothing to give: in a row
/// without points and above its last point.
std::vector<gint> row_levels(const IlluminationRow &row, std::span<const gint> requested);

/// The level of each LED at @p angle, between the two rows next to it: the first row below the table, the
/// last one above it.
std::vector<gint> levels_at_angle(const IlluminationRow *table, gint angle, std::span<const gint> requested);

/// The sum of all LEDs' levels in that of the rows next to @p angle which gives more.
gdouble largest_sum_at_angle(const IlluminationRow *table, gint angle, std::span<const gint> requested);

/// Dims @p levels until their sum times @p watts_per_unit is no more than @p granted watts: to 99 % of what
/// they are, that to 98 %, that to 97 % and so on. All are 0 when no less would do.
void limit_to_power(std::span<gint> levels, gfloat watts_per_unit, gdouble granted);
