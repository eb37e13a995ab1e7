#include "drivers/led_sysfs_rules.h"

#include <cmath>
#include <numeric>

#include "daemon/numbers.h"

const IlluminationRow *row_for_angle(const IlluminationRow *table, gint angle) {
  const IlluminationRow *chosen = nullptr;
  for (const IlluminationRow *row = table; row != nullptr && row->points != nullptr; ++row)
    if (chosen == nullptr || row->angle <= angle)
      chosen = row;
  return chosen;
}

TableSegment segment_for_intensity(const IlluminationRow &row, gint intensity) {
  const IlluminationPoint *first = row.points;
  for (const IlluminationPoint *high = first + 2; (high - 1)->levels != nullptr && high->levels != nullptr;
       ++high)
    if (high->intensity >= intensity)
      return {high - 1, high};
  return {first, first + 1};
}

gfloat quota_in_segment(const TableSegment &segment, gint intensity) {
  const gint64 length = gint64{segment.high->intensity} - segment.low->intensity;
  if (length == 0)
    return 0.0F;
  return (static_cast<gfloat>(intensity) - static_cast<gfloat>(segment.low->intensity)) /
         static_cast<gfloat>(length);
}

gint power_in_segment(const TableSegment &segment, gfloat quota, gint led) {
  const gint low = segment.low->levels[led];
  const gint64 rise = gint64{segment.high->levels[led]} - low;
  return to_int(gdouble{std::fma(static_cast<gfloat>(rise), quota, static_cast<gfloat>(low))});
}

gint64 sum_of(const SysfsPowers &powers) { return std::accumulate(powers.begin(), powers.end(), gint64{0}); }

SysfsPowers within_allowance(const SysfsPowers &powers, gint allowed) {
  const gint64 sum = sum_of(powers);
  if (sum <= allowed)
    return powers;
  SysfsPowers scaled;
  for (gsize led = 0; led < powers.size(); ++led)
    scaled[led] = to_int(gdouble(powers[led]) / gdouble(sum) * gdouble(allowed));
  return scaled;
}
