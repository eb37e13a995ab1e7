// How a fisheye camera's light is switched and shares its power.

#include <limits>

#include "support/fisheye_fixture.h"
#include "support/mcu_light_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

TEST_F(FisheyeLight, SharesTheGrantInProportion) {
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre("leds/fisheye0/power=1000", "leds/fisheye1/power=500"))
      << "1500 is more than the highest";
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FisheyeLight, PrintsBudgetAndLevels) {
  BEAMD_DEBUG_FLAG = 1;
  light_->power_reduce = 400.0;
  activate(light_, TRUE);
  EXPECT_EQ(log_.lines(), prints({"activate_light: total_power:2000.00 power_reduce:400.00",
                                  "activate_light: led0: 1000 (0.75)", "activate_light: led1: 400 (0.25)"}));
  log_.clear();
  activate(light_, FALSE);
  EXPECT_EQ(log_.lines(), prints({"activate_light: total_power:2000.00 power_reduce:400.00",
                                  "activate_light: led0: 0 (0.00)", "activate_light: led1: 0 (0.00)"}));
}

TEST_F(FisheyeLight, IsOnForAnythingButZero) {
  for (const gboolean on : {2, -1}) {
    EXPECT_EQ(activate(light_, on), kDone);
    EXPECT_EQ(written(), levels({1000, 500})) << on;
  }
}

TEST_F(FisheyeLight, WritesZeroToEachLedWhenOff) {
  EXPECT_EQ(activate(light_, TRUE), kDone);
  written();
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_EQ(written(), levels({0, 0}));
}

TEST_F(FisheyeLight, WritesZeroToEachLedWithoutAWholeMilliwatt) {
  for (const double watts : {0.0, 0.000999, -0.0, -2.0, -1e300, -kInfinity, kNotANumber}) {
    light_->power_intensity = watts;
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(written(), levels({0, 0})) << watts;
  }
  light_->power_intensity = 0.001001;
  request(light_, {30, 0});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({1, 0}));
}

TEST_F(FisheyeLight, SharesNothingWithoutAWholeMilliwatt) {
  BEAMD_DEBUG_FLAG = 1;
  light_->power_reduce = -5000.0;
  for (const double watts : {0.0, 0.000999, -2.0}) {
    log_.clear();
    light_->power_intensity = watts;
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(written(), levels({0, 0})) << watts;
    ASSERT_EQ(log_.lines().size(), 3U);
    EXPECT_EQ(log_.lines()[1].text, "activate_light: led0: 0 (0.00)") << watts;
  }
}

TEST_F(FisheyeLight, SharesFractionsOfAMilliwattAsWell) {
  light_->power_intensity = 0.0049;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({3, 1}));
  light_->power_intensity = 0.0056;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({4, 1})) << "3/4 of 5.6, and not of 5";
}

TEST_F(FisheyeLight, LedThatWantsNothingGetsNothing) {
  request(light_, {0, 10});
  for (const double watts : {0.5, 2.0, 1e9, kInfinity}) {
    light_->power_intensity = watts;
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(written(), levels({0, watts < 1.0 ? 500 : 1000})) << watts;
  }
  request(light_, {0, 0});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({0, 0}));
}

TEST_F(FisheyeLight, LevelsEndAtTheHighest) {
  light_->intensity_high = 500;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({500, 500}));
  light_->intensity_high = 499;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({499, 499}));
  light_->intensity_high = std::numeric_limits<gint>::max();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({1500, 500}));
}

TEST_F(FisheyeLight, KnowsNoLowestLevel) {
  light_->intensity_low = 600;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({1000, 500}));
}

TEST_F(FisheyeLight, HasTheReductionTakenOffItsBudget) {
  light_->power_reduce = 800.0;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({900, 300}));
  for (const double reduction : {2000.0, 1e6, kInfinity, kNotANumber}) {
    light_->power_reduce = reduction;
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(written(), levels({0, 0})) << reduction;
  }
}

TEST_F(FisheyeLight, AsksNoLedForMoreThanItsIntensity) {
  light_->intensity = 20;
  light_->power_intensity = 0.9;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({600, 300}));
}

TEST_F(FisheyeLight, SharesEvenlyWithoutIntensitiesOfTheLedsOwn) {
  light_->individual_intensity_support = FALSE;
  light_->power_intensity = 0.9;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), levels({450, 450}));
}

