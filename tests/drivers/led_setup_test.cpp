// What led_base_setup() makes of its files and of the driver's answer, step by step.

#include <gmock/gmock.h>

#include "led/led_interface.h"
#include "led/led_service.h"
#include "led/light_error.h"
#include "platform/event_producer.h"
#include "support/light_setup_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using LevelList = std::vector<gint>;

LevelList levels(const gint *values, gint count) { return {values, values + count}; }

StateOverrides without_zoom() {
  return {{{"zoom", "automaticangleofillumination"}, std::nullopt},
          {{"zoom", "angleofillumination"}, std::nullopt},
          {{"zoom", "angleofilluminationLOW"}, std::nullopt},
          {{"zoom", "angleofilluminationHIGH"}, std::nullopt}};
}

class LedSetup : public LightSetup {
 protected:
  StateOverrides no_zoom_ = without_zoom();
};

/// What a slot that records nothing but a glance at the light saw of it.
struct Glance {
  gint intensity_high, intensity_low, intensity, nbr_of_interfaces, max_brightness_level, light_on;
  gfloat requested_power;
  bool has_basepath, has_sync_day_night, has_manual_intensity, has_levels, enabled, individual_support;
} seen;

void glance_at(const LedBase *light) {
  seen = {light->intensity_high,
          light->intensity_low,
          light->intensity,
          light->nbr_of_interfaces,
          light->max_brightness_level,
          light->light_on,
          light->requested_power,
          light->basepath != nullptr,
          light->has_sync_day_night != FALSE,
          light->has_manual_intensity != FALSE,
          light->manual_intensities != nullptr || light->automatic_intensities != nullptr,
          light->enabled != FALSE,
          light->individual_intensity_support != FALSE};
}

gboolean glance_in_setup(LedBase *light, GError **) {
  light->light_on = 1;
  light->requested_power = 5.0F;
  glance_at(light);
  return TRUE;
}

void glance_in_set_intensity(LedBase *light, gint) { glance_at(light); }

TEST_F(LedSetup, DriverProbesWithOnlyBasepathAndIntensityHighRead) {
  const ChangedSlots slots{light_.get()};
  slots->setup = glance_in_setup;
  EXPECT_TRUE(set_up());
  EXPECT_TRUE(seen.has_basepath);
  EXPECT_EQ(seen.intensity_high, 100);
  EXPECT_EQ(seen.intensity_low, 0);
  EXPECT_EQ(seen.intensity, 0);
  EXPECT_FALSE(seen.has_sync_day_night);
  EXPECT_FALSE(seen.enabled);
}

TEST_F(LedSetup, DriverIsNotAskedWithoutIntensityHigh) {
  EXPECT_FALSE(set_up_with({{{"common", "intensityHIGH"}, std::nullopt}}));
  EXPECT_THAT(recorded_calls(), IsEmpty());
}

TEST_F(LedSetup, LightIsOffWithNothingRequestedAfterTheProbe) {
  const ChangedSlots slots{light_.get()};
  slots->setup = glance_in_setup;
  slots->set_intensity = glance_in_set_intensity;
  EXPECT_TRUE(set_up());
  EXPECT_EQ(seen.light_on, 0);
  EXPECT_EQ(seen.requested_power, 0.0F);
  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(light_->requested_power, 0.0F);
}

TEST_F(LedSetup, DriverThatSucceedsHasItsBoard) {
  EXPECT_TRUE(set_up());
  EXPECT_TRUE(light_->card_detected);
  EXPECT_TRUE(light_->correct_poe);
}

TEST_F(LedSetup, DriverThatSucceedsWithAnErrorHasItsBoard) {
  test_light_behaviour().setup_error = LIGHT_CONTROL_ERROR_NO_BOARD;
  EXPECT_TRUE(set_up());
  EXPECT_TRUE(light_->card_detected);
}

TEST_F(LedSetup, LightWithoutADriverProbeHasItsBoard) {
  light_ = fresh_light(TEST_TYPE_BARE_LIGHT);
  EXPECT_TRUE(set_up());
  EXPECT_TRUE(light_->card_detected);
}

TEST_F(LedSetup, DriverThatFailsWithoutAReasonFailsSetup) {
  test_light_behaviour().setup_result = false;
  EXPECT_FALSE(set_up());
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_EQ(light_->intensity_low, 0);
  EXPECT_FALSE(light_->card_detected);
}

struct ProbeFailure {
  const char *name;
  int code;
  bool card_detected;
  bool correct_poe;  ///< before the power requirement is read
};

void PrintTo(const ProbeFailure &failure, std::ostream *stream) { *stream << failure.name; }

