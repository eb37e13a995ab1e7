// How a light of backlights is switched and shares its power.

#include <limits>

#include "support/backlight_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

TEST_F(BacklightLight, SharesTheGrantInProportion) {
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre(brightness(0, 229), line(0, 1), brightness(1, 76), line(1, 1)));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BacklightLight, PrintsTheLevels) {
  BEAMD_DEBUG_FLAG = 1;
  activate(light_, TRUE);
  EXPECT_EQ(log_.lines(), prints({"led0 900", "led1 300"}));
  log_.clear();
  activate(light_, FALSE);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BacklightLight, IsOnForAnythingButZero) {
  for (const gboolean on : {2, -1}) {
    EXPECT_EQ(activate(light_, on), kDone);
    EXPECT_EQ(written(), brightness_of_both(229, 76)) << on;
  }
}

TEST_F(BacklightLight, IsSwitchedOffLinesFirst) {
  EXPECT_EQ(activate(light_, TRUE), kDone);
  written();
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_THAT(written(), ElementsAre(line(0, 0), brightness(0, 0), line(1, 0), brightness(1, 0)));
}

TEST_F(BacklightLight, IsOffWithoutPower) {
  for (const double watts : {0.0, 0.000999, -0.0, -1.2, -1e300, kNotANumber}) {
    light_->power_intensity = watts;
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(written(), darkness()) << watts;
  }
  light_->power_intensity = 0.001;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), brightness_of_both(0, 0)) << "brightness first: it counts as on";
}

TEST_F(BacklightLight, CutsTheGrantToWholeMilliwatts) {
  light_->intensity_high = 4;
  light_->power_intensity = 0.0049;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), brightness_of_both(191, 63)) << "levels 3 and 1 of 4, not 3 and 1.2";
}

TEST_F(BacklightLight, IsAsBrightAsItGetsOfAGrantWithoutEnd) {
  for (const double watts : {1e300, std::numeric_limits<double>::infinity()}) {
    light_->power_intensity = watts;
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(written(), brightness_of_both(255, 255)) << watts;
  }
}

TEST_F(BacklightLight, IsOffWhenNoLedWantsPower) {
  request(light_, {0, 0});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), darkness());
}

TEST_F(BacklightLight, SwitchesOffTheLineOfAnLedThatGetsNothing) {
  request(light_, {600, 0});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), brightness_of_both(255, 0));
}

TEST_F(BacklightLight, AsksNoLedForMoreThanItsIntensity) {
  light_->intensity = 200;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), brightness_of_both(153, 153)) << "600 of 1200 each";
}

TEST_F(BacklightLight, SharesEvenlyWithoutIntensitiesOfTheLedsOwn) {
  light_->individual_intensity_support = FALSE;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), brightness_of_both(153, 153));
}

TEST_F(BacklightLight, HasTheReductionTakenOffTheMilliwatts) {
  light_->power_reduce = 400.0;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), brightness_of_both(153, 51)) << "600 and 200 of 1000";
}

TEST_F(BacklightLight, IsOffInEffectWhenTheReductionEatsTheGrant) {
  for (const double reduction : {1200.0, 5000.0}) {
    light_->power_reduce = reduction;
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(written(), brightness_of_both(0, 0)) << reduction;
  }
}

TEST_F(BacklightLight, CountsBrightnessFromTheLowLimit) {
  light_->intensity_low = 300;
  light_->intensity_high = 1300;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), brightness_of_both(153, 0));
}

TEST_F(BacklightLight, IsDarkBetweenEqualLimits) {
  light_->intensity_low = 500;
  light_->intensity_high = 500;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre(brightness(0, 0), line(0, 0), brightness(1, 0), line(1, 0)));
}

TEST_F(BacklightLight, HasTheScaleThatIsConfigured) {
  light_->max_brightness_level = 1000;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), brightness_of_both(900, 300));
  light_->max_brightness_level = 0;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(written(), brightness_of_both(0, 0));
}

// GPIO lines.

TEST_F(BacklightLight, WritesTheInverseToALineThatIsActiveLow) {
  write_file(gpio_file(kLight, 1, "active_low"), "1\n");
  written();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre(brightness(0, 229), line(0, 1), brightness(1, 76), line(1, 0)));
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_THAT(written(), ElementsAre(line(0, 0), brightness(0, 0), line(1, 1), brightness(1, 0)));
}

TEST_F(BacklightLight, MayHaveMoreLedsThanLines) {
  change({600, 200, 400}, 1);
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre(brightness(0, 153), line(0, 1), brightness(1, 51), brightness(2, 102)));
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_THAT(written(), ElementsAre(line(0, 0), brightness(0, 0), brightness(1, 0), brightness(2, 0)));
}

TEST_F(BacklightLight, MayHaveMoreLinesThanLeds) {
  change({600}, 3);
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre(brightness(0, 255), line(0, 1)));
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_THAT(written(), ElementsAre(line(0, 0), brightness(0, 0)));
}

TEST_F(BacklightLight, CountsItsLinesAtSetupOnly) {
  change({600, 200}, 0);
  make_lines(2);
  written();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre(brightness(0, 229), brightness(1, 76)));
}

