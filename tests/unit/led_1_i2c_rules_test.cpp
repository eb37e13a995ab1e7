#include "drivers/led_1_i2c_rules.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();
constexpr gfloat kFactor = 0.02F;

TEST(GrantedIntensity, FactorComesDownByRepeatedSubtraction) {
  const auto granted = granted_intensity(100, kFactor, 1.5);
  EXPECT_EQ(granted.factor, 0.7499999999999998);
  EXPECT_EQ(granted.watts, 1.4999999999999996);
  EXPECT_EQ(granted.intensity, 74) << "75 would be a factor that is computed at once";
}

TEST(GrantedIntensity, IsTheWantedOneWithEnoughPower) {
  for (const gdouble granted : {2.0, 2.5, 1000.0, kInfinity}) {
    const auto full = granted_intensity(100, kFactor, granted);
    EXPECT_EQ(full.intensity, 100) << granted;
    EXPECT_EQ(full.factor, 1.0) << granted;
    EXPECT_EQ(full.watts, 2.0) << granted;
  }
}

TEST(GrantedIntensity, ComesDownAsSoonAsPowerFallsShort) {
  const auto granted = granted_intensity(100, kFactor, std::nextafter(2.0, 0.0));
  EXPECT_EQ(granted.factor, 0.99);
  EXPECT_EQ(granted.intensity, 99);
}

TEST(GrantedIntensity, NeedsWattsInSinglePrecision) {
  // 0.02 is not quite 0.02 in single precision: 100 times that is rounded up to 2, 80 times that down.
  EXPECT_EQ(granted_intensity(100, kFactor, 1.99999998).intensity, 99);
  EXPECT_EQ(granted_intensity(80, kFactor, 1.59999993).intensity, 80);
  // The whole of 2^24 + 1 does not fit either.
  EXPECT_EQ(granted_intensity(16777217, 1.0F, 16777216.0).factor, 1.0);
}

TEST(GrantedIntensity, IsTheLargestHundredthThatFits) {
  for (gint wanted = 0; wanted <= 1000; wanted += 7) {
    for (gdouble power = 0.25; power <= 20.0; power += 0.25) {
      const auto granted = granted_intensity(wanted, kFactor, power);
      EXPECT_LE(granted.watts, power) << wanted;
      EXPECT_EQ(granted.intensity, static_cast<gint>(wanted * granted.factor)) << wanted << ", " << power;
      EXPECT_TRUE(granted.factor == 1.0 ||
                  static_cast<gdouble>(static_cast<gfloat>(wanted) * kFactor) * (granted.factor + 0.01) >
                      power)
          << wanted << ", " << power;
    }
  }
}

TEST(GrantedIntensity, EndsAtNoneWithoutPower) {
  for (const gdouble granted : {0.0, -0.0, -1.0, -1e300, -kInfinity, kNotANumber}) {
    for (const gint wanted : {1, 74, 100, 1023, 65535, kMost}) {
      const auto none = granted_intensity(wanted, kFactor, granted);
      EXPECT_EQ(none.intensity, 0) << wanted << ", " << granted;
      EXPECT_LE(none.watts, 0.0) << wanted << ", " << granted;
      EXPECT_NEAR(none.factor, 0.0, 1e-12) << wanted << ", " << granted;
    }
  }
}

TEST(GrantedIntensity, OfNothingIsNothing) {
  for (const gdouble granted : {0.0, -1.0, 1.5, kInfinity, kNotANumber}) {
    EXPECT_EQ(granted_intensity(0, kFactor, granted).intensity, 0) << granted;
    EXPECT_EQ(granted_intensity(0, kFactor, granted).factor, 1.0) << granted;
  }
}

TEST(GrantedIntensity, MayBeHuge) {
  EXPECT_EQ(granted_intensity(kMost, kFactor, kInfinity).intensity, kMost);
  EXPECT_EQ(granted_intensity(kMost, kFactor, 1e9).intensity, kMost);
  // 42949672.96 W are wanted: half of them must make about half of the light.
  const auto half = granted_intensity(kMost, kFactor, 21474836.48);
  EXPECT_NEAR(half.intensity, kMost / 2.0, kMost / 50.0);
  EXPECT_LE(half.watts, 21474836.48);
}

