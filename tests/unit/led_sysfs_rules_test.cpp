// From the table to milliwatts: rows, segments, single precision, and what a grant takes off.

#include "drivers/led_sysfs_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();

/// Intensities with the levels there.
using Points = std::vector<std::pair<gint, std::vector<gint>>>;

/// One row of a table.
class Row {
 public:
  explicit Row(Points points, gint angle = 0) : points_{std::move(points)}, row_{angle, nullptr} {
    for (auto &[intensity, levels] : points_)
      ended_.push_back({intensity, levels.data()});
    ended_.push_back({0, nullptr});
    row_.points = ended_.data();
  }

  const IlluminationRow &row() const { return row_; }
  const Points &points() const { return points_; }

 private:
  Points points_;
  std::vector<IlluminationPoint> ended_;
  IlluminationRow row_;
};

/// The angle of the row that is taken for @p angle in a table of these angles.
gint angle_taken(const std::vector<gint> &angles, gint angle) {
  IlluminationPoint none{0, nullptr};
  std::vector<IlluminationRow> table;
  for (const gint each : angles)
    table.push_back({each, &none});
  table.push_back({0, nullptr});
  return row_for_angle(table.data(), angle)->angle;
}

TEST(RowForAngle, IsTheLastOneThatIsNotAboveTheAngle) {
  EXPECT_EQ(angle_taken({30, 45, 60}, 47), 45);
  EXPECT_EQ(angle_taken({30, 45, 60}, 45), 45);
  EXPECT_EQ(angle_taken({30, 45, 60}, 44), 30);
  EXPECT_EQ(angle_taken({30, 45, 60}, 30), 30);
  EXPECT_EQ(angle_taken({30, 45, 60}, 60), 60);
  EXPECT_EQ(angle_taken({30, 45, 60}, kMost), 60);
}

TEST(RowForAngle, IsTheFirstOneBelowIt) {
  EXPECT_EQ(angle_taken({30, 45, 60}, 29), 30);
  EXPECT_EQ(angle_taken({30, 45, 60}, 0), 30);
  EXPECT_EQ(angle_taken({30, 45, 60}, kLeast), 30);
  EXPECT_EQ(angle_taken({60, 45, 50}, 10), 60) << "the first in the file, not the lowest";
}

TEST(RowForAngle, IsTheLastOneInFileOrder) {
  EXPECT_EQ(angle_taken({45, 30, 60}, 47), 30);
  EXPECT_EQ(angle_taken({60, 45, 30}, 100), 30);
  EXPECT_EQ(angle_taken({10, 60, 20}, 25), 20);
  EXPECT_EQ(angle_taken({-20, 0, -10}, -5), -10);
}

TEST(RowForAngle, IsTheLaterOfTwoWithTheSameAngle) {
  Row first{{}, 30};
  Row second{{}, 30};
  const IlluminationRow table[] = {first.row(), second.row(), {0, nullptr}};
  EXPECT_EQ(row_for_angle(table, 30), &table[1]);
  EXPECT_EQ(row_for_angle(table, 29), &table[0]);
}

TEST(RowForAngle, IsNotThereInATableWithoutRows) {
  constexpr IlluminationRow kEmpty = {0, nullptr};
  EXPECT_EQ(row_for_angle(&kEmpty, 0), nullptr);
  EXPECT_EQ(row_for_angle(nullptr, 0), nullptr);
}

using Segment = std::pair<gint, gint>;

/// The intensities of the two points that are taken for @p intensity in a row of these.
Segment segment_taken(const std::vector<gint> &intensities, gint intensity) {
  Points points;
  for (const gint each : intensities)
    points.push_back({each, {0}});
  const Row row{points};
  const TableSegment segment = segment_for_intensity(row.row(), intensity);
  return {segment.low->intensity, segment.high->intensity};
}

TEST(SegmentForIntensity, OfTwoPointsIsAlwaysTheSame) {
  for (const gint intensity : {kLeast, -1, 0, 50, 100, 101, kMost})
    EXPECT_EQ(segment_taken({0, 100}, intensity), Segment(0, 100)) << intensity;
}

TEST(SegmentForIntensity, OfThreePointsBeginsWithTheSecond) {
  for (const gint intensity : {kLeast, -1, 0, 20, 49, 50, 51, 100})
    EXPECT_EQ(segment_taken({0, 50, 100}, intensity), Segment(50, 100)) << intensity;
}

TEST(SegmentForIntensity, IsTheFirstOneAboveThemAll) {
  for (const gint intensity : {101, 120, kMost}) {
    EXPECT_EQ(segment_taken({0, 50, 100}, intensity), Segment(0, 50)) << intensity;
    EXPECT_EQ(segment_taken({0, 25, 50, 75, 100}, intensity), Segment(0, 25)) << intensity;
  }
}

