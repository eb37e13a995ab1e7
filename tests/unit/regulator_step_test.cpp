#include "drivers/regulator_step.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kFailedReading = -9999.0;

// Unless a test is about rounding, its numbers are such that nothing is rounded.
constexpr double kReference = 100.0;
constexpr double kSampleTime = 8.0;

constexpr RegulatorGains kProportional = {0.1, 0.0, 0.0, 60.0};

/// A step at a temperature that is @p error below the one to keep.
RegulatorStep step_at_error(double error, const RegulatorState &state, double k_p, double k_i, double k_d,
                            double sample_time = kSampleTime) {
  return regulator_step(state, {k_p, k_i, k_d, 60.0}, sample_time, 60.0 - error, kReference);
}

double reduction_of(double output_fraction, double reference) {
  return regulator_step({}, {output_fraction, 0.0, 0.0, 60.0}, kSampleTime, 59.0, reference).reduction;
}

bool is_negative_zero(double value) { return value == 0.0 && std::signbit(value); }

TEST(RegulatorStep, DimsAHotBoardFully) {
  const auto step = regulator_step({}, kProportional, 180.0, 70.0, kReference);
  EXPECT_EQ(step.error, -10.0);
  EXPECT_EQ(step.proportional, -1.0);
  EXPECT_EQ(step.output, -100.0);
  EXPECT_EQ(step.reduction, 100.0);
}

TEST(RegulatorStep, DimsAWarmBoardByHalf) {
  const auto step = regulator_step({}, kProportional, 180.0, 55.0, kReference);
  EXPECT_EQ(step.proportional, 0.5);
  EXPECT_EQ(step.output, 50.0);
  EXPECT_EQ(step.reduction, 50.0);
}

TEST(RegulatorStep, LeavesACoolBoardAlone) {
  const auto step = regulator_step({}, kProportional, 180.0, 50.0, kReference);
  EXPECT_EQ(step.proportional, 1.0);
  EXPECT_EQ(step.output, 100.0);
  EXPECT_EQ(step.reduction, 0.0);
}

TEST(RegulatorStep, GivesNothingAtTheTemperatureToKeep) {
  EXPECT_EQ(regulator_step({}, kProportional, 180.0, 60.0, kReference).reduction, 100.0);
}

TEST(RegulatorStep, LeavesABoardAloneThatCannotBeRead) {
  for (const double k_p : {0.0001, 0.1, 1.0, 1e6})
    EXPECT_EQ(regulator_step({}, {k_p, 0.0, 0.0, 60.0}, 180.0, kFailedReading, kReference).reduction, 0.0);
}

TEST(RegulatorStep, AddsUpThePreviousError) {
  const auto step = step_at_error(-50.0, {2.0, 0.25, 0.0}, 0.0, 0.125, 0.0);
  EXPECT_EQ(step.accumulated, 8.0 * 0.125 * 2.0 + 0.25);
  EXPECT_EQ(step.integral, 2.25);
  EXPECT_EQ(step.output, 225.0);
  EXPECT_EQ(step.next.integral, 2.25);
  EXPECT_EQ(step.next.prev_error, -50.0);
  EXPECT_EQ(step.next.prev_output, 225.0);
}

TEST(RegulatorStep, AddsUpNothingInTheFirstStep) {
  EXPECT_EQ(step_at_error(-50.0, {}, 0.0, 0.125, 0.0).integral, 0.0);
}

TEST(RegulatorStep, WeighsTheDerivativeByThePreviousError) {
  EXPECT_EQ(step_at_error(4.0, {2.0, 0.0, 0.0}, 0.0, 0.0, 0.5).derivative, (4.0 - 2.0) / 8.0 * 0.5 * 2.0);
  EXPECT_EQ(step_at_error(4.0, {-2.0, 0.0, 0.0}, 0.0, 0.0, 0.5).derivative, (4.0 + 2.0) / 8.0 * 0.5 * -2.0);
  EXPECT_EQ(step_at_error(4.0, {}, 0.0, 0.0, 0.5).derivative, 0.0);
}

TEST(RegulatorStep, AddsItsThreeTerms) {
  const auto step = step_at_error(4.0, {2.0, 0.25, 0.0}, 0.0625, 0.03125, 0.5);
  EXPECT_EQ(step.proportional, 0.25);
  EXPECT_EQ(step.integral, 0.75);
  EXPECT_EQ(step.derivative, 0.25);
  EXPECT_EQ(step.output, 125.0);
}