TEST_F(FisheyeLight, WithoutLedsPrintsItsBudgetOnly) {
  light_->nbr_of_leds = 0;
  BEAMD_DEBUG_FLAG = 1;
  for (const bool on : {true, false}) {
    log_.clear();
    EXPECT_EQ(activate(light_, on), kDone);
    EXPECT_EQ(log_.lines(), prints({"activate_light: total_power:2000.00 power_reduce:0.00"}));
  }
  EXPECT_THAT(written(), IsEmpty());
}

// Failures.

TEST_F(FisheyeLight, LeavesNoFileOpen) {
  const auto before = open_descriptors();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(open_descriptors(), before);

  attribute_writes().failures[led_file(0)] = {EIO};
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(open_descriptors(), before) << "a write has failed";

  std::filesystem::remove(led_file(0));
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(open_descriptors(), before) << "a file is missing";
}

TEST_F(FisheyeLight, OpensItsFilesForWritingOnly) {
  replace(led_file(0), fifo_without_a_writer());
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(log_.lines(), errors({"activate_light: failed to open /sys/class/leds/fisheye0/power: "
                                  "No such device or address"}))
      << "a FIFO that nobody reads opens for reading and writing at once";
}

TEST_F(FisheyeLight, GoesOnAfterAnLedThatCannotBeOpened) {
  change({30, 10, 10});
  std::filesystem::remove(led_file(1));
  const auto said =
      errors({"activate_light: failed to open /sys/class/leds/fisheye1/power: No such file or directory"});
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_THAT(written(), ElementsAre("leds/fisheye0/power=1000", "leds/fisheye2/power=400"));
  EXPECT_EQ(log_.lines(), said);
  log_.clear();
  EXPECT_EQ(activate(light_, FALSE), kFailed);
  EXPECT_THAT(written(), ElementsAre("leds/fisheye0/power=0", "leds/fisheye2/power=0"));
  EXPECT_EQ(log_.lines(), said);
  EXPECT_FALSE(std::filesystem::exists(led_file(1))) << "an attribute file is not made";
}

TEST_F(FisheyeLight, NamesTheReasonWhyItCannotOpenAnLed) {
  std::filesystem::remove(led_file(0));
  std::filesystem::create_directory(led_file(0));
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(log_.lines(),
            errors({"activate_light: failed to open /sys/class/leds/fisheye0/power: Is a directory"}));
}

TEST_F(FisheyeLight, GoesOnAfterAnLedThatDoesNotTakeItsLevel) {
  change({30, 10, 10});
  for (const int failure : {EIO, ENOSPC, EAGAIN, AttributeWrites::kShort}) {
    log_.clear();
    attribute_writes().failures[led_file(1)] = {failure};
    EXPECT_EQ(activate(light_, TRUE), kFailed) << failure;
    EXPECT_THAT(written(),
                ElementsAre("leds/fisheye0/power=1000", "leds/fisheye1/power!", "leds/fisheye2/power=400"));
    EXPECT_EQ(log_.lines(), errors({"activate_light: write failure to led 1"})) << failure;
  }
}

TEST_F(FisheyeLight, SucceedsOnlyIfEveryLedWasWritten) {
  change({30, 10, 10});
  for (const int led : {0, 1, 2}) {
    attribute_writes().failures[led_file(led)] = {EIO};
    EXPECT_EQ(activate(light_, TRUE), kFailed) << led;
    EXPECT_EQ(activate(light_, TRUE), kDone) << led;
  }
}

TEST_F(FisheyeLight, RepeatsAWriteThatASignalInterrupted) {
  attribute_writes().failures[led_file(0)] = {EINTR, EINTR, EINTR};
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre("leds/fisheye0/power!", "leds/fisheye0/power!", "leds/fisheye0/power!",
                                     "leds/fisheye0/power=1000", "leds/fisheye1/power=500"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FisheyeLight, DoesNotRepeatAWriteThatFailedForAnotherReason) {
  attribute_writes().failures[led_file(0)] = {EINTR, EIO};
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_THAT(written(),
              ElementsAre("leds/fisheye0/power!", "leds/fisheye0/power!", "leds/fisheye1/power=500"));
  EXPECT_EQ(log_.lines(), errors({"activate_light: write failure to led 0"}));
}

TEST_F(FisheyeLight, GoesOnAfterAnLedWithoutPath) {
  g_free(light_->basepath);
  light_->basepath = nullptr;
  const std::string line = "activate_light: failed to allocate led path";
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(log_.lines(), errors({line, line}));
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(Fisheye, WhoseSetupFailedCanBeSwitchedOff) {
  write_dimming("");
  EXPECT_EQ(set_up(light_), kFailed);
  written();
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_THAT(written(), ElementsAre("leds/fisheye0/power=0", "leds/fisheye1/power=0"));
}

}  // namespace