TEST(SegmentForIntensity, OfMorePointsEndsWithTheFirstOneThatIsNotBelow) {
  const std::vector<gint> intensities = {0, 25, 50, 75, 100};
  EXPECT_EQ(segment_taken(intensities, -5), Segment(25, 50));
  EXPECT_EQ(segment_taken(intensities, 10), Segment(25, 50));
  EXPECT_EQ(segment_taken(intensities, 50), Segment(25, 50));
  EXPECT_EQ(segment_taken(intensities, 51), Segment(50, 75));
  EXPECT_EQ(segment_taken(intensities, 75), Segment(50, 75));
  EXPECT_EQ(segment_taken(intensities, 76), Segment(75, 100));
  EXPECT_EQ(segment_taken(intensities, 100), Segment(75, 100));
}

TEST(SegmentForIntensity, GoesByFileOrder) {
  EXPECT_EQ(segment_taken({100, 50, 0}, 0), Segment(50, 0));
  EXPECT_EQ(segment_taken({100, 50, 0}, 1), Segment(100, 50));
  EXPECT_EQ(segment_taken({0, 200, 10, 90, 80}, 85), Segment(10, 90));
  EXPECT_EQ(segment_taken({0, 50, 50, 50}, 50), Segment(50, 50));
}

/// What LED @p led gives at @p intensity in a row of these points.
gint power_at(const Points &points, gint intensity, gint led = 0) {
  const Row row{points};
  const TableSegment segment = segment_for_intensity(row.row(), intensity);
  return power_in_segment(segment, quota_in_segment(segment, intensity), led);
}

gfloat quota_at(const std::vector<gint> &intensities, gint intensity) {
  Points points;
  for (const gint each : intensities)
    points.push_back({each, {0}});
  const Row row{points};
  return quota_in_segment(segment_for_intensity(row.row(), intensity), intensity);
}

TEST(Quota, MayLieOutsideOfTheSegment) {
  EXPECT_EQ(quota_at({0, 50, 100}, 20), -0.6F);
  EXPECT_EQ(quota_at({0, 50, 100}, 120), 2.4F);
  EXPECT_EQ(quota_at({0, 100}, -50), -0.5F);
}

TEST(Quota, IsZeroAtTheLowPointAndOneAtTheHigh) {
  EXPECT_EQ(quota_at({0, 100}, 0), 0.0F);
  EXPECT_EQ(quota_at({0, 100}, 100), 1.0F);
  EXPECT_EQ(quota_at({0, 50, 100}, 50), 0.0F);
  EXPECT_EQ(quota_at({0, 50, 100}, 75), 0.5F);
}

TEST(Quota, IsOfSinglePrecision) {
  EXPECT_EQ(quota_at({0, 3}, 1), 1.0F / 3.0F);
  EXPECT_NE(gdouble{quota_at({0, 3}, 1)}, 1.0 / 3.0);
  // Both intensities are rounded to 2^24 before they are subtracted.
  EXPECT_EQ(quota_at({16777216, 16777226}, 16777217), 0.0F);
}

TEST(Quota, IsZeroBetweenEqualIntensities) {
  EXPECT_EQ(quota_at({50, 50}, 50), 0.0F);
  EXPECT_EQ(quota_at({50, 50}, 80), 0.0F);
  EXPECT_EQ(quota_at({0, 40, 40}, -80), 0.0F);
}

TEST(PowerInSegment, LiesOnTheLineThroughBothPoints) {
  const Points points = {{0, {0, 1000}}, {50, {500, 800}}, {100, {1500, 0}}};
  EXPECT_EQ(power_at(points, 50, 0), 500);
  EXPECT_EQ(power_at(points, 75, 0), 1000);
  EXPECT_EQ(power_at(points, 75, 1), 400);
  EXPECT_EQ(power_at(points, 100, 1), 0);
}

TEST(PowerInSegment, GoesBeyondTheSegment) {
  const Points points = {{0, {0, 1000}}, {50, {500, 800}}, {100, {1500, 0}}};
  EXPECT_EQ(power_at(points, 20, 0), -100);
  EXPECT_EQ(power_at(points, 20, 1), 1280);
  EXPECT_EQ(power_at(points, 120, 0), 1200);
  EXPECT_EQ(power_at(points, 120, 1), 520);
}

