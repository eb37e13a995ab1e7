// The methods of a light's bus object.

#include <gmock/gmock.h>

#include "support/served_light_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

const Line kCannotStore{LOG_ERR, "Store state failed: readlink"};

class LedMethods : public ServedLight {
 protected:
  LightReply common(const char *method, const std::string &arguments = "()") const {
    return bus_->call(kCommon, method, arguments);
  }
  LightReply zoom(const char *method, const std::string &arguments = "()") const {
    return bus_->call(kZoom, method, arguments);
  }
};

TEST_F(LedMethods, ActivateLightSwitchesOnAndOff) {
  EXPECT_EQ(common("GetLightStatus"), answered("(false,)"));
  EXPECT_EQ(common("ActivateLight", "(true,)"), answered());
  EXPECT_TRUE(light_->activate);
  EXPECT_EQ(common("GetLightStatus"), answered("(true,)"));
  EXPECT_EQ(common("ActivateLight", "(false,)"), answered());
  EXPECT_FALSE(light_->activate);
  EXPECT_EQ(common("GetLightStatus"), answered("(false,)"));
  EXPECT_THAT(recorded_calls(), ElementsAre("activate 1", "activate 0"));
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedMethods, ActivateLightOfADisabledLightKeepsItDark) {
  light_->enabled = FALSE;
  EXPECT_EQ(common("ActivateLight", "(true,)"), answered());
  EXPECT_TRUE(light_->activate);
  EXPECT_EQ(light_->light_on, 0);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Light is disabled, will not activate light."}));
  EXPECT_THAT(recorded_calls(), ElementsAre("activate 0"));
}

TEST_F(LedMethods, DeactivatingADisabledLightSaysNothing) {
  light_->enabled = FALSE;
  EXPECT_EQ(common("ActivateLight", "(false,)"), answered());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LedMethods, ActivateLightThatFailsWithoutAReasonIsAnswered) {
  test_light_behaviour().activate_result = false;
  EXPECT_EQ(common("ActivateLight", "(true,)"), answered());
  EXPECT_EQ(light_->light_on, 0);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Unable to activate light"}));
}

TEST_F(LedMethods, ActivateLightPassesOnTheDriversError) {
  test_light_behaviour().activate_result = false;
  for (const int code : {LIGHT_CONTROL_ERROR_VARIANT, LIGHT_CONTROL_ERROR_NOT_SUPPORTED}) {
    test_light_behaviour().activate_error = code;
    EXPECT_EQ(common("ActivateLight", "(true,)"), refused(code, "the test says so"));
  }
  EXPECT_EQ(light_->light_on, 0);
}

TEST_F(LedMethods, ActivateLightPassesOnTheErrorOfADriverThatSwitched) {
  test_light_behaviour().activate_error = LIGHT_CONTROL_ERROR_NOT_SUPPORTED;
  EXPECT_EQ(common("ActivateLight", "(true,)"),
            refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "the test says so"));
  EXPECT_EQ(light_->light_on, 1);
}

TEST_F(LedMethods, ActivateLightOfALightThatCannotSwitchIsAnswered) {
  serve({}, TEST_TYPE_BARE_LIGHT);
  EXPECT_EQ(common("ActivateLight", "(true,)"), answered());
  EXPECT_EQ(common("GetLightStatus"), answered("(false,)"));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Unable to activate light"}));
}

TEST_F(LedMethods, LightStatusIsTrueForOneOnly) {
  light_->light_on = 2;
  EXPECT_EQ(common("GetLightStatus"), answered("(false,)"));
}

TEST_F(LedMethods, SetManualOnIsOnlyRemembered) {
  EXPECT_EQ(common("SetManualOn", "(true,)"), answered());
  EXPECT_TRUE(light_->manual_on);
  EXPECT_EQ(common("SetManualOn", "(false,)"), answered());
  EXPECT_FALSE(light_->manual_on);
  EXPECT_THAT(recorded_calls(), IsEmpty());
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedMethods, SetIntensityTakesTheWholeRange) {
  for (const int value : {10, 55, 100}) {
    EXPECT_EQ(common("SetIntensity", "(" + std::to_string(value) + ",)"), answered());
    EXPECT_EQ(common("GetIntensity"), answered("(" + std::to_string(value) + ",)"));
  }
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 50", "recalculate 50", "recalculate 50"));
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedMethods, SetIntensityOfTheHighestSucceedsAndOneMoreFails) {
  EXPECT_EQ(common("SetIntensity", "(100,)"), answered());
  EXPECT_EQ(common("SetIntensity", "(101,)"), kInvalidIntensity);
  EXPECT_EQ(light_->intensity, 100);
}

