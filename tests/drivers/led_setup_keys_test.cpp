// Each key of a light's state file: present, absent, and with a value of the wrong type.

#include <gmock/gmock.h>

#include <cmath>

#include "support/light_setup_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using KeyName = std::pair<std::string, std::string>;

struct Field {
  KeyName key;
  const char *configured;  ///< the value that the key gets
  std::string (*shown)(const LedBase *light);
  const char *untouched;  ///< what the field shows before the key is read
  const char *broken;     ///< a value that cannot be read as the key's type; nullptr when there is none
};

std::string show(gint value) { return std::to_string(value); }

/// Every key in the order of reading, with values that no field has by itself.
const std::vector<Field> &fields() {
  static const std::vector<Field> all{
      {{"common", "intensityHIGH"}, "100", [](auto *l) { return show(l->intensity_high); }, "0", "high"},
      {{"common", "syncdaynight"},
       "true",
       [](auto *l) { return show(l->sync_day_night) + show(l->has_sync_day_night); },
       "00",
       "2"},
      {{"common", "enable"}, "true", [](auto *l) { return show(l->enabled); }, "0", "yes"},
      {{"common", "automaticintensity"},
       "true",
       [](auto *l) { return show(l->automatic_intensity) + show(l->has_automatic_intensity); },
       "00",
       "on"},
      {{"common", "manualangleofillumination"},
       "35",
       [](auto *l) { return show(l->manual_aoi) + "/" + show(l->has_manual_aoi); },
       "0/0",
       "wide"},
      {{"common", "usepowerrequest"}, "false", [](auto *l) { return show(l->use_power_request); }, "1", "no"},
      {{"common", "rampdown_time"}, "250000", [](auto *l) { return show(l->rampdown_time); }, "0", nullptr},
      {{"common", "intensityLOW"}, "10", [](auto *l) { return show(l->intensity_low); }, "0", "5.5"},
      {{"common", "intensity"}, "80", [](auto *l) { return show(l->intensity); }, "0", "0x10"},
      {{"common", "manualintensity"},
       "60",
       [](auto *l) { return show(l->manual_intensity) + "/" + show(l->has_manual_intensity); },
       "0/0",
       ""},
      {{"common", "max_brightness_level"},
       "255",
       [](auto *l) { return show(l->max_brightness_level); },
       "0",
       nullptr},
      {{"common", "nbrofinterfaces"}, "3", [](auto *l) { return show(l->nbr_of_interfaces); }, "0", "3x"},
      {{"common", "ledtype"},
       "IR",
       [](auto *l) { return std::string{l->ledtype ? l->ledtype : "none"}; },
       "none",
       nullptr},
      {{"common", "usemanualoverride"},
       "true",
       [](auto *l) { return show(l->use_manual_override); },
       "0",
       "TRUE"},
      {{"common", "individualintensitysupport"},
       "true",
       [](auto *l) { return show(l->individual_intensity_support); },
       "0",
       "-1"},
      {{"common", "intensities"},
       "20;40;",
       [](auto *l) {
         return l->manual_intensities ? show(l->manual_intensities[0]) + ";" + show(l->manual_intensities[1])
                                      : std::string{"none"};
       },
       "none",
       nullptr},
      {{"common", "powerusagefactor"},
       "0.5",
       [](auto *l) { return std::string{l->power_usage_factor == 0.5F ? "0.5" : "default"}; },
       "default",
       nullptr},
      {{"common", "required_total_power"},
       "5.0",
       [](auto *l) { return std::string{l->required_total_power == 5.0 ? "5.0" : "0"}; },
       "0",
       "five"},
      {{"common", "minimum_poe_class"}, "2", [](auto *l) { return show(l->minimum_poe_class); }, "0", "two"},
      {{"zoom", "automaticangleofillumination"},
       "true",
       [](auto *l) { return show(l->automatic_aoi) + show(l->has_automatic_aoi); },
       "00",
       "maybe"},
      {{"zoom", "angleofillumination"},
       "50",
       [](auto *l) { return show(l->angle_of_illumination) + "/" + show(l->has_angle_of_illumination); },
       "0/0",
       "wide"},
      {{"zoom", "angleofilluminationLOW"}, "1", [](auto *l) { return show(l->aoi_low); }, "0", "low"},
      {{"zoom", "angleofilluminationHIGH"}, "90", [](auto *l) { return show(l->aoi_high); }, "0", "high"},
  };
  return all;
}

size_t index_of(const KeyName &key) {
  for (size_t i = 0; i < fields().size(); ++i)
    if (fields()[i].key == key)
      return i;
  ADD_FAILURE() << "no field for " << key.second;
  return 0;
}

StateOverrides configured_state() {
  StateOverrides state;
  for (const auto &field : fields())
    state[field.key] = field.configured;
  return state;
}

std::string show_all(const LedBase *light) {
  std::string text;
  for (const auto &field : fields())
    text += field.key.second + " " + field.shown(light) + "\n";
  return text;
}

