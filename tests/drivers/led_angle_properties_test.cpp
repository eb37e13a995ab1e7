// The properties of a light that concern its angle of illumination.

#include <gmock/gmock.h>

#include "led/led_service.h"
#include "support/served_light_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

const LightReply kNoAutomatic =
    refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Automatic Angle of illumination is not supported");
const LightReply kNoManual =
    refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Manual Angle of illumination is not supported");
const LightReply kNoManualToFallBackOn =
    refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED,
            "Automatic Angle of illumination can not be disabled, no manual angle of illumination support.");

/// In automatic mode at 50, with the manual angle 35, in a range of 0 to 90.
class LedAngleProperties : public ServedLight {
 protected:
  struct Written {
    gboolean result;
    LightReply error;  ///< answered() when none was set
  };

  LightReply get(const char *property) const { return bus_->get(LED_INTERFACE_ZOOM, property); }
  LightReply set(const char *property, const char *value) const {
    return bus_->set(LED_INTERFACE_ZOOM, property, value);
  }

  /// Calls the handler itself: over the bus an error beside success gets lost.
  Written write_directly(const char *property, GVariant *floating) const {
    g_autoptr(GVariant) value = g_variant_ref_sink(floating);
    g_autoptr(GError) error = nullptr;
    const gboolean result = led_base_handle_dbus_set_property(nullptr, nullptr, nullptr, LED_INTERFACE_ZOOM,
                                                              property, value, &error, light_.get());
    return {result, error != nullptr ? refused(error->code, error->message) : answered()};
  }
};

TEST_F(LedAngleProperties, AutomaticAngleIsReadWrittenAndStored) {
  EXPECT_EQ(get("AutomaticAngleOfIllumination"), answered("(<true>,)"));
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "false"), answered());
  EXPECT_FALSE(light_->automatic_aoi);
  EXPECT_EQ(get("AutomaticAngleOfIllumination"), answered("(<false>,)"));
  EXPECT_EQ(stored("zoom", "automaticangleofillumination"), "false");
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "true"), answered());
  EXPECT_EQ(stored("zoom", "automaticangleofillumination"), "true");
}

TEST_F(LedAngleProperties, SwitchingAutomaticAngleOffAppliesTheManualAngle) {
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "false"), answered());
  EXPECT_EQ(light_->angle_of_illumination, 35);
  EXPECT_EQ(stored("zoom", "angleofillumination"), "35");
  light_->angle_of_illumination = 70;
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "false"), answered());
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 35", "recalculate 35"));
}

TEST_F(LedAngleProperties, SwitchingAutomaticAngleOnLeavesTheAngle) {
  light_->automatic_aoi = FALSE;
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "true"), answered());
  EXPECT_TRUE(light_->automatic_aoi);
  EXPECT_EQ(light_->angle_of_illumination, 50);
  EXPECT_THAT(recorded_calls(), IsEmpty());
  EXPECT_TRUE(state_file_was_written());
}

TEST_F(LedAngleProperties, AutomaticAngleNeedsItsKey) {
  serve({{{"zoom", "automaticangleofillumination"}, std::nullopt}});
  EXPECT_EQ(get("AutomaticAngleOfIlluminationSupp"), answered("(<false>,)"));
  EXPECT_EQ(get("AutomaticAngleOfIllumination"), kNoAutomatic);
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "true"), kNoAutomatic);
  light_->has_manual_aoi = FALSE;
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "false"), kNoAutomatic);
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedAngleProperties, AutomaticAngleNeedsAManualAngleToBeWritten) {
  serve({{{"common", "manualangleofillumination"}, std::nullopt}});
  EXPECT_EQ(get("AutomaticAngleOfIllumination"), answered("(<true>,)"));
  for (const char *value : {"true", "false"})
    EXPECT_EQ(set("AutomaticAngleOfIllumination", value), kNoManualToFallBackOn) << value;
  EXPECT_TRUE(light_->automatic_aoi);
  EXPECT_THAT(recorded_calls(), IsEmpty());
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedAngleProperties, ManualAngleIsReadWrittenAndStored) {
  EXPECT_EQ(get("ManualSetAngleOfIllumination"), answered("(<35>,)"));
  for (const char *angle : {"0", "45", "90"}) {
    EXPECT_EQ(set("ManualSetAngleOfIllumination", angle), answered());
    EXPECT_EQ(get("ManualSetAngleOfIllumination"), answered(std::string{"(<"} + angle + ">,)"));
    EXPECT_EQ(stored("common", "manualangleofillumination"), angle);
  }
  EXPECT_EQ(light_->manual_aoi, 90);
}

