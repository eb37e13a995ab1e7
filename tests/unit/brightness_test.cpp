#include "drivers/brightness.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
constexpr gint kNotConfigured = -1;

TEST(Brightness, IsTheLevelsPlaceOnTheDefaultScale) {
  EXPECT_EQ(brightness_of(900, 0, 1000, kNotConfigured), 229) << "229.5 without its fraction";
  EXPECT_EQ(brightness_of(300, 0, 1000, kNotConfigured), 76) << "76.5 without its fraction";
}

TEST(Brightness, ReachesFromNothingToTheFullScale) {
  EXPECT_EQ(brightness_of(0, 0, 1000, kNotConfigured), 0);
  EXPECT_EQ(brightness_of(1000, 0, 1000, kNotConfigured), 255);
  EXPECT_EQ(brightness_of(10, 10, 20, 100), 0);
  EXPECT_EQ(brightness_of(20, 10, 20, 100), 100);
}

TEST(Brightness, IsCountedFromTheLowLimit) {
  EXPECT_EQ(brightness_of(15, 10, 20, 100), 50);
  EXPECT_EQ(brightness_of(-15, -20, -10, 100), 50);
  EXPECT_EQ(brightness_of(0, -10, 10, 100), 50);
}

TEST(Brightness, OfAFullScaleOfMinusOneIsTheDefaultOnes) {
  for (const gint level : {0, 1, 3, 4, 500, 999, 1000})
    EXPECT_EQ(brightness_of(level, 0, 1000, -1), brightness_of(level, 0, 1000, 255)) << level;
  EXPECT_EQ(brightness_of(1000, 0, 1000, -2), -2) << "only -1 stands for the default";
}

TEST(Brightness, MayHaveAScaleOfItsOwn) {
  EXPECT_EQ(brightness_of(900, 0, 1000, 1), 0);
  EXPECT_EQ(brightness_of(1000, 0, 1000, 1), 1);
  EXPECT_EQ(brightness_of(900, 0, 1000, 4095), 3685);
  EXPECT_EQ(brightness_of(900, 0, 1000, 0), 0);
}

TEST(Brightness, IsNothingBetweenEqualLimits) {
  for (const gint limit : {0, 1, 500, -500, kMost, kLeast})
    for (const gint level : {0, 500, kMost, kLeast})
      EXPECT_EQ(brightness_of(level, limit, limit, kNotConfigured), 0) << level << ", " << limit;
}

TEST(Brightness, LosesItsFractionTowardsZero) {
  EXPECT_EQ(brightness_of(-1, 0, 1000, 255), 0) << "-0.255";
  EXPECT_EQ(brightness_of(-5, 0, 1000, 255), -1) << "-1.275";
  EXPECT_EQ(brightness_of(-8, 0, 1000, 255), -2) << "-2.04";
}

TEST(Brightness, MayHaveItsLimitsTheWrongWayRound) {
  EXPECT_EQ(brightness_of(1000, 1000, 0, 255), 0);
  EXPECT_EQ(brightness_of(0, 1000, 0, 255), 255);
  EXPECT_EQ(brightness_of(900, 1000, 0, 255), 25);
}

TEST(Brightness, IsNotLostInNumbersThatDoNotFit) {
  EXPECT_EQ(brightness_of(kMost, 0, kMost, kMost), kMost);
  EXPECT_EQ(brightness_of(kMost - 1, 0, kMost, kMost), kMost - 1);
  EXPECT_EQ(brightness_of(kMost, kLeast, kMost, kMost), kMost);
  EXPECT_EQ(brightness_of(-1, kLeast, kMost, 255), 127);
  EXPECT_EQ(brightness_of(20'000'000, 0, 40'000'000, 1000), 500);
}

TEST(Brightness, ThatDoesNotFitIsTheNearestThatDoes) {
  EXPECT_EQ(brightness_of(kMost, kLeast, kLeast + 1, kMost), kMost);
  EXPECT_EQ(brightness_of(kMost, kLeast, kLeast + 1, kLeast), kLeast);
  EXPECT_EQ(brightness_of(kLeast, kMost, kMost - 1, kMost), kMost);
}

/// The highest brightness that does not ask for more than the level gives, found by halving.
gint highest_affordable(gint64 level, gint64 low, gint64 high, gint64 full_scale) {
  gint64 affordable = 0;
  gint64 too_much = full_scale + 1;
  while (too_much - affordable > 1) {
    const gint64 tried = (affordable + too_much) / 2;
    (tried * (high - low) <= (level - low) * full_scale ? affordable : too_much) = tried;
  }
  return static_cast<gint>(affordable);
}

TEST(Brightness, IsTheHighestThatTheLevelAffords) {
  std::mt19937 random{20'231'121};
  std::uniform_int_distribution<gint> limits{-100'000, 100'000};
  std::uniform_int_distribution<gint> scales{0, 70'000};
  for (int i = 0; i < 20'000; ++i) {
    const auto [low, high] = std::minmax({limits(random), limits(random)});
    if (low == high)
      continue;
    const gint level = std::uniform_int_distribution<gint>{low, high}(random);
    const gint full_scale = scales(random);
    ASSERT_EQ(brightness_of(level, low, high, full_scale), highest_affordable(level, low, high, full_scale))
        << level << " between " << low << " and " << high << " of " << full_scale;
  }
}

}  // namespace