TEST(PowerInSegment, LosesItsFractionTowardZero) {
  const Points points = {{0, {0, 0}}, {100, {199, -199}}};
  EXPECT_EQ(power_at(points, 50, 0), 99);
  EXPECT_EQ(power_at(points, 50, 1), -99);
  EXPECT_EQ(power_at(points, -50, 0), -99);
}

// 0.6 is a little more than 0.6 in single precision; the product alone is rounded to 600.
TEST(PowerInSegment, IsRoundedOnce) {
  EXPECT_EQ(power_at({{0, {1000}}, {100, {0}}}, 60), 399) << "400 when the product is rounded by itself";
  EXPECT_EQ(power_at({{0, {500}}, {100, {5}}}, 60), 202);
}

TEST(PowerInSegment, IsOfSinglePrecision) {
  EXPECT_EQ(power_at({{0, {16777217}}, {100, {16777217}}}, 0), 16777216);
  EXPECT_EQ(power_at({{0, {0}}, {100, {16777217}}}, 100), 16777216);
}

TEST(PowerInSegment, BetweenEqualIntensitiesIsThatOfTheLowPoint) {
  EXPECT_EQ(power_at({{50, {300}}, {50, {700}}}, 50), 300);
  EXPECT_EQ(power_at({{0, {0}}, {50, {300}}, {50, {700}}}, 20), 300);
}

TEST(PowerInSegment, EndsWhereANumberDoes) {
  EXPECT_EQ(power_at({{kLeast, {kLeast}}, {kMost, {kMost}}}, kMost), kMost);
  EXPECT_EQ(power_at({{kLeast, {kLeast}}, {kMost, {kMost}}}, kLeast), kLeast);
  EXPECT_EQ(power_at({{kLeast, {kMost}}, {kMost, {kLeast}}}, kMost), kLeast);
  EXPECT_EQ(power_at({{0, {0}}, {1, {kMost}}}, kMost), kMost);
  EXPECT_EQ(power_at({{0, {0}}, {1, {kMost}}}, kLeast), kLeast);
  EXPECT_EQ(power_at({{0, {0}}, {1, {kLeast}}}, kMost), kLeast);
  EXPECT_EQ(power_at({{kMost, {5}}, {kLeast, {5}}}, 0), 5);
}

/// a * b + c in single precision, rounded once: the exact sum is rounded to odd in double precision first,
/// which keeps what the second rounding has to know.
gfloat rounded_once(gfloat a, gfloat b, gfloat c) {
  const gdouble product = gdouble{a} * gdouble{b};  // exact: twice 24 bits
  const gdouble sum = product + gdouble{c};
  const gdouble of_c = sum - product;
  const gdouble lost = (product - (sum - of_c)) + (gdouble{c} - of_c);
  std::uint64_t bits = 0;
  std::memcpy(&bits, &sum, sizeof bits);
  const bool is_odd = (bits & 1) != 0;
  return static_cast<gfloat>(lost == 0.0 || is_odd ? sum
                                                   : std::nextafter(sum, lost > 0 ? kInfinity : -kInfinity));
}

gint power_by_the_book(const Points &p, gint intensity) {
  std::size_t high = 1;
  for (std::size_t k = 2; k < p.size() && high == 1; ++k)
    if (p[k].first >= intensity)
      high = k;
  const auto &[low_intensity, low_levels] = p[high - 1];
  const auto &[high_intensity, high_levels] = p[high];
  if (low_intensity == high_intensity)
    return low_levels[0];
  const gfloat above_low = static_cast<gfloat>(intensity) - static_cast<gfloat>(low_intensity);
  const gfloat quota = above_low / static_cast<gfloat>(high_intensity - low_intensity);
  return static_cast<gint>(rounded_once(static_cast<gfloat>(high_levels[0] - low_levels[0]), quota,
                                        static_cast<gfloat>(low_levels[0])));
}