TEST_F(LedAngleProperties, ManualAngleTakesEffectWhenAutomaticAngleIsSwitchedOff) {
  light_->automatic_aoi = FALSE;
  EXPECT_EQ(set("ManualSetAngleOfIllumination", "20"), answered());
  EXPECT_EQ(light_->angle_of_illumination, 50);
  EXPECT_EQ(stored("zoom", "angleofillumination"), "50");
  EXPECT_THAT(recorded_calls(), IsEmpty());

  EXPECT_EQ(set("AutomaticAngleOfIllumination", "true"), answered());
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "false"), answered());
  EXPECT_EQ(light_->angle_of_illumination, 20);
}

TEST_F(LedAngleProperties, ManualAngleOutOfRangeIsRefused) {
  for (const char *angle : {"-1", "91"})
    EXPECT_EQ(set("ManualSetAngleOfIllumination", angle), kInvalidAngle) << angle;
  EXPECT_EQ(light_->manual_aoi, 35);
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedAngleProperties, ManualAngleNeedsItsKey) {
  serve({{{"common", "manualangleofillumination"}, std::nullopt}});
  EXPECT_EQ(get("ManualSetAngleOfIllumination"), kNoManual);
  EXPECT_EQ(set("ManualSetAngleOfIllumination", "20"), kNoManual);
  EXPECT_EQ(set("ManualSetAngleOfIllumination", "91"), kNoManual);
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedAngleProperties, WithoutAnAngleOnlyTheSupportIsTold) {
  light_->has_angle_of_illumination = FALSE;
  EXPECT_EQ(get("AutomaticAngleOfIlluminationSupp"), answered("(<true>,)"));
  EXPECT_EQ(get("AutomaticAngleOfIllumination"), kNoAngle);
  EXPECT_EQ(get("ManualSetAngleOfIllumination"), kNoAngle);
  light_->has_automatic_aoi = FALSE;
  light_->has_manual_aoi = FALSE;
  EXPECT_EQ(get("AutomaticAngleOfIlluminationSupp"), answered("(<false>,)"));
  EXPECT_EQ(get("AutomaticAngleOfIllumination"), kNoAngle);
  EXPECT_EQ(get("ManualSetAngleOfIllumination"), kNoAngle);
}

TEST_F(LedAngleProperties, AutomaticAngleIsTakenWithAComplaintWithoutAnAngle) {
  light_->has_angle_of_illumination = FALSE;
  const auto written = write_directly("AutomaticAngleOfIllumination", g_variant_new_boolean(FALSE));
  EXPECT_TRUE(written.result);
  EXPECT_EQ(written.error, kNoAngle);
  EXPECT_FALSE(light_->automatic_aoi);
  EXPECT_EQ(stored("zoom", "automaticangleofillumination"), "false");
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 35"));
}

TEST_F(LedAngleProperties, ManualAngleIsTakenWithAComplaintWithoutAnAngle) {
  light_->has_angle_of_illumination = FALSE;
  const auto written = write_directly("ManualSetAngleOfIllumination", g_variant_new_int32(20));
  EXPECT_TRUE(written.result);
  EXPECT_EQ(written.error, kNoAngle);
  EXPECT_EQ(light_->manual_aoi, 20);
  EXPECT_EQ(stored("common", "manualangleofillumination"), "20");
}

TEST_F(LedAngleProperties, FirstComplaintIsToldWhenTheNextEndsTheWrite) {
  light_->has_angle_of_illumination = FALSE;
  light_->has_automatic_aoi = FALSE;
  light_->has_manual_aoi = FALSE;
  const auto automatic = write_directly("AutomaticAngleOfIllumination", g_variant_new_boolean(FALSE));
  EXPECT_FALSE(automatic.result);
  EXPECT_EQ(automatic.error, kNoAngle);
  const auto manual = write_directly("ManualSetAngleOfIllumination", g_variant_new_int32(20));
  EXPECT_FALSE(manual.result);
  EXPECT_EQ(manual.error, kNoAngle);
  EXPECT_FALSE(state_file_was_written());
}

TEST_F(LedAngleProperties, AngleOfALightThatTakesNoneIsOnlyStored) {
  serve({}, TEST_TYPE_BARE_LIGHT);
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "false"), answered());
  EXPECT_FALSE(light_->automatic_aoi);
  EXPECT_EQ(light_->angle_of_illumination, 0);
  EXPECT_EQ(stored("zoom", "automaticangleofillumination"), "false");
}

TEST_F(LedAngleProperties, WritesDoNotTellThatTheyCouldNotBeStored) {
  std::filesystem::remove(files_.state_path());
  EXPECT_EQ(set("AutomaticAngleOfIllumination", "true"), answered());
  EXPECT_EQ(set("ManualSetAngleOfIllumination", "20"), answered());
  const Line cannot_store{LOG_ERR, "Store state failed: readlink"};
  EXPECT_THAT(log_.lines(), ElementsAre(cannot_store, cannot_store));
  EXPECT_EQ(light_->manual_aoi, 20);
}

}  // namespace
