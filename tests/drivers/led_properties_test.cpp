// The properties of a light that concern its intensity and day/night synchronisation.

#include <gmock/gmock.h>

#include "support/served_light_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

const LightReply kNoSync =
    refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Day Night Synchronize is not supported");
const LightReply kNoAutomatic =
    refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Automatic Intensity is not supported");
const LightReply kNoManual = refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Manual Intensity is not supported");

/// In manual mode, with the manual intensity 60 and an automatic one of 80 that stands nowhere any more.
class LedProperties : public ServedLight {
 protected:
  LightReply get(const char *property) const { return bus_->get(LED_INTERFACE_COMMON, property); }
  LightReply set(const char *property, const char *value) const {
    return bus_->set(LED_INTERFACE_COMMON, property, value);
  }
};

TEST_F(LedProperties, SyncDayNightIsReadWrittenAndStored) {
  EXPECT_EQ(get("SyncDayNight"), answered("(<true>,)"));
  EXPECT_EQ(set("SyncDayNight", "false"), answered());
  EXPECT_FALSE(light_->sync_day_night);
  EXPECT_EQ(get("SyncDayNight"), answered("(<false>,)"));
  EXPECT_EQ(stored("common", "syncdaynight"), "false");
  EXPECT_EQ(set("SyncDayNight", "true"), answered());
  EXPECT_EQ(stored("common", "syncdaynight"), "true");
  EXPECT_THAT(recorded_calls(), IsEmpty());
}

TEST_F(LedProperties, SyncDayNightNeedsItsKey) {
  serve({{{"common", "syncdaynight"}, std::nullopt}});
  EXPECT_EQ(get("SyncDayNight"), kNoSync);
  EXPECT_EQ(set("SyncDayNight", "true"), kNoSync);
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedProperties, UseDayNightIsTheOppositeOfTheManualOverride) {
  EXPECT_EQ(get("UseDayNight"), answered("(<false>,)"));
  light_->use_manual_override = FALSE;
  EXPECT_EQ(get("UseDayNight"), answered("(<true>,)"));
}

TEST_F(LedProperties, AutomaticIntensityIsReadWrittenAndStored) {
  EXPECT_EQ(get("AutomaticIntensity"), answered("(<false>,)"));
  EXPECT_EQ(set("AutomaticIntensity", "true"), answered());
  EXPECT_TRUE(light_->automatic_intensity);
  EXPECT_EQ(get("AutomaticIntensity"), answered("(<true>,)"));
  EXPECT_EQ(stored("common", "automaticintensity"), "true");
}

TEST_F(LedProperties, AutomaticIntensityAppliesTheIntensityItSelects) {
  light_->intensity = 75;
  EXPECT_EQ(set("AutomaticIntensity", "true"), answered());
  EXPECT_EQ(light_->intensity, 75);
  EXPECT_EQ(set("AutomaticIntensity", "false"), answered());
  EXPECT_EQ(light_->intensity, 60);
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 50", "recalculate 50"));
}

TEST_F(LedProperties, AutomaticIntensityThatIsNoChangeIsOnlyStored) {
  light_->intensity = 75;
  EXPECT_EQ(set("AutomaticIntensity", "false"), answered());
  EXPECT_EQ(light_->intensity, 75);
  EXPECT_THAT(recorded_calls(), IsEmpty());
  EXPECT_TRUE(state_file_was_written());
}

TEST_F(LedProperties, AutomaticIntensityOfALightWithoutManualIntensityIsOnlyStored) {
  serve({{{"common", "manualintensity"}, std::nullopt}});
  EXPECT_EQ(set("AutomaticIntensity", "true"), answered());
  EXPECT_THAT(recorded_calls(), IsEmpty());
  EXPECT_EQ(stored("common", "automaticintensity"), "true");
}

TEST_F(LedProperties, AutomaticIntensityNeedsItsKey) {
  serve({{{"common", "automaticintensity"}, std::nullopt}});
  EXPECT_EQ(get("AutomaticIntensity"), kNoAutomatic);
  EXPECT_EQ(set("AutomaticIntensity", "true"), kNoAutomatic);
  EXPECT_FALSE(light_->automatic_intensity);
  EXPECT_FALSE(state_file_was_written());
  EXPECT_THAT(recorded_calls(), IsEmpty());
}