class FailedProbe : public LedSetup, public testing::WithParamInterface<ProbeFailure> {
 protected:
  FailedProbe() {
    test_light_behaviour().setup_result = false;
    test_light_behaviour().setup_error = GetParam().code;
  }
};

TEST_P(FailedProbe, LeavesALightThatSaysWhatItLacks) {
  g_autoptr(GError) error = nullptr;
  EXPECT_TRUE(led_base_setup(light_.get(), &error));
  EXPECT_EQ(error, nullptr);
  EXPECT_EQ(light_->card_detected != FALSE, GetParam().card_detected);
  EXPECT_NE(light_->introspection, nullptr);
  EXPECT_EQ(light_->intensity_low, 10);
}

TEST_P(FailedProbe, DecidesTheSupplyUntilTheRequirementIsRead) {
  EXPECT_FALSE(set_up_with({{{"common", "minimum_poe_class"}, "none"}}));
  EXPECT_EQ(light_->correct_poe != FALSE, GetParam().correct_poe);
}

TEST_P(FailedProbe, GivesWayToTheRequirement) {
  EXPECT_TRUE(set_up());
  EXPECT_TRUE(light_->correct_poe);

  light_ = fresh_light();
  EXPECT_TRUE(set_up_with({{{"common", "required_total_power"}, "5.0"}}));
  EXPECT_FALSE(light_->correct_poe);
}

INSTANTIATE_TEST_SUITE_P(Driver, FailedProbe,
                         testing::Values(ProbeFailure{"NoBoard", LIGHT_CONTROL_ERROR_NO_BOARD, false, true},
                                         ProbeFailure{"WrongPoe", LIGHT_CONTROL_ERROR_WRONG_POE, true, false},
                                         ProbeFailure{"Other", LIGHT_CONTROL_ERROR_NOT_SUPPORTED, true,
                                                      true}),
                         [](const auto &tested) { return tested.param.name; });

gboolean fail_in_another_domain(LedBase *, GError **error) {
  g_set_error(error, G_FILE_ERROR, 6, "code 6 of something else");
  return FALSE;
}

TEST_F(LedSetup, CodeOfAnotherDomainIsNoMissingBoard) {
  const ChangedSlots slots{light_.get()};
  slots->setup = fail_in_another_domain;
  EXPECT_TRUE(set_up());
  EXPECT_TRUE(light_->card_detected);
}

TEST_F(LedSetup, FailingSetupLeavesTheCallersErrorAlone) {
  files_.write_state("");
  g_autoptr(GError) error = nullptr;
  EXPECT_FALSE(led_base_setup(light_.get(), &error));
  EXPECT_EQ(error, nullptr);
}

TEST_F(LedSetup, ManualIntensityIsAppliedInManualMode) {
  EXPECT_TRUE(set_up_with(no_zoom_));
  EXPECT_EQ(light_->intensity, 60);
  EXPECT_THAT(recorded_calls(), ElementsAre("setup", "recalculate 0"));
}

TEST_F(LedSetup, ConfiguredIntensityIsAppliedInAutomaticMode) {
  no_zoom_[{"common", "automaticintensity"}] = "true";
  EXPECT_TRUE(set_up_with(no_zoom_));
  EXPECT_EQ(light_->intensity, 80);
  EXPECT_THAT(recorded_calls(), ElementsAre("setup", "recalculate 0"));
}

TEST_F(LedSetup, ConfiguredIntensityIsAppliedWithoutAutomaticMode) {
  no_zoom_[{"common", "automaticintensity"}] = std::nullopt;
  EXPECT_TRUE(set_up_with(no_zoom_));
  EXPECT_EQ(light_->intensity, 80);
  EXPECT_THAT(recorded_calls(), ElementsAre("setup", "recalculate 0"));
}

TEST_F(LedSetup, ConfiguredIntensityIsAppliedWithoutManualIntensity) {
  no_zoom_[{"common", "manualintensity"}] = std::nullopt;
  EXPECT_TRUE(set_up_with(no_zoom_));
  EXPECT_EQ(light_->intensity, 80);
  EXPECT_THAT(recorded_calls(), ElementsAre("setup", "recalculate 0"));
}

void record_automatic(LedBase *) { recorded_calls().emplace_back("set_automatic_intensity"); }

TEST_F(LedSetup, DriversOwnAutomaticIntensityIsUsed) {
  const ChangedSlots slots{light_.get()};
  slots->set_automatic_intensity = record_automatic;
  EXPECT_TRUE(set_up_with(no_zoom_));
  EXPECT_THAT(recorded_calls(), ElementsAre("setup", "set_automatic_intensity"));
}