TEST(GrantedIntensity, NegativeOneNeedsNothing) {
  for (const gint wanted : {-1, -100, kLeast})
    for (const gdouble granted : {0.0, 1.5, kInfinity, -kInfinity, -1e300, kNotANumber})
      EXPECT_EQ(granted_intensity(wanted, kFactor, granted).intensity, wanted) << granted;
}

struct OddFactor {
  const char *name;
  gfloat watts_per_unit;
};

void PrintTo(const OddFactor &factor, std::ostream *stream) { *stream << factor.name; }

class OddFactors : public testing::TestWithParam<OddFactor> {};

TEST_P(OddFactors, EndWithAnIntensityNoLargerThanTheWantedOne) {
  for (const gint wanted : {kLeast, -100, 0, 1, 100, kMost}) {
    for (const gdouble granted : {0.0, 1.5, -1.5, 1e300, kInfinity, -kInfinity, kNotANumber}) {
      const auto result = granted_intensity(wanted, GetParam().watts_per_unit, granted);
      EXPECT_LE(result.intensity, std::max(wanted, 0)) << wanted << ", " << granted;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    WattsPerUnit, OddFactors,
    testing::Values(OddFactor{"Zero", 0.0F}, OddFactor{"NegativeZero", -0.0F}, OddFactor{"Negative", -0.02F},
                    OddFactor{"Smallest", std::numeric_limits<gfloat>::denorm_min()},
                    OddFactor{"Largest", std::numeric_limits<gfloat>::max()},
                    OddFactor{"Infinite", std::numeric_limits<gfloat>::infinity()},
                    OddFactor{"NegativeInfinite", -std::numeric_limits<gfloat>::infinity()},
                    OddFactor{"NotANumber", std::numeric_limits<gfloat>::quiet_NaN()}),
    [](const auto &tested) { return tested.param.name; });

TEST(GrantedIntensity, ThatCostsNothingIsNotLimited) {
  EXPECT_EQ(granted_intensity(100, 0.0F, 0.0).intensity, 100);
  EXPECT_EQ(granted_intensity(100, -0.02F, 0.0).intensity, 100);
}

TEST(GrantedIntensity, OfInfiniteWattsIsNone) {
  const gfloat infinite = std::numeric_limits<gfloat>::infinity();
  EXPECT_EQ(granted_intensity(100, infinite, 1e300).intensity, 0);
  EXPECT_EQ(granted_intensity(100, infinite, kInfinity).intensity, 100);
}

TEST(ChannelValue, IsTheIntensityLessTheReduction) {
  EXPECT_EQ(channel_value(TRUE, 74, 0.0), 74);
  EXPECT_EQ(channel_value(TRUE, 74, 24.0), 50);
}

TEST(ChannelValue, LosesItsFraction) {
  EXPECT_EQ(channel_value(TRUE, 74, 0.1), 73);
  EXPECT_EQ(channel_value(TRUE, 74, 0.9), 73);
  EXPECT_EQ(channel_value(TRUE, 74, 73.5), 0);
}

TEST(ChannelValue, IsNeverNegative) {
  EXPECT_EQ(channel_value(TRUE, 74, 80.4), 0);
  EXPECT_EQ(channel_value(TRUE, 74, 74.0), 0);
  EXPECT_EQ(channel_value(TRUE, 1, 1e300), 0);
  EXPECT_EQ(channel_value(TRUE, kMost, kInfinity), 0);
}

TEST(ChannelValue, IsZeroWhenOff) {
  EXPECT_EQ(channel_value(FALSE, 74, 0.0), 0);
  EXPECT_EQ(channel_value(FALSE, kMost, -10.0), 0);
}

TEST(ChannelValue, IsOnForAnythingButZero) {
  EXPECT_EQ(channel_value(2, 74, 0.0), 74);
  EXPECT_EQ(channel_value(-1, 74, 0.0), 74);
}

TEST(ChannelValue, IsZeroWithoutIntensity) {
  for (const gint intensity : {0, -1, -74, kLeast})
    for (const gdouble reduction : {0.0, 10.0, -1000.0})
      EXPECT_EQ(channel_value(TRUE, intensity, reduction), 0) << intensity << ", " << reduction;
}

TEST(ChannelValue, IsZeroForAReductionThatIsNoNumber) { EXPECT_EQ(channel_value(TRUE, 74, kNotANumber), 0); }

TEST(ChannelValue, MayBeAsLargeAsANumberGets) { EXPECT_EQ(channel_value(TRUE, kMost, 0.0), kMost); }

}  // namespace
