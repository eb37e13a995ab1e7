// Intensities: of the whole light, of its LEDs, manual and automatic.

#include <gtest/gtest.h>
#include <syslog.h>

#include <climits>
#include <filesystem>
#include <string>
#include <vector>

#include "led/led_base.h"
#include "support/key_files.h"
#include "support/light_files.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {

using Calls = std::vector<std::string>;
using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;

constexpr int kManual = 0;
constexpr int kAutomatic = 1;

class LedBaseIntensity : public testing::Test {
 protected:
  void SetUp() override {
    recorded_calls().clear();
    test_light_behaviour() = {};
    light_->angle_of_illumination = 30;
  }

  SyslogCapture log_;
  LightPointer light_ = make_light(TEST_TYPE_LIGHT, 3);
};

TEST_F(LedBaseIntensity, OfALitLightAsksForPowerRecalculatesAndActivates) {
  light_->light_on = 1;

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(light_->intensity, 60);
  EXPECT_EQ(recorded_calls(), (Calls{"request_power", "recalculate 30", "activate 1"}));
}

TEST_F(LedBaseIntensity, IsStoredBeforeItIsApplied) {
  const ChangedSlots slots{light_.get()};
  slots->recalculate_angle_of_illumination = [](LedBase *light, gint) {
    recorded_calls().push_back("recalculate with " + std::to_string(light->intensity));
  };

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(recorded_calls(), Calls{"recalculate with 60"});
}

TEST_F(LedBaseIntensity, OfADarkLightIsOnlyRecalculated) {
  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(light_->intensity, 60);
  EXPECT_EQ(recorded_calls(), Calls{"recalculate 30"});
}

TEST_F(LedBaseIntensity, WithoutPowerRequestsAsksForNoPower) {
  light_->light_on = 1;
  light_->use_power_request = FALSE;

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(recorded_calls(), (Calls{"recalculate 30", "activate 1"}));
}

TEST_F(LedBaseIntensity, WithoutRequestPowerRecalculatesAndActivates) {
  const ChangedSlots slots{light_.get()};
  slots->request_power = nullptr;
  light_->light_on = 1;

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(recorded_calls(), (Calls{"recalculate 30", "activate 1"}));
}

TEST_F(LedBaseIntensity, WithoutRecalculationAsksForPowerAndActivatesOnce) {
  const ChangedSlots slots{light_.get()};
  slots->recalculate_angle_of_illumination = nullptr;
  light_->light_on = 1;

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(recorded_calls(), (Calls{"request_power", "activate 1"}));
}

TEST_F(LedBaseIntensity, WithoutPowerRequestsAndRecalculationActivatesOnce) {
  const ChangedSlots slots{light_.get()};
  slots->recalculate_angle_of_illumination = nullptr;
  light_->light_on = 1;
  light_->use_power_request = FALSE;

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(recorded_calls(), Calls{"activate 1"});
}

TEST_F(LedBaseIntensity, OfADarkLightWithoutRecalculationIsOnlyStored) {
  const ChangedSlots slots{light_.get()};
  slots->recalculate_angle_of_illumination = nullptr;

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(light_->intensity, 60);
  EXPECT_EQ(recorded_calls(), Calls{});
}

TEST_F(LedBaseIntensity, WithoutActivateLightIsRecalculated) {
  const ChangedSlots slots{light_.get()};
  slots->activate_light = nullptr;
  light_->light_on = 1;

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(recorded_calls(), (Calls{"request_power", "recalculate 30"}));
}

TEST_F(LedBaseIntensity, AnErrorOfTheDriverIsDiscarded) {
  test_light_behaviour().activate_result = false;
  test_light_behaviour().activate_error = 6;
  light_->light_on = 1;

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(light_->light_on, 1);
  EXPECT_EQ(log_.lines(), Lines{});
}

class RequestedIntensity : public LedBaseIntensity {
 protected:
  void SetUp() override {
    LedBaseIntensity::SetUp();
    light_->intensity = 50;
    light_->individual_intensity_support = TRUE;
    light_->has_automatic_intensity = TRUE;
    light_->automatic_intensity = TRUE;
    for (gint led = 0; led < 3; ++led) {
      light_->manual_intensities[led] = 10 * (led + 1);
      light_->automatic_intensities[led] = 10 * (led + 1) + 5;
    }
  }

  gint requested(gint led) { return led_base_get_requested_intensity(light_.get(), led); }
};

TEST_F(RequestedIntensity, OfAnLedThatIsNotThereIsZero) {
  EXPECT_EQ(requested(-1), 0);
  EXPECT_EQ(requested(3), 0);
  EXPECT_EQ(requested(INT_MIN), 0);
  EXPECT_EQ(requested(INT_MAX), 0);
  light_->individual_intensity_support = FALSE;
  EXPECT_EQ(requested(3), 0);
}

TEST_F(RequestedIntensity, WithoutIndividualSupportIsTheLights) {
  light_->individual_intensity_support = FALSE;

  EXPECT_EQ(requested(0), 50);
  EXPECT_EQ(requested(2), 50);
}

