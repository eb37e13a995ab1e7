// How bright the PWM light shines: from its intensity, its limits, its grant and its scale to the duty cycle.

#include <cmath>
#include <limits>

#include "support/pwm_board_fixture.h"

namespace {

using testing::ElementsAre;

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

class Led1PwmBrightness : public PwmBoard {
 protected:
  Led1PwmBrightness() { EXPECT_TRUE(set_up(light_)); }

  void set_limits(gint low, gint high) {
    light_->intensity_low = low;
    light_->intensity_high = high;
  }

  void grant(gdouble watts) {
    light_->use_power_request = TRUE;
    light_->power_intensity = watts;
  }

  /// Switches on; the lines of the debug log.
  std::vector<std::string> debug_log() {
    BEAMD_DEBUG_FLAG = 1;
    log_.clear();
    EXPECT_TRUE(activate(light_, TRUE));
    std::vector<std::string> texts;
    for (const auto &line : log_.lines()) {
      EXPECT_EQ(line.priority, LOG_INFO) << line.text;
      texts.push_back(line.text);
    }
    return texts;
  }

  /// Switches on; what the debug log calls the brightness.
  std::string brightness() { return debug_log().back(); }

  /// The same with this intensity.
  std::string brightness_at(gint intensity) {
    light_->intensity = intensity;
    return brightness();
  }

