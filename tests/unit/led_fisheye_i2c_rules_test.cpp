#include "drivers/led_fisheye_i2c_rules.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

gint level(gdouble requested, gdouble total, gdouble budget, gdouble reduction, gint highest) {
  return shared_level(budget, reduction, share_of(requested, total), highest);
}

TEST(Share, IsThePartOfTheTotal) {
  EXPECT_EQ(share_of(30, 40), 0.75);
  EXPECT_EQ(share_of(10, 40), 0.25);
  EXPECT_EQ(share_of(40, 40), 1.0);
}

TEST(Share, IsNothingOfNothing) {
  EXPECT_EQ(share_of(0, 0), 0.0);
  EXPECT_EQ(share_of(0, 40), 0.0);
  EXPECT_EQ(share_of(30, 0), 0.0) << "others ask for as much less than nothing";
  EXPECT_EQ(share_of(-30, 0), 0.0);
}

TEST(Share, MayBeNegative) {
  EXPECT_EQ(share_of(-10, 40), -0.25);
  EXPECT_EQ(share_of(30, -40), -0.75);
}

TEST(SharedLevel, IsTheShareOfTheBudgetUpToTheHighest) {
  EXPECT_EQ(level(30, 40, 2000.0, 0.0, 1000), 1000) << "1500 is too much";
  EXPECT_EQ(level(10, 40, 2000.0, 0.0, 1000), 500);
}

TEST(SharedLevel, ReachesTheHighest) {
  EXPECT_EQ(shared_level(2000.0, 0.0, 0.5, 999), 999);
  EXPECT_EQ(shared_level(2000.0, 0.0, 0.5, 1000), 1000);
  EXPECT_EQ(shared_level(2000.0, 0.0, 0.5, 1001), 1000);
}

TEST(SharedLevel, OfAnLedThatWantsNothingIsNothing) {
  EXPECT_EQ(level(0, 40, 1e12, 0.0, 1000), 0);
  EXPECT_EQ(level(0, 40, kInfinity, 0.0, 1000), 0);
  EXPECT_EQ(level(0, 0, 1e12, 0.0, 1000), 0);
}

TEST(SharedLevel, HasItsShareOfTheReductionTakenOff) {
  EXPECT_EQ(shared_level(2000.0, 800.0, 0.5, 5000), 600);
  EXPECT_EQ(shared_level(2000.0, -800.0, 0.5, 5000), 1400);
}

TEST(SharedLevel, LosesItsFraction) {
  EXPECT_EQ(shared_level(2000.0, 0.1, 0.5, 5000), 999);
  EXPECT_EQ(shared_level(1.9, 0.0, 1.0, 5000), 1);
  EXPECT_EQ(level(1, 49, 49.0, 0.0, 5000), 0) << "1 / 49 is rounded before it is multiplied by 49";
}

TEST(SharedLevel, IsNeverNegative) {
  for (const gdouble reduction : {2000.0, 2000.5, 2001.0, 1e300, kInfinity})
    EXPECT_EQ(shared_level(2000.0, reduction, 0.5, 1000), 0) << reduction;
  EXPECT_EQ(shared_level(2000.0, 0.0, -0.5, 1000), 0);
  EXPECT_EQ(shared_level(-2000.0, 0.0, 0.5, 1000), 0);
}

TEST(SharedLevel, IsAtMostTheHighestEvenWhenThatIsNegative) {
  EXPECT_EQ(shared_level(2000.0, 0.0, 0.5, 0), 0);
  EXPECT_EQ(shared_level(2000.0, 0.0, 0.5, -3), -3);
  EXPECT_EQ(shared_level(2000.0, 3000.0, 0.5, -3), 0) << "a level below 0 is not looked at again";
}

TEST(SharedLevel, ThatIsNoNumberIsNothing) {
  EXPECT_EQ(shared_level(2000.0, kNotANumber, 0.5, 1000), 0);
  EXPECT_EQ(shared_level(kNotANumber, 0.0, 0.5, 1000), 0);
  EXPECT_EQ(shared_level(kInfinity, kInfinity, 0.5, 1000), 0);
}

TEST(SharedLevel, MayBeAsLargeAsANumberGets) {
  EXPECT_EQ(shared_level(kInfinity, 0.0, 0.5, kMost), kMost);
  EXPECT_EQ(shared_level(1e300, 0.0, 0.5, kMost), kMost);
  EXPECT_EQ(shared_level(2147483647.0, 0.0, 1.0, kMost), kMost);
}

/// The rule counted out: the highest step that the LED's part of what is left reaches.
gint counted_level(gint requested, gint total, gdouble left, gint highest) {
  const gdouble part = total == 0 || requested == 0 ? 0.0 : gdouble{1.0} * requested / total;
  gint step = 0;
  while (step < highest && step + 1 <= left * part)
    ++step;
  return step;
}

TEST(SharedLevel, FollowsTheRule) {
  std::mt19937 random{4'500'040};
  std::uniform_int_distribution<gint> milliwatts{0, 3000};
  std::uniform_real_distribution<gdouble> budgets{1.0, 6000.0};
  std::uniform_real_distribution<gdouble> reductions{-100.0, 6000.0};
  std::uniform_int_distribution<gint> limits{0, 1500};
  for (int i = 0; i < 20'000; ++i) {
    const gint requested = i % 7 == 0 ? 0 : milliwatts(random);
    const gint total = requested + milliwatts(random);
    const gdouble budget = budgets(random);
    const gdouble reduction = reductions(random);
    const gint highest = limits(random);
    ASSERT_EQ(level(requested, total, budget, reduction, highest),
              counted_level(requested, total, budget - reduction, highest))
        << requested << " of " << total << " of " << budget << " - " << reduction << " up to " << highest;
  }
}

}  // namespace