const char *when_configured(const Field &field) {
  const std::string_view key{field.key.second};
  if (key == "syncdaynight" || key == "automaticintensity" || key == "automaticangleofillumination")
    return "11";
  if (key == "manualangleofillumination")
    return "35/1";
  if (key == "manualintensity")
    return "60/1";
  if (key == "angleofillumination")
    return "50/1";
  if (key == "intensities")
    return "20;40";
  if (std::string_view{field.configured} == "true")
    return "1";
  return std::string_view{field.configured} == "false" ? "0" : field.configured;
}

/// What stands in the fields when the key at @p stop ends the reading.
std::string show_read_up_to(size_t stop) {
  std::string text;
  for (size_t i = 0; i < fields().size(); ++i)
    text += fields()[i].key.second + " " + (i < stop ? when_configured(fields()[i]) : fields()[i].untouched) +
            "\n";
  return text;
}

std::string name_of(const testing::TestParamInfo<KeyName> &key) {
  return key.param.first + "_" + key.param.second;
}

class LightKeys : public LightSetup {
 protected:
  bool set_up_configured(const StateOverrides &changes = {}) {
    auto state = configured_state();
    for (const auto &[key, value] : changes)
      state[key] = value;
    return set_up_with(state);
  }
};

TEST_F(LightKeys, AllPresentFillAllFields) {
  EXPECT_TRUE(set_up_configured());
  EXPECT_EQ(show_all(light_.get()), show_read_up_to(fields().size()));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightKeys, RequiredZeroAndFalseAreAccepted) {
  EXPECT_TRUE(set_up_configured({{{"common", "intensityHIGH"}, "0"},
                                 {{"common", "enable"}, "false"},
                                 {{"common", "intensityLOW"}, "0"},
                                 {{"common", "intensity"}, "0"},
                                 {{"common", "nbrofinterfaces"}, "0"},
                                 {{"common", "ledtype"}, ""},
                                 {{"zoom", "angleofilluminationLOW"}, "0"},
                                 {{"zoom", "angleofilluminationHIGH"}, "0"}}));
  EXPECT_FALSE(light_->enabled);
  EXPECT_STREQ(light_->ledtype, "");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightKeys, ANewLedTypeReplacesTheOldText) {
  light_->ledtype = g_strdup("earlier");
  EXPECT_TRUE(set_up_configured());
  EXPECT_STREQ(light_->ledtype, "IR");
}

class RequiredKey : public LightKeys, public testing::WithParamInterface<KeyName> {};

TEST_P(RequiredKey, MissingEndsSetupAtOnce) {
  const auto &[group, key] = GetParam();
  EXPECT_FALSE(set_up_configured({{GetParam(), std::nullopt}}));
  EXPECT_THAT(log_.lines(), ElementsAre(SyslogCapture::Line{LOG_ERR, "Key file does not have key “" + key +
                                                                         "” in group “" + group + "”"}));
  EXPECT_EQ(show_all(light_.get()), show_read_up_to(index_of(GetParam())));
  EXPECT_EQ(light_->introspection, nullptr);
}

INSTANTIATE_TEST_SUITE_P(StateFile, RequiredKey,
                         testing::Values(KeyName{"common", "intensityHIGH"}, KeyName{"common", "enable"},
                                         KeyName{"common", "intensityLOW"}, KeyName{"common", "intensity"},
                                         KeyName{"common", "nbrofinterfaces"}, KeyName{"common", "ledtype"},
                                         KeyName{"zoom", "angleofilluminationLOW"},
                                         KeyName{"zoom", "angleofilluminationHIGH"}),
                         name_of);

std::vector<KeyName> keys_that_can_be_broken() {
  std::vector<KeyName> keys;
  for (const auto &field : fields())
    if (field.broken != nullptr)
      keys.push_back(field.key);
  return keys;
}

class TypedKey : public LightKeys, public testing::WithParamInterface<KeyName> {};

/// GLib names the group for numbers only.
std::string complaint_about(const Field &field) {
  const std::string_view configured{field.configured};
  const bool is_boolean = configured == "true" || configured == "false";
  return "Key file contains key “" + field.key.second + "” " +
         (is_boolean ? "" : "in group “" + field.key.first + "” ") +
         "which has a value that cannot be interpreted.";
}

TEST_P(TypedKey, WrongTypeEndsSetupAtOnce) {
  const auto index = index_of(GetParam());
  EXPECT_FALSE(set_up_configured({{GetParam(), fields()[index].broken}}));
  EXPECT_THAT(log_.lines(), ElementsAre(SyslogCapture::Line{LOG_ERR, complaint_about(fields()[index])}));
  EXPECT_EQ(show_all(light_.get()), show_read_up_to(index));
  EXPECT_EQ(light_->introspection, nullptr);
}

INSTANTIATE_TEST_SUITE_P(StateFile, TypedKey, testing::ValuesIn(keys_that_can_be_broken()), name_of);

class TextKey : public LightKeys, public testing::WithParamInterface<KeyName> {};