TEST(RegulatorStep, FollowsTheStepBefore) {
  const RegulatorGains gains = {0.0625, 0.03125, 0.0, 60.0};
  const auto first = regulator_step({}, gains, kSampleTime, 62.0, kReference);
  EXPECT_EQ(first.output, -12.5);
  const auto second = regulator_step(first.next, gains, kSampleTime, 56.0, kReference);
  EXPECT_EQ(second.accumulated, -0.5);
  EXPECT_EQ(second.integral, 0.0);  // the output before was below 0
  EXPECT_EQ(second.output, 25.0);
  const auto third = regulator_step(second.next, gains, kSampleTime, 60.0, kReference);
  EXPECT_EQ(third.output, 100.0);
  EXPECT_EQ(third.reduction, 0.0);
}

TEST(RegulatorWindup, EndsAboveTheReferenceAtWhatTheOtherTermsLeave) {
  const auto step = step_at_error(4.0, {2.0, 5.0, 100.5}, 0.0625, 0.125, 0.5);
  EXPECT_EQ(step.accumulated, 7.0);
  EXPECT_EQ(step.integral, 1.0 - 0.25 - 0.25);
  EXPECT_EQ(step.next.integral, 0.5);
  EXPECT_EQ(step.output, 100.0);
}

TEST(RegulatorWindup, EndsAtNothingWhenTheOtherTermsLeaveNothing) {
  const auto step = step_at_error(32.0, {0.0, 5.0, 100.5}, 0.0625, 0.125, 0.0);
  EXPECT_EQ(step.proportional, 2.0);
  EXPECT_EQ(step.integral, 0.0);
  EXPECT_EQ(step.next.integral, 0.0);
}

TEST(RegulatorWindup, EndsAtNothingWhenWhatTheOtherTermsLeaveIsUndefined) {
  const auto step = step_at_error(4.0, {2.0, 5.0, 100.5}, kInfinity, 0.125, -kInfinity);
  EXPECT_EQ(step.integral, 0.0);
  EXPECT_EQ(step.next.integral, 0.0);
  EXPECT_TRUE(std::isnan(step.output));
}

TEST(RegulatorWindup, EndsAtNothingBelowZero) {
  const auto step = step_at_error(4.0, {-2.0, -5.0, -0.5}, 0.0625, 0.125, 0.0);
  EXPECT_EQ(step.accumulated, -7.0);
  EXPECT_EQ(step.integral, 0.0);
  EXPECT_FALSE(std::signbit(step.next.integral));
  EXPECT_EQ(step.output, 25.0);
}

TEST(RegulatorWindup, GoesOnUpToTheLimits) {
  for (const double output : {100.0, 50.0, 0.0, -0.0})
    EXPECT_EQ(step_at_error(4.0, {2.0, 5.0, output}, 0.0625, 0.125, 0.0).integral, 7.0) << output;
}

TEST(RegulatorWindup, IsMeasuredAgainstTheReferenceOfThisStep) {
  const RegulatorState state = {2.0, 5.0, 100.5};
  EXPECT_EQ(regulator_step(state, {0.0, 0.125, 0.0, 60.0}, kSampleTime, 60.0, 200.0).integral, 7.0);
}

TEST(RegulatorWindup, GoesOnWithoutAPositiveIntegralGain) {
  for (const double output : {100.5, -0.5}) {
    EXPECT_EQ(step_at_error(4.0, {2.0, 5.0, output}, 0.0625, 0.0, 0.0).integral, 5.0) << output;
    EXPECT_EQ(step_at_error(4.0, {2.0, 5.0, output}, 0.0625, -0.0, 0.0).integral, 5.0) << output;
    EXPECT_EQ(step_at_error(4.0, {2.0, 5.0, output}, 0.0625, -0.125, 0.0).integral, 3.0) << output;
    EXPECT_EQ(step_at_error(4.0, {2.0, 5.0, output}, 0.0625, -kInfinity, 0.0).integral, -kInfinity) << output;
    EXPECT_TRUE(std::isnan(step_at_error(4.0, {2.0, 5.0, output}, 0.0625, kNan, 0.0).integral)) << output;
  }
}

TEST(RegulatorWindup, EndsWithAnInfiniteIntegralGainToo) {
  EXPECT_EQ(step_at_error(4.0, {2.0, 5.0, 100.5}, 0.0625, kInfinity, 0.0).integral, 0.75);
  EXPECT_EQ(step_at_error(4.0, {2.0, 5.0, -0.5}, 0.0625, kInfinity, 0.0).integral, 0.0);
}

TEST(RegulatorWindup, GoesOnAfterAnUndefinedOutput) {
  EXPECT_EQ(step_at_error(4.0, {2.0, 5.0, kNan}, 0.0625, 0.125, 0.0).integral, 7.0);
}