TEST_F(RequestedIntensity, IsTheAutomaticLevelWhenAutomatic) {
  EXPECT_EQ(requested(0), 15);
  EXPECT_EQ(requested(2), 35);
}

TEST_F(RequestedIntensity, IsTheManualLevelWhenManual) {
  light_->automatic_intensity = FALSE;

  EXPECT_EQ(requested(0), 10);
  EXPECT_EQ(requested(2), 30);
}

TEST_F(RequestedIntensity, IsTheManualLevelWhenThereIsNoAutomatic) {
  light_->has_automatic_intensity = FALSE;

  EXPECT_EQ(requested(0), 10);
}

TEST_F(RequestedIntensity, NeverExceedsTheLights) {
  light_->intensity = 20;
  for (const bool automatic : {false, true}) {
    light_->automatic_intensity = automatic;
    for (gint led = 0; led < 3; ++led)
      EXPECT_LE(requested(led), 20);
    EXPECT_EQ(requested(2), 20);
  }
}

class IndividualLevels : public LedBaseIntensity {
 protected:
  void SetUp() override {
    LedBaseIntensity::SetUp();
    light_->individual_intensity_support = TRUE;
    for (gint led = 0; led < 3; ++led) {
      light_->manual_intensities[led] = led + 1;
      light_->automatic_intensities[led] = led + 11;
    }
    files_.write_state(kBefore);
    light_->state_filename = g_strdup(files_.state_path().c_str());
    light_->state = parsed(kBefore).release();
  }

  gint level(gint led, gint type) { return led_base_get_individual_led_intensity(light_.get(), led, type); }

  bool set_level(gint led, gint value, gint type) {
    return led_base_set_individual_led_intensity(light_.get(), led, value, type);
  }

  static constexpr const char *kBefore = "[common]\nintensity=80\nintensities=1;2;3;\n";
  LightFiles files_;
};

TEST_F(IndividualLevels, AreReadByLedAndType) {
  EXPECT_EQ(level(0, kManual), 1);
  EXPECT_EQ(level(2, kManual), 3);
  EXPECT_EQ(level(0, kAutomatic), 11);
  EXPECT_EQ(level(2, kAutomatic), 13);
}

TEST_F(IndividualLevels, OfAnLedThatIsNotThereAreInvalid) {
  EXPECT_EQ(level(-1, kManual), -2);
  EXPECT_EQ(level(3, kManual), -2);
  light_->individual_intensity_support = FALSE;
  EXPECT_EQ(level(3, kManual), -2);
}

TEST_F(IndividualLevels, WithoutSupportAreNotSupported) {
  light_->individual_intensity_support = FALSE;

  EXPECT_EQ(level(0, kManual), -1);
  EXPECT_EQ(level(0, 7), -1);
}

TEST_F(IndividualLevels, OfAnUnknownTypeAreInvalid) {
  EXPECT_EQ(level(0, 2), -2);
  EXPECT_EQ(level(0, -1), -2);
}

TEST_F(IndividualLevels, AManualOneIsStoredAndApplied) {
  light_->light_on = 1;

  EXPECT_TRUE(set_level(1, 60, kManual));

  EXPECT_EQ(light_->manual_intensities[1], 60);
  EXPECT_EQ(light_->automatic_intensities[1], 12);
  EXPECT_EQ(read_file(files_.state_path()), "[common]\nintensity=80\nintensities=1;60;3;\n");
  EXPECT_EQ(recorded_calls(), (Calls{"request_power", "recalculate 30", "activate 1"}));
}

TEST_F(IndividualLevels, AnAutomaticOneIsAppliedButNotStored) {
  light_->light_on = 1;

  EXPECT_TRUE(set_level(2, 60, kAutomatic));

  EXPECT_EQ(light_->automatic_intensities[2], 60);
  EXPECT_EQ(light_->manual_intensities[2], 3);
  EXPECT_EQ(read_file(files_.state_path()), kBefore);
  EXPECT_EQ(text_of(KeyFile{g_key_file_ref(light_->state)}), kBefore);
  EXPECT_EQ(recorded_calls(), (Calls{"request_power", "recalculate 30", "activate 1"}));
}

TEST_F(IndividualLevels, OfADarkLightAreStoredAndRecalculated) {
  EXPECT_TRUE(set_level(0, 60, kManual));

  EXPECT_EQ(read_file(files_.state_path()), "[common]\nintensity=80\nintensities=60;2;3;\n");
  EXPECT_EQ(recorded_calls(), Calls{"recalculate 30"});
}

TEST_F(IndividualLevels, ThatCannotBeStoredAreKeptButNotApplied) {
  std::filesystem::remove(files_.state_path());
  light_->light_on = 1;

  EXPECT_FALSE(set_level(1, 60, kManual));

  EXPECT_EQ(light_->manual_intensities[1], 60);
  EXPECT_EQ(recorded_calls(), Calls{});
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Store state failed: readlink"}}));
}

