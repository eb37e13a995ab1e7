// The levels of a light that took its table from its file.

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "support/light_files.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {

using Levels = std::vector<gint>;

constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

/// A light at full intensity, without power requests. With them, a unit takes a watt and nothing is granted.
class Recalculation : public testing::Test {
 protected:
  Recalculation() {
    write_file("/sys/light/QXID", "1");
    load("[info]\nleds=3\n[0]\n0=0;0;0\n100=40;80;40\n[100]\n0=0;0;0\n100=90;20;90\n");
  }

  /// Starts over with a light that has @p text as its illumination file.
  void load(const std::string &text) {
    write_file("/etc/beamd/illumination.conf", text);
    light_ = make_light(LED_TYPE_BASE);
    light_->basepath = g_strdup("/sys/light");
    light_->use_power_request = FALSE;
    light_->power_usage_factor = 1.0F;
    light_->intensity = 100;
    EXPECT_TRUE(LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), nullptr));
    EXPECT_EQ(log_.lines(), std::vector<SyslogCapture::Line>{}) << text;
  }

  Levels levels() const { return {light_->led_intensities, light_->led_intensities + light_->nbr_of_leds}; }

  Levels levels_at(gint angle) {
    led_base_recalculate_angle_of_illumination(light_.get(), angle);
    return levels();
  }

  /// At angle 50, where the table gives 65, 50 and 65.
  Levels levels_for_a_grant_of(gdouble watts) {
    light_->use_power_request = TRUE;
    light_->power_intensity = watts;
    return levels_at(50);
  }

  void have_own_intensities(const Levels &manual, const Levels &automatic) {
    light_->individual_intensity_support = TRUE;
    g_free(light_->manual_intensities);
    g_free(light_->automatic_intensities);
    light_->manual_intensities = copy_of(manual);
    light_->automatic_intensities = copy_of(automatic);
  }

  SyslogCapture log_;
  LightPointer light_ = make_light(LED_TYPE_BASE);

 private:
  static gint *copy_of(const Levels &levels) {
    return static_cast<gint *>(g_memdup2(levels.data(), levels.size() * sizeof(gint)));
  }
};

TEST_F(Recalculation, IsNotMadeBySetupItself) { EXPECT_EQ(levels(), (Levels{0, 0, 0})); }

TEST_F(Recalculation, AtAngle50WithRows0And100GivesTheTruncatedMidpoint) {
  EXPECT_EQ(levels_at(50), (Levels{65, 50, 65}));
  light_->intensity = 50;
  EXPECT_EQ(levels_at(50), (Levels{32, 25, 32})) << "between 20 and 45, 40 and 10";
}

TEST_F(Recalculation, AtAngle0AndBelowUsesRow0Alone) {
  for (const gint angle : {0, -1, std::numeric_limits<gint>::min()})
    EXPECT_EQ(levels_at(angle), (Levels{40, 80, 40})) << angle;
}

TEST_F(Recalculation, AtTheLastAngleAndAboveUsesTheLastRow) {
  for (const gint angle : {100, 101, std::numeric_limits<gint>::max()})
    EXPECT_EQ(levels_at(angle), (Levels{90, 20, 90})) << angle;
}

TEST_F(Recalculation, ForMoreThanTheTableHasIsDark) {
  light_->intensity = 101;
  EXPECT_EQ(levels_at(50), (Levels{0, 0, 0}));
}

TEST_F(Recalculation, LeavesTheStoredAngleAlone) {
  light_->angle_of_illumination = 20;
  EXPECT_EQ(levels_at(50), (Levels{65, 50, 65}));
  EXPECT_EQ(light_->angle_of_illumination, 20);
}

TEST_F(Recalculation, WithoutPowerRequestsIgnoresTheGrant) {
  for (const gdouble watts : {0.0, 10.0, -1.0, kNotANumber}) {
    light_->power_intensity = watts;
    EXPECT_EQ(levels_at(50), (Levels{65, 50, 65})) << watts;
  }
}

TEST_F(Recalculation, WithPowerRequestsIsDarkUntilThereIsAGrant) {
  light_->use_power_request = TRUE;
  EXPECT_EQ(light_->power_intensity, 0.0);
  EXPECT_EQ(levels_at(50), (Levels{0, 0, 0}));
}

TEST_F(Recalculation, WithPowerRequestsIsDimmedToTheGrant) {
  EXPECT_EQ(levels_for_a_grant_of(180.0), (Levels{65, 50, 65})) << "just enough";
  EXPECT_EQ(levels_for_a_grant_of(179.9), (Levels{64, 49, 64}));
  EXPECT_EQ(levels_for_a_grant_of(100.0), (Levels{34, 26, 34}));
  EXPECT_EQ(levels_for_a_grant_of(0.0), (Levels{0, 0, 0}));
}

TEST_F(Recalculation, StartsFromTheTableEachTime) {
  EXPECT_EQ(levels_for_a_grant_of(100.0), (Levels{34, 26, 34}));
  EXPECT_EQ(levels_for_a_grant_of(100.0), (Levels{34, 26, 34}));
  EXPECT_EQ(levels_for_a_grant_of(kInfinity), (Levels{65, 50, 65}));
}