TEST(RegulatorReduction, LiesBetweenNothingAndTheReference) {
  EXPECT_EQ(reduction_of(-1.0, 100.0), 100.0);
  EXPECT_EQ(reduction_of(-0.25, 100.0), 100.0);
  EXPECT_EQ(reduction_of(0.0, 100.0), 100.0);
  EXPECT_EQ(reduction_of(0.25, 100.0), 75.0);
  EXPECT_EQ(reduction_of(1.0, 100.0), 0.0);
  EXPECT_EQ(reduction_of(2.0, 100.0), 0.0);
  EXPECT_FALSE(is_negative_zero(reduction_of(2.0, 100.0)));
}

TEST(RegulatorReduction, IsLimitedForAnInfiniteOutput) {
  EXPECT_EQ(reduction_of(kInfinity, 100.0), 0.0);
  EXPECT_EQ(reduction_of(-kInfinity, 100.0), 100.0);
}

TEST(RegulatorReduction, IsUndefinedWhenTheOutputIs) { EXPECT_TRUE(std::isnan(reduction_of(kNan, 100.0))); }

TEST(RegulatorReduction, IsUndefinedWhenTheReferenceIs) { EXPECT_TRUE(std::isnan(reduction_of(0.5, kNan))); }

TEST(RegulatorReduction, IsNothingForTheReferenceZero) {
  for (const double fraction : {-2.0, -0.5, 0.0, 0.5, 2.0})
    EXPECT_EQ(reduction_of(fraction, 0.0), 0.0) << fraction;
}

TEST(RegulatorReduction, IsComparedWithANegativeReferenceFirst) {
  EXPECT_EQ(reduction_of(2.0, -100.0), -100.0);
  EXPECT_EQ(reduction_of(1.0, -100.0), -100.0);
  EXPECT_EQ(reduction_of(0.5, -100.0), -100.0);
  EXPECT_EQ(reduction_of(0.0, -100.0), 0.0);
  EXPECT_EQ(reduction_of(-1.0, -100.0), 0.0);
}

TEST(RegulatorSampleTime, OfZeroMakesTheDerivativeInfiniteOrUndefined) {
  EXPECT_EQ(step_at_error(4.0, {2.0, 0.0, 0.0}, 0.0, 0.0, 0.5, 0.0).derivative, kInfinity);
  EXPECT_EQ(step_at_error(1.0, {2.0, 0.0, 0.0}, 0.0, 0.0, 0.5, 0.0).derivative, -kInfinity);
  EXPECT_TRUE(std::isnan(step_at_error(2.0, {2.0, 0.0, 0.0}, 0.0, 0.0, 0.5, 0.0).derivative));
  EXPECT_TRUE(std::isnan(step_at_error(4.0, {}, 0.0, 0.0, 0.5, 0.0).derivative));
  EXPECT_TRUE(std::isnan(step_at_error(4.0, {2.0, 0.0, 0.0}, 0.0, 0.0, 0.0, 0.0).derivative));
}

TEST(RegulatorSampleTime, OfZeroKeepsTheIntegral) {
  EXPECT_EQ(step_at_error(4.0, {2.0, 0.25, 0.0}, 0.0, 0.125, 0.0, 0.0).accumulated, 0.25);
}

TEST(RegulatorFilter, KeepsASteadyTemperature) { EXPECT_EQ(low_pass(40.0, 40.0), 40.0); }

TEST(RegulatorFilter, TakesAFifthOfTheReading) {
  EXPECT_EQ(low_pass(40.0, 50.0), 42.0);
  EXPECT_EQ(low_pass(0.0, 5.0), 1.0);
  EXPECT_EQ(low_pass(5.0, 0.0), 4.0);
}

TEST(RegulatorFilter, TakesAFailedReadingForATemperature) {
  EXPECT_DOUBLE_EQ(low_pass(40.0, kFailedReading), -1967.8);
  EXPECT_EQ(low_pass(kFailedReading, kFailedReading), kFailedReading);
}

// 0.8 x 22 is rounded to 17.60000000000000142. 37 times the double next to 0.2 is 7.40000000000000041, which
// lifts the sum above the middle between 25 and the next double. Rounded by itself it is 7.40000000000000036:
// the sum is the very middle then, and becomes 25. Likewise, downwards, in the second case. Neither has the
// same result when it is the other product that is not rounded.
TEST(RegulatorFilter, DoesNotRoundTheFifthByItself) {
  EXPECT_EQ(low_pass(22.0, 37.0), 0x1.9000000000001p+4);
  EXPECT_EQ(low_pass(114.0, 68.0), 0x1.a333333333333p+6);
}

TEST(RegulatorFilter, MayRoundBothProducts) {
  EXPECT_EQ(low_pass_rounded_twice(22.0, 37.0), 25.0);
  EXPECT_EQ(low_pass_rounded_twice(114.0, 68.0), 0x1.a333333333334p+6);
  EXPECT_EQ(low_pass_rounded_twice(40.0, 50.0), 42.0);
}

}  // namespace
