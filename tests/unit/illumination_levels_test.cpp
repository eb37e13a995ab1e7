#include "led/illumination_levels.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "support/built_table.h"

namespace {

using Levels = std::vector<gint>;

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
/// The largest difference between two ints.
constexpr gint64 kWidest = gint64{kMost} - kLeast;

TEST(Interpolation, EndsAtBothEnds) {
  EXPECT_EQ(interpolate(40, 90, 0, 7), 40);
  EXPECT_EQ(interpolate(40, 90, 7, 7), 90);
  EXPECT_EQ(interpolate(90, 40, 0, 7), 90);
  EXPECT_EQ(interpolate(90, 40, 7, 7), 40);
  EXPECT_EQ(interpolate(40, 40, 3, 7), 40);
}

TEST(Interpolation, UpwardLosesTheFractionOfItsStep) {
  EXPECT_EQ(interpolate(0, 10, 1, 3), 3);  // 3.33
  EXPECT_EQ(interpolate(0, 10, 2, 3), 6);  // 6.67
  EXPECT_EQ(interpolate(-10, 0, 1, 3), -7) << "-10 and 3: not -6.67 without its fraction";
  EXPECT_EQ(interpolate(-5, 5, 2, 3), 1);  // -5 and 6.67
}

TEST(Interpolation, DownwardLosesTheFractionOfItsStep) {
  EXPECT_EQ(interpolate(10, 0, 1, 3), 7) << "10 less 3: not 6.67 without its fraction";
  EXPECT_EQ(interpolate(10, 0, 2, 3), 4);
  EXPECT_EQ(interpolate(0, -10, 1, 3), -3);
  EXPECT_EQ(interpolate(5, -5, 2, 3), -1);
}

TEST(Interpolation, SmallStepsAreNone) {
  EXPECT_EQ(interpolate(5, 6, 99, 100), 5);
  EXPECT_EQ(interpolate(6, 5, 99, 100), 6);
  EXPECT_EQ(interpolate(-5, -6, 99, 100), -5);
}

TEST(Interpolation, OverNothingStaysWhereItIs) {
  EXPECT_EQ(interpolate(40, 90, 0, 0), 40);
  EXPECT_EQ(interpolate(40, 90, 5, 0), 40);
  EXPECT_EQ(interpolate(kLeast, kMost, -kWidest, 0), kLeast);
}

TEST(Interpolation, WithNegativePartsGoesTheOtherWay) {
  EXPECT_EQ(interpolate(0, 10, -1, 3), -3);
  EXPECT_EQ(interpolate(0, 10, 1, -3), -3);
  EXPECT_EQ(interpolate(0, 10, -1, -3), 3);
  EXPECT_EQ(interpolate(0, -10, -1, 3), 3);
  EXPECT_EQ(interpolate(0, -10, -1, -3), -3);
}

TEST(Interpolation, HoldsTheWidestProducts) {
  EXPECT_EQ(interpolate(kLeast, kMost, 1, 2), -1);  // (2^32 - 1) / 2 without its fraction above the least
  EXPECT_EQ(interpolate(kMost, kLeast, 1, 2), 0);
  EXPECT_EQ(interpolate(kLeast, kMost, kWidest - 1, kWidest), kMost - 1);
  EXPECT_EQ(interpolate(kLeast, kMost, kWidest, kWidest), kMost);
  EXPECT_EQ(interpolate(kMost, kLeast, kWidest - 1, kWidest), kLeast + 1);
  EXPECT_EQ(interpolate(kMost, kLeast, kWidest, kWidest), kLeast);
  EXPECT_EQ(interpolate(kMost, kLeast, -kWidest, -kWidest), kLeast);
}

TEST(Interpolation, StopsAtTheLimits) {
  EXPECT_EQ(interpolate(kMost - 1, kMost, 10, 1), kMost);
  EXPECT_EQ(interpolate(kLeast + 1, kLeast, 10, 1), kLeast);
  EXPECT_EQ(interpolate(kLeast, kMost, kWidest, 1), kMost);
  EXPECT_EQ(interpolate(kMost, kLeast, kWidest, 1), kLeast);
  EXPECT_EQ(interpolate(0, kMost, -kWidest, 1), kLeast);
}

/// What one row of angle 0 with these points gives.
Levels from_row(const std::vector<BuiltTable::Point> &points, const Levels &requested) {
  const BuiltTable table{{{0, points}}};
  return row_levels(table[0], requested);
}

TEST(RowLevels, AreThoseOfTheFirstPointUpToIt) {
  const std::vector<BuiltTable::Point> points{{10, {7, 8, 9}}, {100, {40, 80, 40}}};
  EXPECT_EQ(from_row(points, {10, 0, -5}), (Levels{7, 8, 9}));
  EXPECT_EQ(from_row(points, {9, kLeast, 10}), (Levels{7, 8, 9}));
}

TEST(RowLevels, AreThoseOfAPointAtIt) {
  const std::vector<BuiltTable::Point> points{{0, {0, 0}}, {50, {30, 70}}, {100, {40, 80}}};
  EXPECT_EQ(from_row(points, {50, 100}), (Levels{30, 80}));
  EXPECT_EQ(from_row(points, {100, 50}), (Levels{40, 70}));
}

TEST(RowLevels, AreEachLedsOwnBetweenItsTwoPoints) {
  const std::vector<BuiltTable::Point> points{{0, {0, 0, 100}}, {50, {30, 70, 50}}, {100, {40, 80, 0}}};
  EXPECT_EQ(from_row(points, {25, 75, 75}), (Levels{15, 75, 25}));
  EXPECT_EQ(from_row(points, {99, 1, 51}), (Levels{39, 1, 49}));  // 30 + 9.8, 1.4, 50 less 1
}

TEST(RowLevels, LoseTheFractionOfTheStepBothWays) {
  EXPECT_EQ(from_row({{0, {0, 10}}, {3, {10, 0}}}, {1, 1}), (Levels{3, 7}));
  EXPECT_EQ(from_row({{-3, {-10, 10}}, {0, {10, -10}}}, {-1, -1}), (Levels{3, -3}));  // -10 and 13.33
}

TEST(RowLevels, AreNothingAboveTheLastPoint) {
  const std::vector<BuiltTable::Point> points{{0, {5, 5}}, {100, {40, 80}}};
  EXPECT_EQ(from_row(points, {101, 100}), (Levels{0, 80}));
  EXPECT_EQ(from_row(points, {kMost, kMost}), (Levels{0, 0}));
}

TEST(RowLevels, OfALonePointAreItsOwnUpToItAndNothingAbove) {
  EXPECT_EQ(from_row({{50, {30, 70}}}, {50, 51}), (Levels{30, 0}));
}

TEST(RowLevels, AreNothingWithoutPoints) {
  EXPECT_EQ(from_row({}, {0, -1, 50}), (Levels{0, 0, 0}));
  const BuiltTable table{{}};
  EXPECT_EQ(row_levels(table[0], Levels{0, -1, 50}), (Levels{0, 0, 0})) << "the row that ends the table";
}

TEST(RowLevels, OfNoLedsAreNone) {
  EXPECT_EQ(from_row({{0, {}}, {100, {}}}, {}), Levels{});
  EXPECT_EQ(from_row({}, {}), Levels{});
}

TEST(RowLevels, AreAsManyAsThereAreLeds) {
  EXPECT_EQ(from_row({{0, {1, 2, 3}}, {100, {11, 12, 13}}}, {50}), Levels{6});
}

TEST(RowLevels, BetweenEqualIntensitiesJump) {
  const std::vector<BuiltTable::Point> points{{0, {10}}, {50, {20}}, {50, {40}}, {100, {60}}};
  EXPECT_EQ(from_row(points, {50}), Levels{20});
  EXPECT_EQ(from_row(points, {75}), Levels{50});
  EXPECT_EQ(from_row({{50, {10}}, {50, {20}}}, {50}), Levels{10});
  EXPECT_EQ(from_row({{50, {10}}, {50, {20}}}, {51}), Levels{0});
}

TEST(RowLevels, OfPointsOutOfOrderAreLookedUpInTheirOrder) {
  const std::vector<BuiltTable::Point> points{{100, {10}}, {50, {20}}, {200, {30}}, {150, {99}}};
  EXPECT_EQ(from_row(points, {60}), Levels{10}) << "below the first";
  EXPECT_EQ(from_row(points, {150}), Levels{26}) << "two thirds from the second to the third";
  EXPECT_EQ(from_row(points, {200}), Levels{30});
  EXPECT_EQ(from_row(points, {201}), Levels{0});
}

TEST(RowLevels, MayBeAsLargeAsNumbersGet) {
  const std::vector<BuiltTable::Point> points{{kLeast, {0, kLeast}}, {kMost, {1000, kMost}}};
  EXPECT_EQ(from_row(points, {0, 0}), (Levels{500, 0}));
  EXPECT_EQ(from_row(points, {-1, -1}), (Levels{499, -1}));
  EXPECT_EQ(from_row(points, {kMost, kMost}), (Levels{1000, kMost}));
  EXPECT_EQ(from_row(points, {kLeast, kLeast}), (Levels{0, kLeast}));
  EXPECT_EQ(from_row(points, {kMost - 1, kMost - 1}), (Levels{999, kMost - 1}));
}

/// A row that gives nothing at intensity 0 and these levels at intensity 100.
BuiltTable::Row row(gint angle, const Levels &levels) {
  return {angle, {{0, Levels(levels.size())}, {100, levels}}};
}

/// The levels at full intensity.
Levels at_angle(const BuiltTable &table, gint angle, gsize leds) {
  return levels_at_angle(table.get(), angle, Levels(leds, 100));
}

TEST(LevelsAtAngle, HalfwayBetweenTheRowsAreTheTruncatedMidpointOfEachLed) {
  const BuiltTable table{{row(0, {41, 80, 7}), row(100, {90, 21, 8})}};
  EXPECT_EQ(at_angle(table, 50, 3), (Levels{65, 51, 7}));  // 41 + 24.5, 80 less 29.5, 7 + 0.5
}

TEST(LevelsAtAngle, UpToTheFirstAngleAreThoseOfTheFirstRowAlone) {
  const BuiltTable table{{row(20, {40, 80}), row(20, {1, 1}), row(100, {90, 20})}};
  for (const gint angle : {20, 19, 0, -1, kLeast})
    EXPECT_EQ(at_angle(table, angle, 2), (Levels{40, 80})) << angle;
}

TEST(LevelsAtAngle, AtARowsAngleAreThatRows) {
  const BuiltTable table{{row(0, {40}), row(30, {70}), row(100, {90})}};
  EXPECT_EQ(at_angle(table, 30, 1), Levels{70});
  EXPECT_EQ(at_angle(table, 100, 1), Levels{90});
}

TEST(LevelsAtAngle, ComeFromTheTwoRowsNextToIt) {
  const BuiltTable table{{row(0, {40, 90}), row(30, {70, 60}), row(100, {0, 95})}};
  EXPECT_EQ(at_angle(table, 1, 2), (Levels{41, 89}));
  EXPECT_EQ(at_angle(table, 29, 2), (Levels{69, 61}));
  EXPECT_EQ(at_angle(table, 31, 2), (Levels{69, 60}));
  EXPECT_EQ(at_angle(table, 99, 2), (Levels{1, 94}));  // 70 less 69, 60 + 34.5
}

TEST(LevelsAtAngle, AreMadeOfTruncatedRowLevels) {
  const BuiltTable table{{{0, {{0, {0}}, {3, {10}}}}, {100, {{0, {0}}, {3, {20}}}}}};
  EXPECT_EQ(levels_at_angle(table.get(), 50, Levels{1}), Levels{4})
      << "between 3 and 6: not 5 of 3.3 and 6.7";
}

TEST(LevelsAtAngle, FollowEachLedsOwnIntensity) {
  const BuiltTable table{{row(0, {40, 80, 40}), row(100, {90, 20, 90})}};
  EXPECT_EQ(levels_at_angle(table.get(), 50, Levels{100, 50, 0}), (Levels{65, 25, 0}));
  EXPECT_EQ(levels_at_angle(table.get(), 0, Levels{100, 50, 0}), (Levels{40, 40, 0}));
}

TEST(LevelsAtAngle, AboveTheLastRowAreThatRows) {
  const BuiltTable table{{row(0, {40}), row(30, {70}), row(80, {90})}};
  for (const gint angle : {81, 100, kMost})
    EXPECT_EQ(at_angle(table, angle, 1), Levels{90}) << angle;
}

TEST(LevelsAtAngle, OfALoneRowAreItsOwn) {
  const BuiltTable table{{row(50, {70})}};
  for (const gint angle : {kLeast, 0, 50, 51, kMost})
    EXPECT_EQ(at_angle(table, angle, 1), Levels{70}) << angle;
}

TEST(LevelsAtAngle, WithoutRowsAreNothing) {
  const BuiltTable table{{}};
  for (const gint angle : {kLeast, 0, 50, kMost})
    EXPECT_EQ(at_angle(table, angle, 2), (Levels{0, 0})) << angle;
}

TEST(LevelsAtAngle, OfAnEmptyFirstRowAreNothingAtEveryAngle) {
  const BuiltTable table{{{0, {}}, row(100, {70})}};
  for (const gint angle : {-1, 0, 50, 100, 101})
    EXPECT_EQ(at_angle(table, angle, 1), Levels{0}) << angle;
}

TEST(LevelsAtAngle, GoDownToAnEmptyRowAndUpAgain) {
  const BuiltTable table{{row(0, {80}), {50, {}}, row(100, {40})}};
  EXPECT_EQ(at_angle(table, 25, 1), Levels{40});
  EXPECT_EQ(at_angle(table, 50, 1), Levels{0});
  EXPECT_EQ(at_angle(table, 75, 1), Levels{20});
}

TEST(LevelsAtAngle, OfAnEmptyLastRowAreNothingAboveIt) {
  const BuiltTable table{{row(0, {80}), {50, {}}}};
  EXPECT_EQ(at_angle(table, 60, 1), Levels{0});
}

TEST(LevelsAtAngle, TakeARowThatIsTooShortForTheIntensityAsDark) {
  const BuiltTable table{{row(0, {80}), {100, {{0, {0}}, {90, {40}}}}}};
  EXPECT_EQ(at_angle(table, 25, 1), Levels{60}) << "a quarter of the way to 0";
}

TEST(LevelsAtAngle, BetweenEqualAnglesJump) {
  const BuiltTable table{{row(0, {10}), row(50, {20}), row(50, {40}), row(100, {60})}};
  EXPECT_EQ(at_angle(table, 50, 1), Levels{20});
  EXPECT_EQ(at_angle(table, 75, 1), Levels{50});
}

TEST(LevelsAtAngle, OfTwoFirstRowsOfOneAngleAreTheFirstsAtItAndTheSecondsAbove) {
  const BuiltTable alone{{row(0, {10}), row(0, {30})}};
  EXPECT_EQ(at_angle(alone, 0, 1), Levels{10});
  EXPECT_EQ(at_angle(alone, 1, 1), Levels{30});
  const BuiltTable followed{{row(0, {10}), row(0, {30}), row(100, {50})}};
  EXPECT_EQ(at_angle(followed, 50, 1), Levels{40});
}

TEST(LevelsAtAngle, OfRowsOutOfOrderAreLookedUpInTheirOrder) {
  const BuiltTable table{{row(0, {10}), row(80, {20}), row(40, {30}), row(100, {42})}};
  EXPECT_EQ(at_angle(table, 50, 1), Levels{16});  // 10 + 6.25
  EXPECT_EQ(at_angle(table, 90, 1), Levels{40});  // 30 + 12 * 50 / 60
  const BuiltTable backward{{row(100, {10}), row(0, {30})}};
  EXPECT_EQ(at_angle(backward, 50, 1), Levels{10});
  EXPECT_EQ(at_angle(backward, 101, 1), Levels{30}) << "the last row stands above all";
}

TEST(LevelsAtAngle, MayBeAsLargeAsNumbersGet) {
  const BuiltTable table{{{kLeast, {{100, {kLeast, kMost}}}}, {kMost, {{100, {kMost, kLeast}}}}}};
  EXPECT_EQ(at_angle(table, kLeast, 2), (Levels{kLeast, kMost}));
  EXPECT_EQ(at_angle(table, -1, 2), (Levels{-1, 0}));
  EXPECT_EQ(at_angle(table, 0, 2), (Levels{0, -1}));
  EXPECT_EQ(at_angle(table, kMost - 1, 2), (Levels{kMost - 1, kLeast + 1}));
  EXPECT_EQ(at_angle(table, kMost, 2), (Levels{kMost, kLeast}));
}

TEST(LevelsAtAngle, OfNoLedsAreNone) {
  const BuiltTable table{{row(0, {}), row(100, {})}};
  for (const gint angle : {0, 50, 101})
    EXPECT_EQ(at_angle(table, angle, 0), Levels{}) << angle;
}

/// The largest sum at full intensity.
gdouble sum_at_angle(const BuiltTable &table, gint angle, gsize leds) {
  return largest_sum_at_angle(table.get(), angle, Levels(leds, 100));
}

TEST(LargestSum, UpToTheFirstAngleIsThatOfTheFirstRowAlone) {
  const BuiltTable table{{row(20, {40, 80}), row(100, {900, 900})}};
  for (const gint angle : {20, 19, 0, kLeast})
    EXPECT_EQ(sum_at_angle(table, angle, 2), 120.0) << angle;
}

TEST(LargestSum, IsThatOfTheBrighterOfTheTwoRowsNextToTheAngle) {
  const BuiltTable table{{row(0, {40, 80}), row(50, {90, 20}), row(100, {60, 60})}};
  EXPECT_EQ(sum_at_angle(table, 1, 2), 120.0);
  EXPECT_EQ(sum_at_angle(table, 49, 2), 120.0);
  EXPECT_EQ(sum_at_angle(table, 51, 2), 120.0);
  const BuiltTable rising{{row(0, {10}), row(50, {20}), row(100, {30})}};
  EXPECT_EQ(sum_at_angle(rising, 49, 1), 20.0);
  EXPECT_EQ(sum_at_angle(rising, 51, 1), 30.0);
}

TEST(LargestSum, AtARowsAngleCountsTheRowBeforeToo) {
  const BuiltTable table{{row(0, {90}), row(50, {20}), row(100, {10})}};
  EXPECT_EQ(sum_at_angle(table, 50, 1), 90.0);
  EXPECT_EQ(sum_at_angle(table, 100, 1), 20.0) << "the last row";
}

TEST(LargestSum, AboveTheLastRowIsThatOfTheLast) {
  const BuiltTable table{{row(0, {90}), row(50, {20})}};
  EXPECT_EQ(sum_at_angle(table, 51, 1), 20.0);
  EXPECT_EQ(sum_at_angle(table, kMost, 1), 20.0);
  const BuiltTable lone{{row(0, {90})}};
  EXPECT_EQ(sum_at_angle(lone, 1, 1), 90.0);
}

TEST(LargestSum, OfTheFirstRowAloneIsNeverNegative) {
  const BuiltTable table{{row(0, {-90, 20}), row(100, {10, 10})}};
  EXPECT_EQ(sum_at_angle(table, 0, 2), 0.0);
}

TEST(LargestSum, OfTwoRowsMayBeNegative) {
  const BuiltTable table{{row(0, {-90}), row(50, {-20}), row(100, {-30})}};
  EXPECT_EQ(sum_at_angle(table, 25, 1), -20.0);
  EXPECT_EQ(sum_at_angle(table, 75, 1), -20.0);
  EXPECT_EQ(sum_at_angle(table, 101, 1), 0.0) << "the end of the table gives nothing, and that is more";
}

TEST(LargestSum, FollowsEachLedsOwnIntensity) {
  const BuiltTable table{{row(0, {40, 80, 40}), row(100, {90, 20, 90})}};
  EXPECT_EQ(largest_sum_at_angle(table.get(), 50, Levels{100, 50, 0}), 100.0);
  EXPECT_EQ(largest_sum_at_angle(table.get(), 50, Levels{0, 50, 50}), 60.0);
}

TEST(LargestSum, LeavesOutLedsThatGetNothing) {
  const BuiltTable table{{{0, {{0, {5, 5}}, {90, {40, 80}}}}}};
  EXPECT_EQ(largest_sum_at_angle(table.get(), 0, Levels{91, 90}), 80.0);
  EXPECT_EQ(largest_sum_at_angle(table.get(), 0, Levels{91, 91}), 0.0);
}

TEST(LargestSum, GoesAroundAnEmptyRow) {
  const BuiltTable table{{{0, {}}, row(50, {20}), {100, {}}}};
  EXPECT_EQ(sum_at_angle(table, 0, 1), 0.0);
  EXPECT_EQ(sum_at_angle(table, 25, 1), 20.0);
  EXPECT_EQ(sum_at_angle(table, 75, 1), 20.0);
  EXPECT_EQ(sum_at_angle(table, 101, 1), 0.0);
}

TEST(LargestSum, OfATableWithoutRowsIsNothing) {
  const BuiltTable table{{}};
  for (const gint angle : {kLeast, 0, 50, kMost})
    EXPECT_EQ(sum_at_angle(table, angle, 2), 0.0) << angle;
}

TEST(LargestSum, OfNoLedsIsNothing) {
  const BuiltTable table{{row(0, {}), row(100, {})}};
  for (const gint angle : {0, 50, 101})
    EXPECT_EQ(sum_at_angle(table, angle, 0), 0.0) << angle;
}

TEST(LargestSum, MayBeMoreThanAnInt) {
  const BuiltTable table{{row(0, Levels(1024, kMost)), row(100, Levels(1024, kLeast))}};
  EXPECT_EQ(sum_at_angle(table, 50, 1024), 1024.0 * 2147483647.0);
}

}  // namespace
