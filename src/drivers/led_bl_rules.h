#pragma once

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <vector>

#include "daemon/numbers.h"

/// The part of @p budget milliwatts that each LED gets, between @p low and @p high; empty when there is
/// nothing to give or nobody who wants it. @p reduction is taken off the budget.
inline std::vector<gint> shared_levels(std::span<const gdouble> requested, gint budget, gdouble reduction,
                                       gint low, gint high) {
  const gint total = std::accumulate(requested.begin(), requested.end(), 0,
                                     [](gint sum, gdouble milliwatts) { return to_int(sum + milliwatts); });
  if (budget <= 0 || total <= 0)
    return {};

  std::vector<gint> levels;
  for (const gdouble milliwatts : requested) {
    const gint level = to_int(std::floor(milliwatts / total * (budget - reduction)));
    levels.push_back(level < low ? low : std::min(level, high));
  }
  return levels;
}