TEST_F(LedProperties, ManualSetIntensityIsReadWrittenAppliedAndStored) {
  EXPECT_EQ(get("ManualSetIntensity"), answered("(<60>,)"));
  EXPECT_EQ(set("ManualSetIntensity", "70"), answered());
  EXPECT_EQ(get("ManualSetIntensity"), answered("(<70>,)"));
  EXPECT_EQ(light_->intensity, 70);
  EXPECT_EQ(stored("common", "manualintensity"), "70");
  EXPECT_EQ(stored("common", "intensity"), "80");
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 50"));
}

TEST_F(LedProperties, ManualSetIntensityIsNotHeldToTheRange) {
  EXPECT_EQ(set("ManualSetIntensity", "100000"), answered());
  EXPECT_EQ(light_->intensity, 100000);
  EXPECT_EQ(set("ManualSetIntensity", "-5"), answered());
  EXPECT_EQ(light_->intensity, -5);
  EXPECT_EQ(stored("common", "manualintensity"), "-5");
}

TEST_F(LedProperties, ManualSetIntensityThatIsNoChangeIsOnlyStored) {
  light_->intensity = 75;
  EXPECT_EQ(set("ManualSetIntensity", "60"), answered());
  EXPECT_EQ(light_->intensity, 75);
  EXPECT_THAT(recorded_calls(), IsEmpty());
  EXPECT_TRUE(state_file_was_written());
}

TEST_F(LedProperties, ManualSetIntensityInAutomaticModeIsOnlyStored) {
  light_->automatic_intensity = TRUE;
  EXPECT_EQ(set("ManualSetIntensity", "70"), answered());
  EXPECT_EQ(light_->manual_intensity, 70);
  EXPECT_EQ(light_->intensity, 60);
  EXPECT_THAT(recorded_calls(), IsEmpty());
  EXPECT_EQ(stored("common", "manualintensity"), "70");
  EXPECT_EQ(set("AutomaticIntensity", "false"), answered());
  EXPECT_EQ(light_->intensity, 70);
}

TEST_F(LedProperties, ManualSetIntensityOfALightWithoutAutomaticModeIsOnlyStored) {
  serve({{{"common", "automaticintensity"}, std::nullopt}});
  EXPECT_EQ(set("ManualSetIntensity", "70"), answered());
  EXPECT_EQ(light_->intensity, 80);
  EXPECT_THAT(recorded_calls(), IsEmpty());
  EXPECT_EQ(stored("common", "manualintensity"), "70");
}

TEST_F(LedProperties, ManualSetIntensityNeedsItsKey) {
  serve({{{"common", "manualintensity"}, std::nullopt}});
  EXPECT_EQ(get("ManualSetIntensity"), kNoManual);
  EXPECT_EQ(set("ManualSetIntensity", "70"), kNoManual);
  EXPECT_EQ(light_->manual_intensity, 0);
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedProperties, WritesDoNotTellThatTheyCouldNotBeStored) {
  std::filesystem::remove(files_.state_path());
  EXPECT_EQ(set("SyncDayNight", "false"), answered());
  EXPECT_EQ(set("AutomaticIntensity", "true"), answered());
  EXPECT_EQ(set("ManualSetIntensity", "70"), answered());
  const Line cannot_store{LOG_ERR, "Store state failed: readlink"};
  EXPECT_THAT(log_.lines(), ElementsAre(cannot_store, cannot_store, cannot_store));
  EXPECT_FALSE(light_->sync_day_night);
  EXPECT_TRUE(light_->automatic_intensity);
  EXPECT_EQ(light_->manual_intensity, 70);
}

TEST_F(LedProperties, EachWriteKeepsTheOtherKeys) {
  EXPECT_EQ(set("SyncDayNight", "false"), answered());
  EXPECT_EQ(set("ManualSetIntensity", "70"), answered());
  light_ = fresh_light();
  ASSERT_TRUE(set_up());
  EXPECT_FALSE(light_->sync_day_night);
  EXPECT_EQ(light_->manual_intensity, 70);
  EXPECT_EQ(light_->aoi_high, 90);
  EXPECT_EQ(light_->rampdown_time, 250000);
}

}  // namespace
