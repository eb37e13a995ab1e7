#include "led/illumination_levels.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "daemon/numbers.h"

namespace {

guint64 magnitude(gint64 value) { return static_cast<guint64>(value < 0 ? -value : value); }

bool is_end(const IlluminationRow &row) { return row.points == nullptr; }

bool is_end(const IlluminationPoint &point) { return point.levels == nullptr; }

bool has_points(const IlluminationRow &row) { return !is_end(row) && !is_end(row.points[0]); }

gint level_in_row(const IlluminationRow &row, gsize led, gint requested) {
  if (!has_points(row))
    return 0;
  if (requested <= row.points[0].intensity)
    return row.points[0].levels[led];

  const IlluminationPoint *upper = row.points + 1;
  while (!is_end(*upper) && upper->intensity < requested)
    ++upper;
  if (is_end(*upper))
    return 0;
  const IlluminationPoint *lower = upper - 1;
  return interpolate(lower->levels[led], upper->levels[led], gint64{requested} - lower->intensity,
                     gint64{upper->intensity} - lower->intensity);
}

/// The first row after the first one that is not below @p angle; the end of the table when there is none.
const IlluminationRow *row_not_below(const IlluminationRow *table, gint angle) {
  const IlluminationRow *row = table + 1;
  while (!is_end(*row) && row->angle < angle)
    ++row;
  return row;
}

gint64 sum_of(std::span<const gint> levels) {
  return std::accumulate(levels.begin(), levels.end(), gint64{0});
}

bool are_all_dark(std::span<const gint> levels) {
  return std::all_of(levels.begin(), levels.end(), [](gint level) { return level == 0; });
}

}  // namespace

gint interpolate(gint from, gint to, gint64 part, gint64 whole) {
  if (whole == 0)
    return from;
  // The product of two differences of ints needs all 64 bits and the sign besides.
  const gint64 span = gint64{to} - from;
  const guint64 distance = magnitude(span) * magnitude(part) / magnitude(whole);
  const bool is_down = (span < 0) != ((part < 0) != (whole < 0));
  const auto step = static_cast<gint64>(std::min<guint64>(distance, std::numeric_limits<guint32>::max()));
  return to_int(is_down ? from - step : from + step);
}

std::vector<gint> row_levels(const IlluminationRow &row, std::span<const gint> requested) {
  std::vector<gint> levels(requested.size());
  for (gsize led = 0; led < levels.size(); ++led)
    levels[led] = level_in_row(row, led, requested[led]);
  return levels;
}

std::vector<gint> levels_at_angle(const IlluminationRow *table, gint angle, std::span<const gint> requested) {
  if (!has_points(*table) || angle <= table->angle)
    return row_levels(*table, requested);

  const IlluminationRow *upper = row_not_below(table, angle);
  const IlluminationRow *lower = upper - 1;
  if (is_end(*upper))
    return row_levels(*lower, requested);

  std::vector<gint> levels = row_levels(*upper, requested);
  const std::vector<gint> below = row_levels(*lower, requested);
  for (gsize led = 0; led < levels.size(); ++led)
    levels[led] = interpolate(below[led], levels[led], gint64{angle} - lower->angle,
                              gint64{upper->angle} - lower->angle);
  return levels;
}

gdouble largest_sum_at_angle(const IlluminationRow *table, gint angle, std::span<const gint> requested) {
  const bool first_alone = is_end(*table) || table->angle >= angle;
  const IlluminationRow *row = first_alone ? table : row_not_below(table, angle);
  const gint64 sum = sum_of(row_levels(*row, requested));
  const gint64 other = first_alone ? 0 : sum_of(row_levels(row[-1], requested));
  return static_cast<gdouble>(std::max(sum, other));
}

void limit_to_power(std::span<gint> levels, gfloat watts_per_unit, gdouble granted) {
  gdouble factor = 1.0;
  for (;;) {
    for (gint &level : levels)
      level = to_int(level * factor);
    const auto sum = static_cast<gfloat>(sum_of(levels));
    if (sum * watts_per_unit <= granted || are_all_dark(levels))
      return;
    factor = std::max(factor - 0.01, 0.0);
  }
}
