#include "drivers/led_1_pwm_rules.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();

constexpr PwmTiming kTiming = {.period = 5000, .duty_high = 1000, .duty_low = 200};

constexpr PwmTiming timing(gint duty_high, gint duty_low) {
  return {.period = 5000, .duty_high = duty_high, .duty_low = duty_low};
}

TEST(DutyCycle, IsTheShortestAtFullBrightness) { EXPECT_EQ(duty_cycle(kTiming, 100), 200); }

TEST(DutyCycle, IsTheLongestInDarkness) { EXPECT_EQ(duty_cycle(kTiming, 0), 1200); }

TEST(DutyCycle, FallsWithTheBrightness) {
  EXPECT_EQ(duty_cycle(kTiming, 1), 1190);
  EXPECT_EQ(duty_cycle(kTiming, 50), 700);
  EXPECT_EQ(duty_cycle(kTiming, 99), 210);
}

TEST(DutyCycle, DoesNotDependOnThePeriod) {
  for (const gint period : {kLeast, -1, 0, 1, kMost})
    EXPECT_EQ(duty_cycle({period, 1000, 200}, 50), 700) << period;
}

// It is what comes off that loses its fraction.
TEST(DutyCycle, LosesAFractionOfWhatComesOff) {
  EXPECT_EQ(duty_cycle(timing(150, 0), 33), 101) << "49.5 come off";
  EXPECT_EQ(duty_cycle(timing(99, 7), 1), 106) << "0.99 come off";
  EXPECT_EQ(duty_cycle(timing(99, 7), 99), 8) << "98.01 come off";
}

TEST(DutyCycle, LosesTheFractionTowardsZero) {
  EXPECT_EQ(duty_cycle(timing(150, 0), -33), 199) << "49.5 are added";
  EXPECT_EQ(duty_cycle(timing(-150, 0), 33), -101);
  EXPECT_EQ(duty_cycle(timing(-150, 0), -33), -199);
}

TEST(DutyCycle, IsNotLimitedAboveFullBrightness) {
  EXPECT_EQ(duty_cycle(kTiming, 101), 190);
  EXPECT_EQ(duty_cycle(kTiming, 120), 0);
  EXPECT_EQ(duty_cycle(kTiming, 255), -1350);
}

TEST(DutyCycle, IsNotLimitedBelowDarkness) {
  EXPECT_EQ(duty_cycle(kTiming, -1), 1210);
  EXPECT_EQ(duty_cycle(kTiming, -100), 2200);
}

TEST(DutyCycle, MayHaveNegativeParts) {
  EXPECT_EQ(duty_cycle(timing(1000, -200), 100), -200);
  EXPECT_EQ(duty_cycle(timing(-1000, 200), 100), 200);
  EXPECT_EQ(duty_cycle(timing(-1000, 200), 0), -800);
}

TEST(DutyCycle, HasRoomForTheProduct) {
  EXPECT_EQ(duty_cycle(timing(50'000'000, 0), 50), 25'000'000) << "of 2.5e9";
  EXPECT_EQ(duty_cycle(timing(kMost, 0), 100), 0);
  EXPECT_EQ(duty_cycle(timing(kMost, 0), 50), kMost - kMost / 2);
}

TEST(DutyCycle, HasRoomForTheSum) { EXPECT_EQ(duty_cycle(timing(kMost, kMost), 100), kMost); }

TEST(DutyCycle, IsTheNearestNumberThereIs) {
  EXPECT_EQ(duty_cycle(timing(kMost, kMost), 0), kMost);
  EXPECT_EQ(duty_cycle(timing(kLeast, kLeast), 0), kLeast);
  EXPECT_EQ(duty_cycle(timing(kMost, 0), kMost), kLeast);
  EXPECT_EQ(duty_cycle(timing(kMost, 0), kLeast), kMost);
  EXPECT_EQ(duty_cycle(timing(kLeast, kLeast), kLeast), kLeast);
}

}  // namespace