TEST_F(LedSetup, IntensityIsAppliedBeforeTheRestIsRead) {
  const ChangedSlots slots{light_.get()};
  slots->set_intensity = glance_in_set_intensity;
  EXPECT_TRUE(set_up());
  EXPECT_EQ(seen.intensity_low, 10);
  EXPECT_TRUE(seen.has_manual_intensity);
  EXPECT_EQ(seen.max_brightness_level, 0);
  EXPECT_EQ(seen.nbr_of_interfaces, 0);
  EXPECT_FALSE(seen.individual_support);
  EXPECT_FALSE(seen.has_levels);
}

TEST_F(LedSetup, IndividualLevelsComeFromTheList) {
  EXPECT_TRUE(set_up_with({{{"common", "automaticintensity"}, "true"}}));
  EXPECT_EQ(levels(light_->manual_intensities, 2), (LevelList{20, 40}));
  EXPECT_EQ(levels(light_->automatic_intensities, 2), (LevelList{80, 80}));
}

TEST_F(LedSetup, AutomaticLevelsAreTheIntensityThatWasApplied) {
  EXPECT_TRUE(set_up());
  EXPECT_EQ(levels(light_->automatic_intensities, 2), (LevelList{60, 60}));
}

struct UnusableList {
  const char *name;
  std::optional<std::string> text;
};

void PrintTo(const UnusableList &list, std::ostream *stream) { *stream << list.name; }

class UnusableLevels : public LedSetup, public testing::WithParamInterface<UnusableList> {};