  LightPointer light_ = pwm_light();
};

TEST_F(Led1PwmBrightness, OfHalfTheIntensityIsFiftyPercent) {
  light_->intensity = 50;
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 50", "brightness 50"));
}

TEST_F(Led1PwmBrightness, MakesTheDutyCycle) {
  for (const auto &[intensity, duty] : {std::pair{100, "200"}, {0, "1200"}, {50, "700"}, {99, "210"}}) {
    light_->intensity = intensity;
    written();
    EXPECT_TRUE(activate(light_, TRUE));
    EXPECT_EQ(written()[0], "/pwm1/duty_cycle=" + std::string{duty});
  }
}

TEST_F(Led1PwmBrightness, IsSilentWithoutTheDebugFlag) {
  light_->intensity = 500;
  grant(0.05);
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(log_.lines(), testing::IsEmpty());
}

TEST_F(Led1PwmBrightness, ReductionComesOffBeforeTheFraction) {
  light_->intensity = 80;
  light_->power_reduce = 30.5;
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 49", "brightness 49"));
  light_->power_reduce = 0.001;
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 79", "brightness 79"));
}

TEST_F(Led1PwmBrightness, LosesTheFractionTowardsZero) {
  set_limits(-100, 100);
  light_->intensity = 10;
  light_->power_reduce = 30.5;
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity -20", "brightness 40"));
}

TEST_F(Led1PwmBrightness, IsThatOfTheLowLimitBelowIt) {
  set_limits(10, 90);
  light_->intensity = 9;
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 9", "min limit intensity 10", "brightness 0"));
  light_->intensity = kLeast;
  EXPECT_THAT(debug_log(),
              ElementsAre("manual intensity -2147483648", "min limit intensity 10", "brightness 0"));
}

TEST_F(Led1PwmBrightness, IsThatOfTheHighLimitAboveIt) {
  set_limits(10, 90);
  light_->intensity = 91;
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 91", "max limit intensity 90", "brightness 100"));
  light_->intensity = kMost;
  EXPECT_THAT(debug_log(),
              ElementsAre("manual intensity 2147483647", "max limit intensity 90", "brightness 100"));
}

TEST_F(Led1PwmBrightness, LimitsAreValidThemselves) {
  set_limits(10, 90);
  light_->intensity = 10;
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 10", "brightness 0"));
  light_->intensity = 90;
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 90", "brightness 100"));
}

TEST_F(Led1PwmBrightness, ReductionNeverLeadsBelowTheLowLimit) {
  set_limits(10, 110);
  light_->intensity = 60;
  for (const gdouble reduction : {55.0, 1000.0, 1e300, kInfinity}) {
    light_->power_reduce = reduction;
    EXPECT_EQ(brightness(), "brightness 0") << reduction;
  }
}

TEST_F(Led1PwmBrightness, IsCountedFromTheLowLimit) {
  set_limits(20, 60);
  EXPECT_EQ(brightness_at(20), "brightness 0");
  EXPECT_EQ(brightness_at(30), "brightness 25");
  EXPECT_EQ(brightness_at(31), "brightness 27") << "27.5 without its fraction";
  EXPECT_EQ(brightness_at(60), "brightness 100");
}

TEST_F(Led1PwmBrightness, IsOnTheScaleOfTheHardware) {
  light_->max_brightness_level = 40;
  EXPECT_EQ(brightness_at(100), "brightness 40");
  EXPECT_EQ(brightness_at(52), "brightness 20") << "20.8 without its fraction";
  light_->max_brightness_level = 0;
  EXPECT_EQ(brightness_at(100), "brightness 0");
}

TEST_F(Led1PwmBrightness, IsOutOf255WhenTheScaleIsNotConfigured) {
  light_->max_brightness_level = -1;
  EXPECT_EQ(brightness_at(50), "brightness 127") << "127.5 without its fraction";
  written();
  EXPECT_EQ(brightness_at(100), "brightness 255");
  EXPECT_EQ(written()[0], "/pwm1/duty_cycle=-1350");
}

TEST_F(Led1PwmBrightness, IsZeroBetweenEqualLimits) {
  for (const gint limit : {0, 70, kMost, kLeast}) {
    set_limits(limit, limit);
    EXPECT_EQ(brightness_at(70), "brightness 0") << limit;
  }
}

TEST_F(Led1PwmBrightness, HasRoomForTheProduct) {
  set_limits(0, 100'000'000);
  EXPECT_EQ(brightness_at(50'000'000), "brightness 50") << "of 5e9";
}

TEST_F(Led1PwmBrightness, SurvivesAnyLimits) {
  for (const gint low : {kLeast, -1, 0, 1, kMost})
    for (const gint high : {kLeast, -1, 0, 1, kMost})
      for (const gint scale : {kLeast, -1, 0, 100, kMost})
        for (const gint intensity : {kLeast, -1, 0, 1, kMost}) {
          set_limits(low, high);
          light_->max_brightness_level = scale;
          light_->intensity = intensity;
          EXPECT_TRUE(activate(light_, TRUE));
        }
}

TEST_F(Led1PwmBrightness, IsThatOfTheGrantBelowTheIntensity) {
  light_->intensity = 80;
  grant(0.0295);
  EXPECT_THAT(debug_log(),
              ElementsAre("manual intensity 80", "Wattd limits the power. Requested: 80, allocated: 29",
                          "brightness 29"));
}

TEST_F(Led1PwmBrightness, IsGrantedInThousandths) {
  set_limits(0, 4000);
  light_->intensity = 4000;
  grant(2.4999);
  EXPECT_THAT(debug_log(),
              ElementsAre("manual intensity 4000", "Wattd limits the power. Requested: 4000, allocated: 2499",
                          "brightness 62"));
}

TEST_F(Led1PwmBrightness, IsNotLimitedByEnoughPower) {
  light_->intensity = 50;
  for (const gdouble watts : {0.05, 0.051, 4.0, 1e300, kInfinity}) {
    grant(watts);
    EXPECT_THAT(debug_log(), ElementsAre("manual intensity 50", "brightness 50")) << watts;
  }
}

TEST_F(Led1PwmBrightness, GrantIsComparedWithWhatTheLimitsLeave) {
  set_limits(0, 60);
  light_->intensity = 80;
  grant(0.0605);
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 80", "max limit intensity 60", "brightness 100"));
  grant(0.0455);
  EXPECT_THAT(debug_log(),
              ElementsAre("manual intensity 80", "max limit intensity 60",
                          "Wattd limits the power. Requested: 60, allocated: 45", "brightness 75"));
}

TEST_F(Led1PwmBrightness, GrantIsComparedWithWhatTheReductionLeaves) {
  light_->intensity = 80;
  light_->power_reduce = 40.0;
  grant(0.0605);
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 40", "brightness 40"));
}

TEST_F(Led1PwmBrightness, IsNotLimitedWithoutPowerRequests) {
  light_->intensity = 80;
  grant(0.0295);
  light_->use_power_request = FALSE;
  EXPECT_THAT(debug_log(), ElementsAre("manual intensity 80", "brightness 80"));
}

TEST_F(Led1PwmBrightness, NeedsAGrantByDefault) {
  const auto light = make_light(LED_TYPE_1_PWM);
  EXPECT_TRUE(light->use_power_request);
  EXPECT_EQ(light->power_reduce, 0.0);
}

TEST_F(Led1PwmBrightness, IsZeroWithoutAGrant) {
  light_->intensity = 80;
  for (const gdouble watts : {0.0, 0.0009, -0.0009, -1.0, -kInfinity, kNotANumber}) {
    grant(watts);
    EXPECT_THAT(debug_log(),
                ElementsAre("manual intensity 80", "Wattd limits the power. Requested: 80, allocated: 0",
                            "brightness 0"))
        << watts;
  }
}

// A grant is not held within the limits.
TEST_F(Led1PwmBrightness, OfAGrantBelowTheLowLimitIsNegative) {
  set_limits(20, 60);
  light_->intensity = 40;
  grant(0.0105);
  written();
  EXPECT_EQ(brightness(), "brightness -25");
  EXPECT_EQ(written()[0], "/pwm1/duty_cycle=1450");
}

}  // namespace