TEST_P(TextKey, AnInvalidEscapeEndsSetupAtOnce) {
  EXPECT_FALSE(set_up_configured({{GetParam(), "\\q"}}));
  EXPECT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(logged_at(LOG_ERR).size(), 1U);
  EXPECT_EQ(show_all(light_.get()), show_read_up_to(index_of(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(StateFile, TextKey,
                         testing::Values(KeyName{"common", "ledtype"}, KeyName{"common", "powerusagefactor"}),
                         name_of);

struct Default {
  KeyName key;
  const char *shown;  ///< by the key's field when the key is absent
};

void PrintTo(const Default &standard, std::ostream *stream) { *stream << standard.key.second; }

class OptionalKey : public LightKeys, public testing::WithParamInterface<Default> {};

TEST_P(OptionalKey, AbsentGivesTheDefault) {
  const auto &field = fields()[index_of(GetParam().key)];
  EXPECT_TRUE(set_up_configured({{GetParam().key, std::nullopt}}));
  EXPECT_EQ(field.shown(light_.get()), GetParam().shown);
  EXPECT_THAT(logged_at(LOG_ERR), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    StateFile, OptionalKey,
    testing::Values(
        Default{{"common", "syncdaynight"}, "00"}, Default{{"common", "automaticintensity"}, "00"},
        Default{{"common", "manualangleofillumination"}, "0/0"}, Default{{"common", "usepowerrequest"}, "1"},
        Default{{"common", "rampdown_time"}, "0"}, Default{{"common", "manualintensity"}, "0/0"},
        Default{{"common", "max_brightness_level"}, "-1"}, Default{{"common", "usemanualoverride"}, "0"},
        Default{{"common", "individualintensitysupport"}, "0"}, Default{{"common", "intensities"}, "60;60"},
        Default{{"common", "powerusagefactor"}, "default"}, Default{{"common", "required_total_power"}, "0"},
        Default{{"common", "minimum_poe_class"}, "0"},
        Default{{"zoom", "automaticangleofillumination"}, "00"},
        Default{{"zoom", "angleofillumination"}, "0/0"}),
    [](const auto &tested) { return tested.param.key.first + "_" + tested.param.key.second; });

TEST_F(LightKeys, OptionalDefaultsReplaceWhatTheFieldsHeld) {
  light_->use_power_request = FALSE;
  light_->rampdown_time = 7;
  light_->required_total_power = 7.0;
  light_->minimum_poe_class = 7;
  light_->power_usage_factor = 7.0F;
  light_->has_manual_intensity = TRUE;
  EXPECT_TRUE(set_up_configured({{{"common", "usepowerrequest"}, std::nullopt},
                                 {{"common", "rampdown_time"}, std::nullopt},
                                 {{"common", "required_total_power"}, std::nullopt},
                                 {{"common", "minimum_poe_class"}, std::nullopt},
                                 {{"common", "powerusagefactor"}, std::nullopt},
                                 {{"common", "manualintensity"}, std::nullopt}}));
  EXPECT_TRUE(light_->use_power_request);
  EXPECT_EQ(light_->rampdown_time, 0);
  EXPECT_EQ(light_->required_total_power, 0.0);
  EXPECT_EQ(light_->minimum_poe_class, 0);
  EXPECT_EQ(light_->power_usage_factor, 0.0018F);
  EXPECT_FALSE(light_->has_manual_intensity);
}

TEST_F(LightKeys, RampdownTimeThatIsNoNumberGivesZeroWithoutFailure) {
  light_->rampdown_time = 7;
  EXPECT_TRUE(set_up_configured({{{"common", "rampdown_time"}, "slow"}}));
  EXPECT_EQ(light_->rampdown_time, 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightKeys, IntensityLowThatIsNoNumberFailsSetup) {
  EXPECT_FALSE(set_up_configured({{{"common", "intensityLOW"}, "low"}}));
}

TEST_F(LightKeys, MaxBrightnessLevelThatIsNoNumberGivesMinusOneWithoutFailure) {
  EXPECT_TRUE(set_up_configured({{{"common", "max_brightness_level"}, "bright"}}));
  EXPECT_EQ(light_->max_brightness_level, -1);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

struct Factor {
  const char *text;
  float value;
};

void PrintTo(const Factor &factor, std::ostream *stream) { *stream << factor.text; }

class PowerUsageFactor : public LightKeys, public testing::WithParamInterface<Factor> {};

TEST_P(PowerUsageFactor, IsConvertedFromTextToSinglePrecision) {
  EXPECT_TRUE(set_up_configured({{{"common", "powerusagefactor"}, GetParam().text}}));
  EXPECT_EQ(light_->power_usage_factor, GetParam().value);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(StateFile, PowerUsageFactor,
                         testing::Values(Factor{"0.0018", 0.0018F}, Factor{"0.1", 0.1F}, Factor{"abc", 0.0F},
                                         Factor{"", 0.0F}, Factor{"0.25watts", 0.25F}, Factor{"-2", -2.0F},
                                         Factor{"1e-3", 0.001F}, Factor{"16777217", 16777216.0F},
                                         Factor{"0x10", 16.0F}, Factor{"1e300", INFINITY}));

}  // namespace