TEST_F(LedMethods, SetIntensityOutOfRangeChangesNothing) {
  for (const char *value : {"(9,)", "(101,)", "(-2147483648,)", "(2147483647,)"})
    EXPECT_EQ(common("SetIntensity", value), kInvalidIntensity) << value;
  EXPECT_EQ(light_->intensity, 60);
  EXPECT_THAT(recorded_calls(), IsEmpty());
}

TEST_F(LedMethods, IntensityOfALightThatHasNone) {
  serve({}, TEST_TYPE_BARE_LIGHT);
  const gint before = light_->intensity;
  EXPECT_EQ(common("SetIntensity", "(50,)"), answered());
  EXPECT_EQ(light_->intensity, before);
  EXPECT_EQ(common("GetIntensity"), answered("(-1,)"));
}

TEST_F(LedMethods, SetEnabledSwitchesWhatWasActivated) {
  light_->enabled = FALSE;
  light_->activate = TRUE;
  EXPECT_EQ(common("SetEnabled", "(true,)"), answered());
  EXPECT_EQ(light_->light_on, 1);
  EXPECT_EQ(common("GetEnabled"), answered("(true,)"));
  EXPECT_EQ(common("SetEnabled", "(false,)"), answered());
  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(common("GetEnabled"), answered("(false,)"));
  EXPECT_TRUE(light_->activate);
  EXPECT_THAT(recorded_calls(), ElementsAre("activate 1", "activate 0"));
}

TEST_F(LedMethods, SetEnabledIsStored) {
  EXPECT_EQ(common("SetEnabled", "(false,)"), answered());
  EXPECT_EQ(stored("common", "enable"), "false");
  EXPECT_TRUE(state_file_was_written());
  EXPECT_EQ(common("SetEnabled", "(true,)"), answered());
  EXPECT_EQ(stored("common", "enable"), "true");
  EXPECT_EQ(stored("common", "ledtype"), "IR");
}

std::string stored_while_switching;

gboolean look_at_the_file(LedBase *light, gboolean, GError **) {
  stored_while_switching = read_file(light->state_filename);
  return TRUE;
}

TEST_F(LedMethods, SetEnabledSwitchesBeforeItStores) {
  const auto before = read_file(files_.state_path());
  const ChangedSlots slots{light_.get()};
  slots->activate_light = look_at_the_file;
  EXPECT_EQ(common("SetEnabled", "(false,)"), answered());
  EXPECT_EQ(stored_while_switching, before);
}

TEST_F(LedMethods, SetEnabledDropsTheDriversError) {
  test_light_behaviour().activate_result = false;
  test_light_behaviour().activate_error = LIGHT_CONTROL_ERROR_NO_BOARD;
  EXPECT_EQ(common("SetEnabled", "(false,)"), answered());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Unable to deactivate light"}));
  EXPECT_EQ(stored("common", "enable"), "false");
}

TEST_F(LedMethods, SetEnabledDoesNotTellThatItCouldNotStore) {
  std::filesystem::remove(files_.state_path());
  EXPECT_EQ(common("SetEnabled", "(false,)"), answered());
  EXPECT_FALSE(light_->enabled);
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotStore));
  EXPECT_FALSE(std::filesystem::exists(files_.state_path()));
}

TEST_F(LedMethods, DayNightSynchronisationCountsThoseWhoDisableIt) {
  EXPECT_EQ(common("GetEnableSyncDayNight"), answered("(true,)"));
  EXPECT_EQ(common("SetEnableSyncDayNight", "(false,)"), answered());
  EXPECT_EQ(common("SetEnableSyncDayNight", "(false,)"), answered());
  EXPECT_EQ(common("SetEnableSyncDayNight", "(true,)"), answered());
  EXPECT_EQ(common("GetEnableSyncDayNight"), answered("(false,)"));
  EXPECT_EQ(light_->sync_disable_count, 1);
  EXPECT_EQ(common("SetEnableSyncDayNight", "(true,)"), answered());
  EXPECT_EQ(common("GetEnableSyncDayNight"), answered("(true,)"));
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedMethods, DayNightSynchronisationIsNeverDisabledByLessThanNobody) {
  EXPECT_EQ(common("SetEnableSyncDayNight", "(true,)"), answered());
  EXPECT_EQ(light_->sync_disable_count, 0);
  EXPECT_EQ(common("SetEnableSyncDayNight", "(false,)"), answered());
  EXPECT_EQ(common("GetEnableSyncDayNight"), answered("(false,)"));
}