TEST_P(UnusableLevels, GiveWayToTheManualIntensity) {
  EXPECT_TRUE(set_up_with({{{"common", "intensities"}, GetParam().text}}));
  EXPECT_EQ(levels(light_->manual_intensities, 2), (LevelList{60, 60}));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_P(UnusableLevels, GiveWayToZeroWithoutAManualIntensity) {
  EXPECT_TRUE(set_up_with(
      {{{"common", "intensities"}, GetParam().text}, {{"common", "manualintensity"}, std::nullopt}}));
  EXPECT_EQ(levels(light_->manual_intensities, 2), (LevelList{0, 0}));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(List, UnusableLevels,
                         testing::Values(UnusableList{"Absent", std::nullopt},
                                         UnusableList{"OneEntryTooFew", "20;"},
                                         UnusableList{"OneEntryTooMany", "20;40;50;"},
                                         UnusableList{"Empty", ""}, UnusableList{"NoNumber", "20;bright;"}),
                         [](const auto &tested) { return tested.param.name; });

TEST_F(LedSetup, LightWithoutLedsIsSetUp) {
  test_light_behaviour().setup_leds = 0;
  EXPECT_TRUE(set_up());
  EXPECT_EQ(light_->nbr_of_leds, 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

struct Requirement {
  const char *name;
  const char *watts;
  const char *poe_class;
  bool correct_poe;
};

void PrintTo(const Requirement &requirement, std::ostream *stream) { *stream << requirement.name; }

class PowerRequirement : public LedSetup, public testing::WithParamInterface<Requirement> {};

TEST_P(PowerRequirement, DecidesTheFirstCorrectPoe) {
  EXPECT_TRUE(set_up_with({{{"common", "required_total_power"}, GetParam().watts},
                           {{"common", "minimum_poe_class"}, GetParam().poe_class}}));
  EXPECT_EQ(light_->correct_poe != FALSE, GetParam().correct_poe);
}

INSTANTIATE_TEST_SUITE_P(
    StateFile, PowerRequirement,
    testing::Values(Requirement{"None", "0.0", "0", true}, Requirement{"Power", "5.0", "0", false},
                    Requirement{"LittlePower", "0.001", "0", false},
                    Requirement{"PoeClass", "0.0", "1", false}, Requirement{"Both", "5.0", "3", false},
                    Requirement{"Negative", "-5.0", "-1", true}, Requirement{"NotANumber", "nan", "0", true}),
    [](const auto &tested) { return tested.param.name; });

TEST_F(LedSetup, AngleIsAppliedThroughTheClassAndStored) {
  EXPECT_TRUE(set_up_with({{{"zoom", "angleofillumination"}, "050"}}));
  EXPECT_EQ(light_->angle_of_illumination, 50);
  EXPECT_TRUE(light_->has_angle_of_illumination);
  EXPECT_THAT(recorded_calls(), ElementsAre("setup", "recalculate 0", "recalculate 50"));
  EXPECT_THAT(read_file(files_.state_path()), HasSubstr("angleofillumination=50\n"));
}

gint low_when_angle_was_set;

void record_angle(LedBase *light, gint angle) {
  low_when_angle_was_set = light->aoi_low;
  recorded_calls().push_back("set_angle " + std::to_string(angle));
}

TEST_F(LedSetup, DriversOwnAngleIsUsedAndSetBeforeItsRangeIsRead) {
  const ChangedSlots slots{light_.get()};
  slots->set_angle_of_illumination = record_angle;
  EXPECT_TRUE(
      set_up_with({{{"zoom", "angleofillumination"}, "050"}, {{"zoom", "angleofilluminationLOW"}, "5"}}));
  EXPECT_THAT(recorded_calls(), ElementsAre("setup", "recalculate 0", "set_angle 50"));
  EXPECT_EQ(low_when_angle_was_set, 0);
  EXPECT_EQ(light_->aoi_low, 5);
  EXPECT_THAT(read_file(files_.state_path()), HasSubstr("angleofillumination=050\n"));
}

TEST_F(LedSetup, AngleOfALightThatTakesNoneIsSkipped) {
  light_ = fresh_light(TEST_TYPE_BARE_LIGHT);
  EXPECT_TRUE(set_up());
  EXPECT_EQ(light_->angle_of_illumination, 0);
  EXPECT_TRUE(light_->has_angle_of_illumination);
  EXPECT_EQ(light_->aoi_high, 90);
}

TEST_F(LedSetup, LightWithoutZoomGroupHasNoAngle) {
  EXPECT_TRUE(set_up_with(no_zoom_));
  EXPECT_FALSE(light_->has_angle_of_illumination);
  EXPECT_FALSE(light_->has_automatic_aoi);
  EXPECT_EQ(light_->aoi_high, 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LedSetup, ZoomGroupWithoutAngleLeavesTheRangeUnread) {
  light_->has_angle_of_illumination = TRUE;
  EXPECT_TRUE(set_up_with(
      {{{"zoom", "angleofillumination"}, std::nullopt}, {{"zoom", "angleofilluminationLOW"}, "no number"}}));
  EXPECT_FALSE(light_->has_angle_of_illumination);
  EXPECT_TRUE(light_->has_automatic_aoi);
  EXPECT_EQ(light_->aoi_high, 0);
  EXPECT_THAT(recorded_calls(), ElementsAre("setup", "recalculate 0"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LedSetup, AngleIsAppliedAndStoredEvenWhenItsRangeIsMissing) {
  EXPECT_FALSE(set_up_with(
      {{{"zoom", "angleofillumination"}, "050"}, {{"zoom", "angleofilluminationHIGH"}, std::nullopt}}));
  EXPECT_EQ(light_->angle_of_illumination, 50);
  EXPECT_THAT(read_file(files_.state_path()), HasSubstr("angleofillumination=50\n"));
}

TEST_F(LedSetup, EarlierActivationIsForgotten) {
  light_->activate = TRUE;
  EXPECT_TRUE(set_up());
  EXPECT_FALSE(light_->activate);
}

TEST_F(LedSetup, EventsAreDeclared) {
  const std::unique_ptr<EventProducer, decltype(&event_producer_free)> producer{event_producer_new("test"),
                                                                                &event_producer_free};
  led_base_set_event_producer(light_.get(), producer.get());
  EXPECT_TRUE(set_up());
  EXPECT_NE(light_->status_changed_decl, 0U);
  EXPECT_NE(light_->status_decl, 0U);
  EXPECT_NE(light_->status_changed_decl, light_->status_decl);
  light_.reset();
}

TEST_F(LedSetup, InterfacesAreThere) {
  EXPECT_TRUE(set_up());
  ASSERT_NE(led_base_get_introspect(light_.get()), nullptr);
  EXPECT_NE(g_dbus_node_info_lookup_interface(light_->introspection, LED_INTERFACE_COMMON), nullptr);
}

TEST_F(LedSetup, LightWithAPowerRequirementStartsWithWrongPoe) {
  EXPECT_TRUE(set_up_with({{{"common", "required_total_power"}, "5.0"}}));
  EXPECT_FALSE(light_->correct_poe);
  g_autoptr(GError) error = nullptr;
  EXPECT_EQ(led_base_handle_dbus_get_property(nullptr, nullptr, nullptr, LED_INTERFACE_COMMON, "UseDayNight",
                                              &error, light_.get()),
            nullptr);
  EXPECT_TRUE(g_error_matches(error, LIGHT_CONTROL_ERROR, LIGHT_CONTROL_ERROR_WRONG_POE));
}

TEST_F(LedSetup, StateIsNotWrittenWithoutAnAngle) {
  const auto text = state_text(no_zoom_) + "# a remark that no rewriting keeps\n";
  files_.write_state(text);
  EXPECT_TRUE(set_up());
  EXPECT_EQ(read_file(files_.state_path()), text);
}

}  // namespace
