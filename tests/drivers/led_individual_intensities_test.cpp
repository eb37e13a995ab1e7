// The levels of single LEDs on the bus.

#include <gmock/gmock.h>

#include "support/served_light_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

const LightReply kUnsupported =
    refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Individual intensity not supported.");
const LightReply kWrongCount = refused(LIGHT_CONTROL_ERROR_INVALID_INTENSITY, "Invalid intensity count.");

LightReply wrong_type(const std::string &text) {
  return refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Intensity type '" + text + "' not supported.");
}

/// Two LEDs with the manual levels 20 and 40 and the automatic levels 60, in a range of 10 to 100.
class IndividualIntensities : public ServedLight {
 protected:
  LightReply call(const char *method, const std::string &arguments) const {
    return bus_->call(LED_INTERFACE_COMMON, method, arguments);
  }
  LightReply get_one(const std::string &arguments) const {
    return call("GetIndividualLEDIntensity", arguments);
  }
  LightReply get_all(const std::string &arguments) const {
    return call("GetIndividualLEDIntensities", arguments);
  }
  LightReply set_one(const std::string &arguments) const {
    return call("SetIndividualLEDIntensity", arguments);
  }
  LightReply set_all(const std::string &arguments) const {
    return call("SetIndividualLEDIntensities", arguments);
  }

  std::vector<gint> manual() const { return {light_->manual_intensities, light_->manual_intensities + 2}; }
  std::vector<gint> automatic() const {
    return {light_->automatic_intensities, light_->automatic_intensities + 2};
  }

  void expect_untouched() const {
    EXPECT_THAT(manual(), ElementsAre(20, 40));
    EXPECT_THAT(automatic(), ElementsAre(60, 60));
    EXPECT_THAT(recorded_calls(), IsEmpty());
    EXPECT_FALSE(state_file_was_written());
  }
};

TEST_F(IndividualIntensities, AreRead) {
  EXPECT_EQ(get_one("(0, 'manual')"), answered("(20,)"));
  EXPECT_EQ(get_one("(1, 'manual')"), answered("(40,)"));
  EXPECT_EQ(get_one("(1, 'automatic')"), answered("(60,)"));
  EXPECT_EQ(get_all("('manual',)"), answered("([20, 40],)"));
  EXPECT_EQ(get_all("('automatic',)"), answered("([60, 60],)"));
}

TEST_F(IndividualIntensities, TypeWithACapitalIsRejected) {
  EXPECT_EQ(get_one("(0, 'Manual')"), wrong_type("Manual"));
  EXPECT_EQ(get_all("('Manual',)"), wrong_type("Manual"));
  EXPECT_EQ(set_one("(0, 50, 'Manual')"), wrong_type("Manual"));
  EXPECT_EQ(set_all("([50, 50], 'Manual')"), wrong_type("Manual"));
  expect_untouched();
}

TEST_F(IndividualIntensities, OtherTypesAreRejected) {
  for (const std::string type : {"", "manual ", "automatically", "%s%n"})
    EXPECT_EQ(get_one("(0, '" + type + "')"), wrong_type(type));
}

TEST_F(IndividualIntensities, TypeIsLookedAtFirst) {
  light_->individual_intensity_support = FALSE;
  EXPECT_EQ(get_one("(99, 'auto')"), wrong_type("auto"));
  EXPECT_EQ(set_one("(99, 1000, 'auto')"), wrong_type("auto"));
  EXPECT_EQ(set_all("([1000, 1, 2, 3], 'auto')"), wrong_type("auto"));
}

TEST_F(IndividualIntensities, LedThatIsNotThereHasNoneWithSupportOn) {
  EXPECT_EQ(get_one("(2, 'manual')"), kInvalidIntensity);
  EXPECT_EQ(get_one("(-1, 'automatic')"), kInvalidIntensity);
}

TEST_F(IndividualIntensities, LedThatIsNotThereIsUnsupportedWithSupportOff) {
  light_->individual_intensity_support = FALSE;
  EXPECT_EQ(get_one("(2, 'manual')"), kUnsupported);
}

