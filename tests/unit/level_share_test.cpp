#include "drivers/level_share.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
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

TEST(AfterReduction, IsTakenInProportion) {
  EXPECT_EQ(after_reduction(1000, 4000.0, 800.0), 800);
  EXPECT_EQ(after_reduction(3000, 4000.0, 800.0), 2400);
  EXPECT_EQ(after_reduction(0, 4000.0, 800.0), 0);
  EXPECT_EQ(after_reduction(1000, 4000.0, 4000.0), 0);
  EXPECT_EQ(after_reduction(1000, 4000.0, -800.0), 1200);
}

TEST(AfterReduction, MayGoBelowZero) { EXPECT_EQ(after_reduction(1000, 4000.0, 6000.0), -500); }

TEST(AfterReduction, LosesItsFractionTowardZero) {
  EXPECT_EQ(after_reduction(1000, 1000.0, 0.1), 999);
  EXPECT_EQ(after_reduction(1000, 1000.0, 1000.9), 0);
}

// 4 / 20 is a little more than 0.2; 15 times that is rounded to 3 when it is rounded by itself.
TEST(AfterReduction, IsRoundedOnce) { EXPECT_EQ(after_reduction(4, 20.0, 15.0), 0); }

TEST(AfterReduction, ThatIsNoNumberIsNothing) {
  EXPECT_EQ(after_reduction(1000, 4000.0, kNotANumber), 0);
  EXPECT_EQ(after_reduction(0, 4000.0, kInfinity), 0);
}

TEST(AfterReduction, EndsWhereANumberDoes) {
  EXPECT_EQ(after_reduction(1000, 4000.0, kInfinity), kLeast);
  EXPECT_EQ(after_reduction(1000, 4000.0, -kInfinity), kMost);
  EXPECT_EQ(after_reduction(kMost, gdouble{kMost}, 0.5), kMost - 1);
  EXPECT_EQ(after_reduction(kLeast, 1.0, -1e300), kLeast);
}

/// The two parts of a double's bits: their products with another's parts are exact.
std::pair<gdouble, gdouble> halves(gdouble number) {
  const gdouble scaled = 134217729.0 * number;
  const gdouble upper = scaled - (scaled - number);
  return {upper, number - upper};
}

/// power - share * reduction with all the bits of the product.
gint reduced_by_the_book(gint power, gdouble sum, gdouble reduction) {
  const gdouble share = power / sum;
  const gdouble product = share * reduction;
  const auto [share_upper, share_lower] = halves(share);
  const auto [reduction_upper, reduction_lower] = halves(reduction);
  const gdouble lost = share_lower * reduction_lower -
                       (((product - share_upper * reduction_upper) - share_lower * reduction_upper) -
                        share_upper * reduction_lower);
  return static_cast<gint>((power - product) - lost);
}

TEST(AfterReduction, FollowsTheRuleForAnyNumbers) {
  std::mt19937 random{15};
  std::uniform_int_distribution<gint> small{0, 50};
  std::uniform_int_distribution<gint> large{0, 5000};
  int rounded_otherwise = 0;
  for (int i = 0; i < 50'000; ++i) {
    auto &numbers = i % 2 == 0 ? small : large;
    const gint power = numbers(random);
    const gdouble sum = power + numbers(random) + 1;
    const gdouble reduction = i % 3 == 0 ? numbers(random) / 8.0 : numbers(random);
    ASSERT_EQ(after_reduction(power, sum, reduction), reduced_by_the_book(power, sum, reduction))
        << power << " of " << sum << ", less " << reduction;
    rounded_otherwise +=
        static_cast<gint>(power - power / sum * reduction) != reduced_by_the_book(power, sum, reduction);
  }
  EXPECT_GT(rounded_otherwise, 10) << "the numbers are worth something";
}

}  // namespace
