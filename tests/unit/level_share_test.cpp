#include "drivers/level_share.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

TEST(ReducedLevel, CarriesItsShareOfTheReduction) {
  EXPECT_EQ(reduced_level(30, 0.75, 8.0), 24);
  EXPECT_EQ(reduced_level(10, 0.25, 8.0), 8);
}

TEST(ReducedLevel, IsTheLevelWithoutReductionOrShare) {
  for (const gint level : {0, 1, 74, kMost}) {
    EXPECT_EQ(reduced_level(level, 0.5, 0.0), level);
    EXPECT_EQ(reduced_level(level, 0.0, 1000.0), level);
  }
}

TEST(ReducedLevel, LosesItsFractionAfterTheSubtraction) {
  EXPECT_EQ(reduced_level(30, 0.75, 1.0), 29);
  EXPECT_EQ(reduced_level(30, 0.75, 0.1), 29);
  // 8.5 whole would be 8, and the channels would keep 24 and 8.
  EXPECT_EQ(reduced_level(30, 0.75, 8.5), 23);
  EXPECT_EQ(reduced_level(10, 0.25, 8.5), 7);
}

TEST(ReducedLevel, IsNeverBelowZero) {
  EXPECT_EQ(reduced_level(30, 0.75, 40.0), 0);
  EXPECT_EQ(reduced_level(30, 0.75, 41.5), 0);
  EXPECT_EQ(reduced_level(30, 0.75, 1e300), 0);
  EXPECT_EQ(reduced_level(30, 0.75, kInfinity), 0);
  EXPECT_EQ(reduced_level(-5, 0.5, 0.0), 0);
}

TEST(ReducedLevel, IsZeroWhenNothingIsLeftToTell) {
  EXPECT_EQ(reduced_level(30, 0.75, kNotANumber), 0);
  EXPECT_EQ(reduced_level(30, kNotANumber, 8.0), 0);
  EXPECT_EQ(reduced_level(30, 0.0, kInfinity), 0);
}

TEST(ReducedLevel, EndsWhereIntsEnd) {
  EXPECT_EQ(reduced_level(kMost, 0.5, -1e300), kMost);
  EXPECT_EQ(reduced_level(kMost, 1.0, -1.0), kMost);
  EXPECT_EQ(reduced_level(kMost, 1.0, 1.0), kMost - 1);
}

}  // namespace