TEST(PowerInSegment, FollowsTheRulesInAnyRow) {
  std::mt19937 random{1'121};
  std::uniform_int_distribution<std::size_t> counts{2, 7};
  std::uniform_int_distribution<gint> intensities{-20, 130};
  std::uniform_int_distribution<gint> levels{-200, 5000};
  std::uniform_int_distribution<gint> large_levels{-1'000'000, 1'000'000};
  for (int i = 0; i < 50'000; ++i) {
    Points points(counts(random));
    for (auto &[intensity, level] : points) {
      intensity = intensities(random);
      level = {i % 3 == 0 ? large_levels(random) : levels(random)};
    }
    if (i % 4 != 0)
      std::sort(points.begin(), points.end());
    const gint intensity = intensities(random);
    ASSERT_EQ(power_at(points, intensity), power_by_the_book(points, intensity))
        << "table " << i << " at " << intensity;
  }
}

TEST(RowForAngle, FollowsTheRulesInAnyTable) {
  std::mt19937 random{41};
  std::uniform_int_distribution<std::size_t> counts{1, 8};
  std::uniform_int_distribution<gint> angles{-10, 100};
  for (int i = 0; i < 20'000; ++i) {
    std::vector<gint> rows(counts(random));
    std::generate(rows.begin(), rows.end(), [&] { return angles(random); });
    const gint angle = angles(random);
    const auto last = std::find_if(rows.rbegin(), rows.rend(), [&](gint row) { return row <= angle; });
    ASSERT_EQ(angle_taken(rows, angle), last != rows.rend() ? *last : rows.front()) << "table " << i;
  }
}

SysfsPowers powers(const std::vector<gint> &first) {
  SysfsPowers all{};
  std::copy(first.begin(), first.end(), all.begin());
  return all;
}

SysfsPowers powers_of_all(gint power) {
  SysfsPowers all{};
  all.fill(power);
  return all;
}

TEST(Sum, IsOfAll) {
  EXPECT_EQ(sum_of({}), 0);
  EXPECT_EQ(sum_of(powers({2000, -500, 7})), 1507);
  EXPECT_EQ(sum_of(powers_of_all(3)), 48);
  EXPECT_EQ(sum_of(powers_of_all(kMost)), gint64{kMost} * 16);
  EXPECT_EQ(sum_of(powers_of_all(kLeast)), gint64{kLeast} * 16);
}

TEST(WithinAllowance, IsSharedOutInProportion) {
  EXPECT_EQ(within_allowance(powers({2000, 2000}), 3000), powers({1500, 1500}));
  EXPECT_EQ(within_allowance(powers({3000, 1000}), 1000), powers({750, 250}));
  EXPECT_EQ(within_allowance(powers({3000, 0, 1000}), 1000), powers({750, 0, 250}));
}

TEST(WithinAllowance, IsAllOfItWhenThatIsEnough) {
  EXPECT_EQ(within_allowance(powers({2000, 2000}), 4000), powers({2000, 2000}));
  EXPECT_EQ(within_allowance(powers({2000, 2000}), kMost), powers({2000, 2000}));
  EXPECT_EQ(within_allowance(powers({1, 48}), 49), powers({1, 48})) << "1 / 49 * 49 is less than 1";
  EXPECT_EQ(within_allowance({}, 0), SysfsPowers{});
  EXPECT_EQ(within_allowance(powers({-5}), 0), powers({-5}));
}

TEST(WithinAllowance, IsNothingOfNothing) {
  EXPECT_EQ(within_allowance(powers({2000, 1}), 0), SysfsPowers{});
}

TEST(WithinAllowance, LosesItsFraction) {
  EXPECT_EQ(within_allowance(powers({2000, 1}), 2000), powers({1999, 0}));
  EXPECT_EQ(within_allowance(powers({1, 1, 1}), 2), powers({0, 0, 0}));
  EXPECT_EQ(within_allowance(powers({2, 96}), 49)[0], 0) << "2 / 98 is rounded before it is multiplied by 49";
}

TEST(WithinAllowance, MayBeOfHugePowers) {
  EXPECT_EQ(within_allowance(powers_of_all(kMost), kMost), powers_of_all(kMost / 16));
  EXPECT_EQ(within_allowance(powers({kMost, kMost, kLeast}), 1000)[2], -1000);
}

TEST(WithinAllowance, NeverExceedsItAndLosesLessThanOneOnTheWay) {
  std::mt19937 random{3'000};
  std::uniform_int_distribution<gint> each{0, 5000};
  for (int i = 0; i < 20'000; ++i) {
    SysfsPowers all{};
    std::generate(all.begin(), all.begin() + 1 + i % 16, [&] { return each(random); });
    const gint64 sum = sum_of(all);
    const gint allowed = each(random) * 2;
    const SysfsPowers scaled = within_allowance(all, allowed);
    if (sum <= allowed) {
      ASSERT_EQ(scaled, all);
      continue;
    }
    for (std::size_t led = 0; led < all.size(); ++led) {
      const gint64 exact = gint64{all[led]} * allowed;
      const bool is_whole = exact % sum == 0;
      ASSERT_LE(scaled[led], exact / sum) << all[led] << " of " << sum << ", " << allowed << " allowed";
      ASSERT_GE(scaled[led], exact / sum - (is_whole && exact > 0 ? 1 : 0))
          << all[led] << " of " << sum << ", " << allowed << " allowed";
    }
    ASSERT_LE(sum_of(scaled), allowed);
  }
}

}  // namespace