TEST_F(Recalculation, WithAGrantThatIsNoPowerIsDark) {
  for (const gdouble watts : {-1.0, -kInfinity, kNotANumber})
    EXPECT_EQ(levels_for_a_grant_of(watts), (Levels{0, 0, 0})) << watts;
}

TEST_F(Recalculation, CountsTheLightsOwnWattsPerUnit) {
  light_->power_usage_factor = LED_DEFAULT_POWER_USAGE_FACTOR;
  EXPECT_EQ(levels_for_a_grant_of(0.325), (Levels{65, 50, 65}));  // needs 0.324 W
  EXPECT_EQ(levels_for_a_grant_of(0.3), (Levels{60, 46, 60}));    // 166 units are the first that fit
}

TEST_F(Recalculation, FollowsTheManualIntensitiesOfTheLeds) {
  have_own_intensities({100, 50, 200}, {0, 0, 0});
  EXPECT_EQ(levels_at(0), (Levels{40, 40, 40})) << "none is more than the light's";
  light_->intensity = 50;
  EXPECT_EQ(levels_at(0), (Levels{20, 40, 20}));
}

TEST_F(Recalculation, FollowsTheAutomaticIntensitiesInAutomaticMode) {
  have_own_intensities({0, 0, 0}, {100, 50, 25});
  light_->has_automatic_intensity = TRUE;
  light_->automatic_intensity = TRUE;
  EXPECT_EQ(levels_at(0), (Levels{40, 40, 10}));
  light_->automatic_intensity = FALSE;
  EXPECT_EQ(levels_at(0), (Levels{0, 0, 0}));
}

TEST_F(Recalculation, IgnoresThemWithoutTheirSupport) {
  have_own_intensities({0, 0, 0}, {0, 0, 0});
  light_->individual_intensity_support = FALSE;
  EXPECT_EQ(levels_at(0), (Levels{40, 80, 40}));
}

TEST_F(Recalculation, IsMadeWhenTheIntensityIsSet) {
  light_->angle_of_illumination = 50;
  led_base_set_intensity(light_.get(), 50);
  EXPECT_EQ(levels(), (Levels{32, 25, 32}));
}

TEST_F(Recalculation, IsMadeWhenTheIntensityOfALedIsSet) {
  have_own_intensities({0, 0, 0}, {100, 100, 100});
  light_->has_automatic_intensity = TRUE;
  light_->automatic_intensity = TRUE;
  EXPECT_TRUE(led_base_set_individual_led_intensity(light_.get(), 1, 50, LED_INTENSITY_TYPE_AUTOMATIC));
  EXPECT_EQ(levels(), (Levels{40, 40, 40}));
}

TEST_F(Recalculation, IsMadeWhenTheAngleIsSet) {
  led_base_set_angle_of_illumination(light_.get(), 50);
  EXPECT_EQ(levels(), (Levels{65, 50, 65}));
  EXPECT_EQ(light_->angle_of_illumination, 50);
  led_base_set_angle_of_illumination(light_.get(), 100);
  EXPECT_EQ(levels(), (Levels{90, 20, 90}));
}

TEST_F(Recalculation, IsMadeWhenPowerIsGranted) {
  light_->use_power_request = TRUE;
  light_->angle_of_illumination = 50;
  led_base_set_power_intensity(light_.get(), 180.0);
  EXPECT_EQ(levels(), (Levels{65, 50, 65}));
  led_base_set_power_intensity(light_.get(), 100.0);
  EXPECT_EQ(levels(), (Levels{34, 26, 34}));
  led_base_set_power_intensity(light_.get(), 0.0);
  EXPECT_EQ(levels(), (Levels{0, 0, 0}));
}

TEST_F(Recalculation, WithoutATableDoesNothing) {
  for (const int leds : {0, 2}) {
    light_ = make_light(LED_TYPE_BASE, leds);
    led_base_recalculate_angle_of_illumination(light_.get(), 50);
    led_base_set_intensity(light_.get(), 50);
    led_base_set_power_intensity(light_.get(), 1.0);
    EXPECT_EQ(light_->led_intensities, nullptr) << leds;
  }
}

TEST_F(Recalculation, WithoutLedsDoesNothing) {
  load("[info]\nleds=0\n[0]\n0=\n100=\n[100]\n0=\n");
  for (const gint angle : {0, 50, 101})
    EXPECT_EQ(levels_at(angle), Levels{}) << angle;
  EXPECT_EQ(levels_for_a_grant_of(-1.0), Levels{});
}

TEST_F(Recalculation, WithoutRowsIsDark) {
  load("[info]\nleds=2\n");
  for (const gint angle : {0, 50, 101})
    EXPECT_EQ(levels_at(angle), (Levels{0, 0})) << angle;
}

TEST_F(Recalculation, FollowsEveryRowAndPointOfTheFile) {
  load("[info]\nleds=1\n[0]\n0=1\n10=11\n20=5\n[40]\n0=3\n20=7\n[100]\n0=0\n20=100\n");
  light_->intensity = 15;
  EXPECT_EQ(levels_at(0), Levels{8});   // 11 less 3
  EXPECT_EQ(levels_at(40), Levels{6});  // 3 + 3
  EXPECT_EQ(levels_at(30), Levels{7});  // 8 less 1.5
  EXPECT_EQ(levels_at(41), Levels{7});  // 6 + 1.15
  EXPECT_EQ(levels_at(100), Levels{75});
}

}  // namespace