TEST_F(IndividualIntensities, AreNotReadWithSupportOff) {
  light_->individual_intensity_support = FALSE;
  EXPECT_EQ(get_one("(0, 'manual')"), kUnsupported);
  EXPECT_EQ(get_all("('automatic',)"), kUnsupported);
}

gint answer_unsupported(LedBase *, gint, gint) { return -1; }

TEST_F(IndividualIntensities, LedThatIsNotThereIsUnsupportedWhereTheDriverSaysSo) {
  const ChangedSlots slots{light_.get()};
  slots->get_individual_led_intensity = answer_unsupported;
  EXPECT_EQ(get_one("(2, 'manual')"), kUnsupported);
  EXPECT_EQ(get_all("('manual',)"), kUnsupported);
}

gint answer_zero_then_minus_three(LedBase *, gint led, gint) {
  recorded_calls().push_back("get " + std::to_string(led));
  return led == 0 ? 0 : -3;
}

TEST_F(IndividualIntensities, FirstFailureEndsTheReading) {
  light_->nbr_of_leds = 3;
  const ChangedSlots slots{light_.get()};
  slots->get_individual_led_intensity = answer_zero_then_minus_three;
  EXPECT_EQ(get_all("('manual',)"), kInvalidIntensity);
  EXPECT_THAT(recorded_calls(), ElementsAre("get 0", "get 1"));
  EXPECT_EQ(get_one("(0, 'manual')"), answered("(0,)"));
  EXPECT_EQ(get_one("(1, 'manual')"), kInvalidIntensity);
  light_->nbr_of_leds = 2;
}

TEST_F(IndividualIntensities, OfALightThatHasNoSuchOperations) {
  serve({}, TEST_TYPE_BARE_LIGHT);
  EXPECT_EQ(get_one("(0, 'manual')"), kUnsupported);
  EXPECT_EQ(set_one("(0, 50, 'manual')"), kUnsupported);
  light_->nbr_of_leds = 2;
  EXPECT_EQ(get_all("('manual',)"), kUnsupported);
  EXPECT_EQ(set_all("([50, 50], 'manual')"), kUnsupported);
}

TEST_F(IndividualIntensities, OfALightWithoutLedsAreAnEmptyList) {
  test_light_behaviour().setup_leds = 0;
  serve({});
  EXPECT_EQ(get_all("('manual',)"), answered("(@ai [],)"));
  EXPECT_EQ(set_all("(@ai [], 'manual')"), answered());
  EXPECT_EQ(set_all("([50], 'manual')"), kWrongCount);
}

TEST_F(IndividualIntensities, ManualLevelIsSetAndStored) {
  EXPECT_EQ(set_one("(1, 70, 'manual')"), answered());
  EXPECT_THAT(manual(), ElementsAre(20, 70));
  EXPECT_EQ(stored("common", "intensities"), "20;70;");
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 50"));
}

TEST_F(IndividualIntensities, AutomaticLevelIsSetAndNotStored) {
  EXPECT_EQ(set_one("(1, 70, 'automatic')"), answered());
  EXPECT_THAT(automatic(), ElementsAre(60, 70));
  EXPECT_FALSE(state_file_was_written());
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 50"));
}

TEST_F(IndividualIntensities, LevelsTakeTheWholeRange) {
  EXPECT_EQ(set_one("(0, 10, 'manual')"), answered());
  EXPECT_EQ(set_one("(1, 100, 'manual')"), answered());
  EXPECT_EQ(set_all("([100, 10], 'automatic')"), answered());
  EXPECT_THAT(manual(), ElementsAre(10, 100));
  EXPECT_THAT(automatic(), ElementsAre(100, 10));
}

TEST_F(IndividualIntensities, LevelsOutOfRangeAreRefused) {
  for (const char *level : {"9", "101", "-1"}) {
    EXPECT_EQ(set_one(std::string{"(0, "} + level + ", 'manual')"), kInvalidIntensity) << level;
    EXPECT_EQ(set_all(std::string{"([50, "} + level + "], 'manual')"), kInvalidIntensity) << level;
  }
  expect_untouched();
}