TEST_F(IndividualLevels, OfALightWithoutStateAreKeptButNotApplied) {
  g_clear_pointer(&light_->state, g_key_file_unref);
  light_->light_on = 1;

  EXPECT_FALSE(set_level(1, 60, kManual));
  EXPECT_EQ(light_->manual_intensities[1], 60);
  EXPECT_EQ(read_file(files_.state_path()), kBefore);
  EXPECT_EQ(recorded_calls(), Calls{});

  EXPECT_TRUE(set_level(1, 70, kAutomatic));
  EXPECT_EQ(light_->automatic_intensities[1], 70);
}

TEST_F(IndividualLevels, RefuseAnLedThatIsNotThere) {
  for (const gint type : {kManual, kAutomatic}) {
    EXPECT_FALSE(set_level(-1, 60, type));
    EXPECT_FALSE(set_level(3, 60, type));
  }
  EXPECT_EQ(read_file(files_.state_path()), kBefore);
  EXPECT_EQ(recorded_calls(), Calls{});
}

TEST_F(IndividualLevels, WithoutSupportAreRefused) {
  light_->individual_intensity_support = FALSE;

  EXPECT_FALSE(set_level(0, 60, kManual));
  EXPECT_FALSE(set_level(0, 60, kAutomatic));

  EXPECT_EQ(light_->manual_intensities[0], 1);
  EXPECT_EQ(light_->automatic_intensities[0], 11);
  EXPECT_EQ(recorded_calls(), Calls{});
}

TEST_F(IndividualLevels, OfAnUnknownTypeAreRefused) {
  EXPECT_FALSE(set_level(0, 60, 2));
  EXPECT_FALSE(set_level(0, 60, -1));

  EXPECT_EQ(light_->manual_intensities[0], 1);
  EXPECT_EQ(light_->automatic_intensities[0], 11);
  EXPECT_EQ(recorded_calls(), Calls{});
}

TEST_F(IndividualLevels, OfALightThatNeverGotItsArraysDoNoHarm) {
  g_clear_pointer(&light_->manual_intensities, g_free);
  g_clear_pointer(&light_->automatic_intensities, g_free);
  light_->intensity = 50;

  EXPECT_FALSE(set_level(0, 60, kManual));
  EXPECT_FALSE(set_level(0, 60, kAutomatic));
  EXPECT_LE(level(0, kManual), 0);
  EXPECT_LE(level(0, kAutomatic), 0);
  EXPECT_EQ(led_base_get_requested_intensity(light_.get(), 0), 0);
}

class AutomaticIntensity : public LedBaseIntensity {
 protected:
  void SetUp() override {
    LedBaseIntensity::SetUp();
    light_->has_automatic_intensity = TRUE;
    light_->has_manual_intensity = TRUE;
    light_->intensity = 80;
    light_->manual_intensity = 40;
  }
};

TEST_F(AutomaticIntensity, KeepsTheIntensityWhenAutomatic) {
  light_->automatic_intensity = TRUE;

  led_base_set_automatic_intensity(light_.get());

  EXPECT_EQ(light_->intensity, 80);
  EXPECT_EQ(recorded_calls(), Calls{"recalculate 30"});
}

TEST_F(AutomaticIntensity, OverwritesTheIntensityWithTheManualOneWhenManual) {
  light_->automatic_intensity = FALSE;

  led_base_set_automatic_intensity(light_.get());

  EXPECT_EQ(light_->intensity, 40);
  EXPECT_EQ(recorded_calls(), Calls{"recalculate 30"});
}

TEST_F(AutomaticIntensity, DoesNothingUnlessBothKindsAreThere) {
  light_->has_manual_intensity = FALSE;
  led_base_set_automatic_intensity(light_.get());
  light_->has_manual_intensity = TRUE;
  light_->has_automatic_intensity = FALSE;
  led_base_set_automatic_intensity(light_.get());

  EXPECT_EQ(light_->intensity, 80);
  EXPECT_EQ(recorded_calls(), Calls{});
}

TEST_F(AutomaticIntensity, GoesThroughTheDriversSetIntensity) {
  const ChangedSlots slots{light_.get()};
  slots->set_intensity = [](LedBase *, gint value) {
    recorded_calls().push_back("intensity " + std::to_string(value));
  };

  led_base_set_automatic_intensity(light_.get());
  light_->automatic_intensity = TRUE;
  led_base_set_automatic_intensity(light_.get());
  EXPECT_EQ(recorded_calls(), (Calls{"intensity 40", "intensity 80"}));

  slots->set_intensity = nullptr;
  led_base_set_automatic_intensity(light_.get());
  EXPECT_EQ(light_->intensity, 80);
}

TEST_F(AutomaticIntensity, LeavesItToADriverWithAWayOfItsOwn) {
  const ChangedSlots slots{light_.get()};
  slots->set_automatic_intensity = [](LedBase *) { recorded_calls().emplace_back("automatic"); };

  led_base_set_automatic_intensity(light_.get());
  EXPECT_EQ(recorded_calls(), Calls{"automatic"});
  EXPECT_EQ(light_->intensity, 80);

  light_->has_manual_intensity = FALSE;
  led_base_set_automatic_intensity(light_.get());
  EXPECT_EQ(recorded_calls(), Calls{"automatic"});
}

}  // namespace