// Failures.

class FailingBacklight : public BacklightLight {
 protected:
  FailingBacklight() { change({600, 200, 400}, 3); }

  void expect_failure(gboolean on, const Line &said, const std::vector<std::string> &writes) {
    written();
    log_.clear();
    EXPECT_EQ(activate(light_, on), kFailed);
    EXPECT_THAT(log_.lines(), ElementsAre(said));
    EXPECT_EQ(written(), writes);
  }
};

TEST_F(FailingBacklight, BrightnessThatIsMissingEndsIt) {
  std::filesystem::remove(led_file(1, "brightness"));
  const Line said{LOG_WARNING, "Failed to open fd for led 1 (/sys/class/backlight/ir1/brightness)"};
  expect_failure(TRUE, said, {brightness(0, 153), line(0, 1)});
  expect_failure(FALSE, said, {line(0, 0), brightness(0, 0), line(1, 0)});
}

TEST_F(FailingBacklight, BrightnessThatIsNotTakenEndsIt) {
  const std::string path = led_file(1, "brightness");
  for (const int failure : {EIO, EINTR, AttributeWrites::kShort}) {
    attribute_writes().failures[path] = {failure, failure};
    const Line said{LOG_ERR, "Write failure to led 1 (brightness)"};
    expect_failure(TRUE, said, {brightness(0, 153), line(0, 1), "backlight/ir1/brightness!"});
    expect_failure(FALSE, said, {line(0, 0), brightness(0, 0), line(1, 0), "backlight/ir1/brightness!"});
  }
}

TEST_F(FailingBacklight, LineThatIsMissingEndsIt) {
  std::filesystem::remove_all(gpio_line(kLight, 1));
  const Line said{LOG_WARNING,
                  "Failed to open active_low fd for led 2 (/sys/class/gpio/ir_led_2_1/active_low)"};
  expect_failure(TRUE, said, {brightness(0, 153), line(0, 1), brightness(1, 51)});
  expect_failure(FALSE, said, {line(0, 0), brightness(0, 0)});
}

TEST_F(FailingBacklight, LineWithoutActiveLowEndsIt) {
  write_file(gpio_file(kLight, 1, "active_low"), "");
  const Line said{LOG_ERR, "Read failure for led 2 (active_low)"};
  expect_failure(TRUE, said, {brightness(0, 153), line(0, 1), brightness(1, 51)});
  expect_failure(FALSE, said, {line(0, 0), brightness(0, 0)});
}

TEST_F(FailingBacklight, LineWithoutValueEndsIt) {
  std::filesystem::remove(gpio_file(kLight, 1, "value"));
  const Line said{LOG_WARNING, "Failed to open value fd for led 2 (/sys/class/gpio/ir_led_2_1/value)"};
  expect_failure(TRUE, said, {brightness(0, 153), line(0, 1), brightness(1, 51)});
  expect_failure(FALSE, said, {line(0, 0), brightness(0, 0)});
}

TEST_F(FailingBacklight, LineThatDoesNotTakeItEndsIt) {
  const std::string path = gpio_file(kLight, 1, "value");
  attribute_writes().failures[path] = {EIO, EIO};
  const Line said{LOG_ERR, "Write failure to led 2 (value)"};
  expect_failure(TRUE, said, {brightness(0, 153), line(0, 1), brightness(1, 51), "gpio/ir_led_2_1/value!"});
  expect_failure(FALSE, said, {line(0, 0), brightness(0, 0), "gpio/ir_led_2_1/value!"});
}

TEST_F(FailingBacklight, LaterLedsKeepWhatTheyHad) {
  EXPECT_EQ(activate(light_, TRUE), kDone);
  attribute_writes().failures[led_file(1, "brightness")] = {EIO};
  EXPECT_EQ(activate(light_, FALSE), kFailed);
  EXPECT_EQ(read_file(gpio_file(kLight, 0, "value")), "0");
  EXPECT_EQ(read_file(gpio_file(kLight, 1, "value")), "0");
  EXPECT_EQ(read_file(gpio_file(kLight, 2, "value")), "1");
  EXPECT_EQ(read_file(led_file(2, "brightness")), "102");
}

TEST_F(FailingBacklight, NoPathToAnLedEndsIt) {
  g_free(light_->basepath);
  light_->basepath = nullptr;
  log_.clear();
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_THAT(written(), IsEmpty());
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].priority, LOG_WARNING);
  EXPECT_TRUE(log_.lines()[0].text.starts_with("Failed to open fd for led 0 (")) << log_.lines()[0].text;
}

TEST_F(Backlight, WhoseSetupFailedCanBeSwitchedOff) {
  make_leds(1);
  std::filesystem::remove(led_file(1, "brightness"));
  EXPECT_EQ(set_up(light_), kFailed);
  written();
  EXPECT_EQ(activate(light_, FALSE), kFailed);
  EXPECT_THAT(written(), ElementsAre("backlight/ir0/brightness=0"));
}

}  // namespace
