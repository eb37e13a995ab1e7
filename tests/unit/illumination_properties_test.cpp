// What holds for every table: random ones against the same rules written once more, in another way.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "led/illumination_levels.h"
#include "support/built_table.h"
#include "support/random_tables.h"

namespace {

using Levels = std::vector<gint>;
using Rows = std::vector<BuiltTable::Row>;
using Point = BuiltTable::Point;
using Row = BuiltTable::Row;
__extension__ using Wide = __int128;

constexpr int kCases = 3000;
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

/// The rules on lists, in numbers that hold every product, with every look-up from the back.
namespace naive {

gint between(Wide from, Wide to, Wide part, Wide whole) {
  return static_cast<gint>(from + (to - from) * part / whole);
}

std::optional<gint> row_level(const Row &row, gsize led, gint requested) {
  std::optional<gint> level;
  for (gsize k = row.points.size(); k-- > 1;) {
    const Point &lower = row.points[k - 1];
    const Point &upper = row.points[k];
    if (requested > upper.intensity)
      continue;
    level = lower.levels[led];
    if (upper.intensity != lower.intensity)
      level = between(lower.levels[led], upper.levels[led], Wide{requested} - lower.intensity,
                      Wide{upper.intensity} - lower.intensity);
  }
  if (!row.points.empty() && requested <= row.points[0].intensity)
    level = row.points[0].levels[led];
  return level;
}

Levels row_levels(const Row &row, const Levels &requested) {
  Levels levels;
  for (gsize led = 0; led < requested.size(); ++led)
    levels.push_back(row_level(row, led, requested[led]).value_or(0));
  return levels;
}

/// The first row but row 0 that is not below @p angle, or how many rows there are.
gsize upper_row(const Rows &rows, gint angle) {
  gsize upper = rows.size();
  for (gsize k = rows.size(); k-- > 1;)
    if (rows[k].angle >= angle)
      upper = k;
  return upper;
}

std::pair<gsize, gsize> rows_next_to(const Rows &rows, gint angle) {
  if (rows[0].points.empty() || angle <= rows[0].angle)
    return {0, 0};
  const gsize upper = upper_row(rows, angle);
  return {upper - 1, std::min(upper, rows.size() - 1)};
}

Levels levels_at_angle(const Rows &rows, gint angle, const Levels &requested) {
  if (rows.empty())
    return Levels(requested.size());
  const auto [lower, upper] = rows_next_to(rows, angle);
  const auto below = row_levels(rows[lower], requested);
  auto levels = row_levels(rows[upper], requested);
  const Wide whole = Wide{rows[upper].angle} - rows[lower].angle;
  for (gsize led = 0; led < levels.size() && whole != 0; ++led)
    levels[led] = between(below[led], levels[led], Wide{angle} - rows[lower].angle, whole);
  return levels;
}

gint64 sum(const Levels &levels) {
  gint64 sum = 0;
  for (const gint level : levels)
    sum += level;
  return sum;
}

gdouble largest_sum_at_angle(const Rows &rows, gint angle, const Levels &requested) {
  std::vector<gint64> sums;
  for (const auto &row : rows)
    sums.push_back(sum(row_levels(row, requested)));
  sums.push_back(0);  // the end of the table
  if (rows.empty() || rows[0].angle >= angle)
    return static_cast<gdouble>(std::max<gint64>(sums[0], 0));
  const gsize upper = upper_row(rows, angle);
  return static_cast<gdouble>(std::max(sums[upper], sums[upper - 1]));
}

bool fits(const Levels &levels, gfloat watts_per_unit, gdouble granted) {
  const gfloat needed = static_cast<gfloat>(sum(levels)) * watts_per_unit;
  return needed <= granted;
}

/// What each step leaves of the levels before it, down to nothing.
std::vector<gdouble> factors() {
  std::vector<gdouble> factors{1.0};
  while (factors.back() > 0.0)
    factors.push_back(factors.back() > 0.01 ? factors.back() - 0.01 : 0.0);
  return factors;
}

Levels limited(Levels levels, gfloat watts_per_unit, gdouble granted) {
  static const auto kFactors = factors();
  for (const gdouble factor : kFactors) {
    for (gint &level : levels)
      level = static_cast<gint>(std::trunc(level * factor));
    if (fits(levels, watts_per_unit, granted))
      break;
  }
  return levels;
}

}  // namespace naive

std::string text_of(const Levels &levels) {
  std::string text;
  for (const gint level : levels)
    text += std::to_string(level) + ';';
  return text;
}

/// The case as a file and a question, for the one that fails.
std::string text_of(const Rows &rows, gint angle, const Levels &requested) {
  std::ostringstream text;
  for (const auto &row : rows) {
    text << "[" << row.angle << "]\n";
    for (const auto &point : row.points)
      text << point.intensity << '=' << text_of(point.levels) << '\n';
  }
  text << "at angle " << angle << " for " << text_of(requested);
  return text.str();
}

bool is_between(gint value, gint one, gint other) {
  return value >= std::min(one, other) && value <= std::max(one, other);
}

/// Whether @p level is the first point's up to it, nothing above all points, and between the levels of two
/// neighbouring points otherwise.
bool is_in_row(gint level, const Row &row, gsize led, gint requested) {
  const auto &points = row.points;
  if (std::all_of(points.begin(), points.end(),
                  [&](const Point &point) { return point.intensity < requested; }))
    return level == 0;
  if (requested <= points[0].intensity)
    return level == points[0].levels[led];
  for (gsize k = 1; k < points.size(); ++k)
    if (is_between(requested, points[k - 1].intensity, points[k].intensity) &&
        is_between(level, points[k - 1].levels[led], points[k].levels[led]))
      return true;
  return false;
}

/// Calls @p check with many tables, each with an angle and requested intensities.
template <typename Check>
void for_many_tables(TableKind kind, Check check) {
  RandomTables chance{kind};
  for (int i = 0; i < kCases && !testing::Test::HasFailure(); ++i) {
    const gsize leds = chance.count(0, 4);
    const BuiltTable table{chance.rows(leds)};
    const gint angle = chance.angle();
    const Levels requested = chance.requested(leds);
    SCOPED_TRACE(text_of(table.rows(), angle, requested));
    check(table, angle, requested);
  }
}

class EveryTable : public testing::TestWithParam<TableKind> {};

TEST_P(EveryTable, GivesWhatTheRulesSay) {
  for_many_tables(GetParam(), [](const BuiltTable &table, gint angle, const Levels &requested) {
    const Rows &rows = table.rows();
    for (gsize i = 0; i < rows.size(); ++i)
      EXPECT_EQ(row_levels(table[i], requested), naive::row_levels(rows[i], requested)) << "row " << i;
    EXPECT_EQ(levels_at_angle(table.get(), angle, requested), naive::levels_at_angle(rows, angle, requested));
    EXPECT_EQ(largest_sum_at_angle(table.get(), angle, requested),
              naive::largest_sum_at_angle(rows, angle, requested));
  });
}

TEST_P(EveryTable, GivesRowLevelsBetweenThoseOfTwoNeighbouringPoints) {
  for_many_tables(GetParam(), [](const BuiltTable &table, gint, const Levels &requested) {
    for (gsize i = 0; i < table.rows().size(); ++i) {
      const auto levels = row_levels(table[i], requested);
      ASSERT_EQ(levels.size(), requested.size());
      for (gsize led = 0; led < levels.size(); ++led)
        EXPECT_TRUE(is_in_row(levels[led], table.rows()[i], led, requested[led]))
            << levels[led] << " for led " << led << " in row " << i;
    }
  });
}

TEST_P(EveryTable, GivesLevelsBetweenThoseOfTheTwoRowsNextToTheAngle) {
  for_many_tables(GetParam(), [](const BuiltTable &table, gint angle, const Levels &requested) {
    const auto levels = levels_at_angle(table.get(), angle, requested);
    ASSERT_EQ(levels.size(), requested.size());
    if (table.rows().empty())
      return;
    const auto [lower, upper] = naive::rows_next_to(table.rows(), angle);
    const auto below = row_levels(table[lower], requested);
    const auto above = row_levels(table[upper], requested);
    for (gsize led = 0; led < levels.size(); ++led)
      EXPECT_PRED3(is_between, levels[led], below[led], above[led]) << "led " << led;
  });
}

TEST_P(EveryTable, GivesNothingBeyondWhatItHolds) {
  for_many_tables(GetParam(), [](const BuiltTable &table, gint angle, const Levels &requested) {
    Levels most(requested.size());
    Levels least(requested.size());
    for (const auto &row : table.rows())
      for (const auto &point : row.points)
        for (gsize led = 0; led < requested.size(); ++led) {
          most[led] = std::max(most[led], point.levels[led]);
          least[led] = std::min(least[led], point.levels[led]);
        }
    const auto levels = levels_at_angle(table.get(), angle, requested);
    for (gsize led = 0; led < levels.size(); ++led)
      EXPECT_PRED3(is_between, levels[led], least[led], most[led]) << "led " << led;
  });
}

INSTANTIATE_TEST_SUITE_P(Kinds, EveryTable,
                         testing::Values(TableKind::kTidy, TableKind::kOdd, TableKind::kExtreme),
                         testing::PrintToStringParamName());

TEST(RisingTable, GivesNoLessForMore) {
  RandomTables chance{TableKind::kTidy};
  for (int i = 0; i < kCases && !HasFailure(); ++i) {
    const gsize leds = chance.count(1, 3);
    const BuiltTable table{chance.rising_rows(leds)};
    const gint angle = chance.angle();
    Levels before = levels_at_angle(table.get(), angle, Levels(leds, -1));
    for (gint intensity = 0; intensity <= 100; ++intensity) {
      const auto levels = levels_at_angle(table.get(), angle, Levels(leds, intensity));
      for (gsize led = 0; led < leds; ++led)
        EXPECT_GE(levels[led], before[led]) << text_of(table.rows(), angle, Levels(leds, intensity));
      before = levels;
    }
  }
}

/// Calls @p check with many lists of levels, each with the watts that a unit takes and with a grant about
/// what they need.
template <typename Check>
void for_many_grants(TableKind kind, Check check) {
  RandomTables chance{kind};
  for (int i = 0; i < kCases && !testing::Test::HasFailure(); ++i) {
    const Levels levels = chance.levels(chance.count(0, 6));
    const gfloat watts = static_cast<gfloat>(chance.between(1, 5000)) / 10000.0F;
    const auto needed = static_cast<gdouble>(naive::sum(levels)) * watts;
    const gdouble granted = needed * chance.between(-5, 120) / 100.0;
    SCOPED_TRACE(text_of(levels) + " at " + std::to_string(watts) + " W with " + std::to_string(granted));
    check(levels, watts, granted);
  }
}

Levels limited(Levels levels, gfloat watts_per_unit, gdouble granted) {
  limit_to_power(levels, watts_per_unit, granted);
  return levels;
}

class EveryLimit : public testing::TestWithParam<TableKind> {};

TEST_P(EveryLimit, GivesWhatTheRulesSay) {
  for_many_grants(GetParam(), [](const Levels &levels, gfloat watts, gdouble granted) {
    EXPECT_EQ(limited(levels, watts, granted), naive::limited(levels, watts, granted));
    EXPECT_EQ(limited(levels, -watts, granted), naive::limited(levels, -watts, granted));
  });
}

TEST_P(EveryLimit, IsKeptOrAllIsDark) {
  for_many_grants(GetParam(), [](const Levels &levels, gfloat watts, gdouble granted) {
    for (const gdouble grant : {granted, -granted, 0.0, -1.0, 1e300, kInfinity, -kInfinity, kNotANumber}) {
      const auto rest = limited(levels, watts, grant);
      EXPECT_TRUE(naive::fits(rest, watts, grant) || rest == Levels(levels.size()))
          << text_of(rest) << " with " << grant;
    }
  });
}

TEST_P(EveryLimit, DimsWithoutChangingTheOrderOfTheLeds) {
  for_many_grants(GetParam(), [](const Levels &levels, gfloat watts, gdouble granted) {
    const auto rest = limited(levels, watts, granted);
    for (gsize led = 0; led < levels.size(); ++led) {
      EXPECT_PRED3(is_between, rest[led], 0, levels[led]) << "led " << led;
      for (gsize other = 0; other < levels.size(); ++other)
        EXPECT_TRUE(levels[led] > levels[other] || rest[led] <= rest[other]) << led << " and " << other;
    }
  });
}

TEST_P(EveryLimit, ThatIsKeptChangesNothing) {
  for_many_grants(GetParam(), [](const Levels &levels, gfloat watts, gdouble granted) {
    const auto rest = limited(levels, watts, granted);
    EXPECT_EQ(limited(rest, watts, granted), rest);
    EXPECT_EQ(limited(levels, watts, kInfinity), levels);
  });
}

INSTANTIATE_TEST_SUITE_P(Kinds, EveryLimit,
                         testing::Values(TableKind::kTidy, TableKind::kOdd, TableKind::kExtreme),
                         testing::PrintToStringParamName());

TEST(TidyLimit, IsDarkWithoutAGrant) {
  for_many_grants(TableKind::kTidy, [](const Levels &levels, gfloat watts, gdouble granted) {
    for (const gdouble none : {0.0, -std::abs(granted) - 1.0, -kInfinity, kNotANumber})
      EXPECT_EQ(limited(levels, watts, none), Levels(levels.size())) << none;
  });
}

TEST(TidyLimit, GivesNoLessForMoreWatts) {
  for_many_grants(TableKind::kTidy, [](const Levels &levels, gfloat watts, gdouble granted) {
    const auto less = limited(levels, watts, granted);
    const auto more = limited(levels, watts, granted + 1.0);
    for (gsize led = 0; led < levels.size(); ++led)
      EXPECT_GE(more[led], less[led]) << "led " << led;
  });
}

}  // namespace