TEST_F(IndividualIntensities, RangeIsLookedAtBeforeTheLed) {
  EXPECT_EQ(set_one("(99, 101, 'manual')"), kInvalidIntensity);
  EXPECT_EQ(set_one("(99, 50, 'manual')"), kUnsupported);
  EXPECT_EQ(set_one("(-1, 50, 'automatic')"), kUnsupported);
  expect_untouched();
}

TEST_F(IndividualIntensities, AreNotSetWithSupportOff) {
  light_->individual_intensity_support = FALSE;
  EXPECT_EQ(set_one("(0, 50, 'manual')"), kUnsupported);
  EXPECT_EQ(set_all("([50, 50], 'automatic')"), kUnsupported);
  expect_untouched();
}

TEST_F(IndividualIntensities, ManualLevelThatCannotBeStoredIsUnsupported) {
  std::filesystem::remove(files_.state_path());
  EXPECT_EQ(set_one("(0, 50, 'manual')"), kUnsupported);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Store state failed: readlink"}));
}

TEST_F(IndividualIntensities, AllAreSetInOrder) {
  EXPECT_EQ(set_all("([30, 50], 'manual')"), answered());
  EXPECT_THAT(manual(), ElementsAre(30, 50));
  EXPECT_THAT(automatic(), ElementsAre(60, 60));
  EXPECT_EQ(stored("common", "intensities"), "30;50;");
  EXPECT_THAT(recorded_calls(), ElementsAre("recalculate 50", "recalculate 50"));
}

TEST_F(IndividualIntensities, OneValueTooManyIsRefusedBeforeAnyIsSet) {
  EXPECT_EQ(set_all("([30, 50, 70], 'manual')"), kWrongCount);
  expect_untouched();
}

TEST_F(IndividualIntensities, OneValueTooFewIsRefusedBeforeAnyIsSet) {
  EXPECT_EQ(set_all("([30], 'manual')"), kWrongCount);
  EXPECT_EQ(set_all("(@ai [], 'automatic')"), kWrongCount);
  expect_untouched();
}

TEST_F(IndividualIntensities, FirstComplaintAboutTheValuesIsTheAnswer) {
  EXPECT_EQ(set_all("([30, 5, 70], 'manual')"), kInvalidIntensity);
  EXPECT_EQ(set_all("([5], 'manual')"), kInvalidIntensity);
  EXPECT_EQ(set_all("([30, 50, 5], 'manual')"), kWrongCount);
  expect_untouched();
}

gboolean set_all_but_the_second(LedBase *light, gint led, gint value, gint type) {
  recorded_calls().push_back("set " + std::to_string(led) + " to " + std::to_string(value) + " type " +
                             std::to_string(type));
  if (led == 1)
    return FALSE;
  light->manual_intensities[led] = value;
  return TRUE;
}

TEST_F(IndividualIntensities, LedsBeforeAFailingOneStaySet) {
  const ChangedSlots slots{light_.get()};
  slots->set_individual_led_intensity = set_all_but_the_second;
  EXPECT_EQ(set_all("([30, 50], 'manual')"), kUnsupported);
  EXPECT_THAT(manual(), ElementsAre(30, 40));
  EXPECT_THAT(recorded_calls(), ElementsAre("set 0 to 30 type 0", "set 1 to 50 type 0"));

  EXPECT_EQ(set_one("(0, 35, 'automatic')"), answered());
  EXPECT_EQ(recorded_calls().back(), "set 0 to 35 type 1");
}

/// The state file each time that the levels are applied.
std::vector<std::string> stored_so_far;

void look_at_the_file(LedBase *light, gint) {
  g_autoptr(GKeyFile) file = g_key_file_new();
  g_key_file_load_from_file(file, light->state_filename, G_KEY_FILE_NONE, nullptr);
  g_autofree gchar *levels = g_key_file_get_value(file, "common", "intensities", nullptr);
  stored_so_far.emplace_back(levels);
}

TEST_F(IndividualIntensities, StateFileIsWrittenOncePerLed) {
  stored_so_far.clear();
  const ChangedSlots slots{light_.get()};
  slots->recalculate_angle_of_illumination = look_at_the_file;
  EXPECT_EQ(set_all("([30, 50], 'manual')"), answered());
  EXPECT_THAT(stored_so_far, ElementsAre("30;40;", "30;50;"));
}

}  // namespace
