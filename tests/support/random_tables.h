#pragma once

#include <glib.h>

#include <algorithm>
#include <array>
#include <limits>
#include <ostream>
#include <random>
#include <vector>

#include "support/built_table.h"

/// Tidy tables are as they should be; odd ones have rows and points in any order, equal ones and none;
/// extreme ones are odd, too, with numbers up to the limits of an int.
enum class TableKind { kTidy, kOdd, kExtreme };

inline void PrintTo(TableKind kind, std::ostream *stream) {
  *stream << std::array{"Tidy", "Odd", "Extreme"}[static_cast<gsize>(kind)];
}

/// Illumination tables of one kind and what is asked of them, the same in each run.
class RandomTables {
 public:
  using Levels = std::vector<gint>;
  using Rows = std::vector<BuiltTable::Row>;

  explicit RandomTables(TableKind kind) : kind_{kind}, source_{20240229U + static_cast<unsigned>(kind)} {}

  gint between(gint least, gint most) { return std::uniform_int_distribution<gint>{least, most}(source_); }
  gsize count(gint least, gint most) { return static_cast<gsize>(between(least, most)); }

  gint level() { return is_tidy() ? between(0, 1000) : odd(50); }
  gint intensity() { return is_tidy() ? between(0, 100) : odd(12); }
  gint angle() { return is_tidy() ? between(-5, 105) : odd(12); }

  Levels levels(gsize leds) {
    return list(leds, [this] { return level(); });
  }
  Levels requested(gsize leds) {
    return list(leds, [this] { return intensity(); });
  }

  Rows rows(gsize leds) { return is_tidy() ? tidy_rows(leds) : odd_rows(leds); }

  /// Tidy rows whose levels do not fall with the intensity.
  Rows rising_rows(gsize leds) {
    Rows rows = tidy_rows(leds);
    for (auto &row : rows)
      for (gsize point = 1; point < row.points.size(); ++point)
        for (gsize led = 0; led < leds; ++led)
          row.points[point].levels[led] += row.points[point - 1].levels[led];
    return rows;
  }

 private:
  bool is_tidy() const { return kind_ == TableKind::kTidy; }

  template <typename Number>
  Levels list(gsize size, Number number) {
    Levels list(size);
    std::generate(list.begin(), list.end(), number);
    return list;
  }

  gint odd(gint most) {
    constexpr gint kMost = std::numeric_limits<gint>::max();
    constexpr gint kLeast = std::numeric_limits<gint>::min();
    constexpr std::array kEdges{kLeast, kLeast + 1, -1, 0, 1, kMost - 1, kMost};
    if (kind_ == TableKind::kOdd)
      return between(-most, most);
    return between(0, 1) == 0 ? kEdges[count(0, kEdges.size() - 1)] : between(kLeast, kMost);
  }

  /// 0, 100 and @p steps different numbers between them, in order.
  Levels scale(gsize steps) {
    Levels scale{0, 100};
    while (scale.size() < steps + 2) {
      const gint value = between(1, 99);
      if (std::find(scale.begin(), scale.end(), value) == scale.end())
        scale.push_back(value);
    }
    std::sort(scale.begin(), scale.end());
    return scale;
  }

  Rows tidy_rows(gsize leds) {
    Rows rows;
    for (const gint angle : scale(count(0, 4))) {
      auto &row = rows.emplace_back(BuiltTable::Row{angle, {}});
      for (const gint intensity : scale(count(0, 4)))
        row.points.push_back({intensity, levels(leds)});
    }
    return rows;
  }

  Rows odd_rows(gsize leds) {
    Rows rows(count(0, 6));
    for (auto &row : rows) {
      row.angle = angle();
      row.points.resize(count(0, 6));
      for (auto &point : row.points)
        point = {intensity(), levels(leds)};
    }
    return rows;
  }

  TableKind kind_;
  std::mt19937 source_;
};