TEST_F(LedMethods, ManualOnSuspendsDayNightSynchronisationWhereOverridingIsConfigured) {
  EXPECT_EQ(common("SetManualOn", "(true,)"), answered());
  EXPECT_EQ(common("GetEnableSyncDayNight"), answered("(false,)"));
  EXPECT_EQ(common("SetManualOn", "(false,)"), answered());
  EXPECT_EQ(common("GetEnableSyncDayNight"), answered("(true,)"));

  light_->use_manual_override = FALSE;
  EXPECT_EQ(common("SetManualOn", "(true,)"), answered());
  EXPECT_EQ(common("GetEnableSyncDayNight"), answered("(true,)"));
}

TEST_F(LedMethods, FactsAboutTheLight) {
  EXPECT_EQ(common("GetLEDType"), answered("('IR',)"));
  EXPECT_EQ(common("GetNumberOfLEDs"), answered("(2,)"));
  EXPECT_EQ(common("GetValidIntensities"), answered("(<(10, 100)>,)"));
}

TEST_F(LedMethods, SetPowerTakesTheGrant) {
  EXPECT_EQ(bus_->call(kPower, "SetPower", "(2.5,)"), answered());
  EXPECT_EQ(light_->power_intensity, 2.5);
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 50"));

  light_->light_on = 1;
  EXPECT_EQ(bus_->call(kPower, "SetPower", "(7.5,)"), answered());
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 50", "recalculate 50", "activate 1"));
}

TEST_F(LedMethods, ChangeAngleTakesTheWholeRange) {
  for (const int angle : {0, 45, 90}) {
    EXPECT_EQ(zoom("ChangeAngleOfIllumination", "(" + std::to_string(angle) + ",)"), answered());
    EXPECT_EQ(zoom("GetCurrentAngleOfIllumination"), answered("(" + std::to_string(angle) + ",)"));
    EXPECT_EQ(stored("zoom", "angleofillumination"), std::to_string(angle));
  }
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 0", "recalculate 45", "recalculate 90"));
}

TEST_F(LedMethods, ChangeAngleOutOfRangeChangesNothing) {
  for (const char *angle : {"(-1,)", "(91,)"})
    EXPECT_EQ(zoom("ChangeAngleOfIllumination", angle), kInvalidAngle) << angle;
  EXPECT_EQ(light_->angle_of_illumination, 50);
  EXPECT_THAT(recorded_calls(), IsEmpty());
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedMethods, ChangeAngleDoesNotTellThatItCouldNotStore) {
  std::filesystem::remove(files_.state_path());
  EXPECT_EQ(zoom("ChangeAngleOfIllumination", "(45,)"), answered());
  EXPECT_EQ(light_->angle_of_illumination, 45);
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotStore));
}

TEST_F(LedMethods, AngleOfALightThatTakesNone) {
  serve({}, TEST_TYPE_BARE_LIGHT);
  EXPECT_EQ(zoom("ChangeAngleOfIllumination", "(45,)"), answered());
  EXPECT_EQ(light_->angle_of_illumination, 0);
  EXPECT_EQ(zoom("GetCurrentAngleOfIllumination"), answered("(-1,)"));
}

TEST_F(LedMethods, ValidAngles) { EXPECT_EQ(zoom("GetValidAngleOfViews"), answered("(<(0, 90)>,)")); }

TEST_F(LedMethods, LightWithoutZoomGroupRefusesEveryZoomMethod) {
  serve({{{"zoom", "automaticangleofillumination"}, std::nullopt},
         {{"zoom", "angleofillumination"}, std::nullopt},
         {{"zoom", "angleofilluminationLOW"}, std::nullopt},
         {{"zoom", "angleofilluminationHIGH"}, std::nullopt}});
  EXPECT_EQ(zoom("ChangeAngleOfIllumination", "(0,)"), kNoAngle);
  EXPECT_EQ(zoom("ChangeAngleOfIllumination", "(1000,)"), kNoAngle);
  EXPECT_EQ(zoom("GetCurrentAngleOfIllumination"), kNoAngle);
  EXPECT_EQ(zoom("GetValidAngleOfViews"), kNoAngle);
  EXPECT_THAT(recorded_calls(), IsEmpty());
}

}  // namespace
