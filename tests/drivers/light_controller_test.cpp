// What the controller makes of the results of its lights' setup, which is this program's own, and of lights
// that cannot be switched off.

#include "daemon/light_controller.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <memory>
#include <string>
#include <vector>

#include "drivers/led_dummy.h"
#include "led/led_setup.h"
#include "led/light_error.h"
#include "support/fake_event_producer.h"
#include "support/light_files.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

constexpr int kSucceeds = -1;
constexpr int kFailsWithoutError = -2;

/// What the setup of each light gives, in order: kSucceeds, kFailsWithoutError, or the code of its error.
std::vector<int> &setup_results() {
  static std::vector<int> results;
  return results;
}

bool &errors_were_handed_on() {
  static bool seen = false;
  return seen;
}

}  // namespace

gboolean led_base_setup(LedBase *self, GError **error) {
  if (*error != nullptr)
    errors_were_handed_on() = true;
  const int result = setup_results().at(static_cast<size_t>(self->light_id));
  recorded_calls().push_back("setup " + std::to_string(self->light_id));
  if (result >= 0)
    light_error_set(error, static_cast<LightControlError>(result), "the test says so");
  return result == kSucceeds;
}

namespace {

gboolean refuse_to_switch(LedBase *, gboolean, GError **error) {
  recorded_calls().emplace_back("switch");
  light_error_set(error, LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "the test says so");
  return FALSE;
}

class LightControllerSetup : public testing::Test {
 protected:
  LightControllerSetup() {
    recorded_calls().clear();
    errors_were_handed_on() = false;
  }

  bool set_up(const std::vector<int> &results) {
    setup_results() = results;
    std::string text = "[LED]\nNbrOfLeds=" + std::to_string(results.size()) + "\n";
    for (size_t group = 0; group < results.size(); ++group)
      text += "[LED.L" + std::to_string(group) + "]\nType=Dummy\n";
    write_file("/etc/beamd/beamd.conf", text);
    return light_controller_setup(controller_.get());
  }

  std::unique_ptr<LightController, decltype(&g_object_unref)> controller_{
      LIGHT_CONTROLLER(g_object_new(TYPE_LIGHT_CONTROLLER, nullptr)), &g_object_unref};
  SyslogCapture log_;
};

TEST_F(LightControllerSetup, GoesOnWithoutABoardOrTheRightSupply) {
  EXPECT_TRUE(set_up({LIGHT_CONTROL_ERROR_NO_BOARD, LIGHT_CONTROL_ERROR_WRONG_POE, kSucceeds}));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "PCB card for led group 0, not detected"},
                                        Line{LOG_INFO, "Wrong poe class for led group 1"}));
  EXPECT_THAT(recorded_calls(), ElementsAre("setup 0", "setup 1", "setup 2"));
  EXPECT_FALSE(errors_were_handed_on());
  for (int group = 0; group < 3; ++group)
    EXPECT_NE(controller_->leds[group], nullptr) << group;
}

TEST_F(LightControllerSetup, FailsWithAnyOtherErrorOrNone) {
  for (const int result : {static_cast<int>(LIGHT_CONTROL_ERROR_NOT_SUPPORTED), kFailsWithoutError}) {
    recorded_calls().clear();
    EXPECT_FALSE(set_up({result, kSucceeds}));
    EXPECT_THAT(recorded_calls(), ElementsAre("setup 0"));
    g_clear_object(&controller_->leds[0]);  // a second setup expects empty slots
    g_clear_object(&controller_->leds[1]);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightControllerSetup, GoesOnWhenALightCannotBeSwitchedOff) {
  auto *dummy = LED_BASE_CLASS(g_type_class_ref(LED_TYPE_DUMMY));
  const auto switch_light = dummy->activate_light;
  dummy->activate_light = refuse_to_switch;
  EXPECT_TRUE(set_up({kSucceeds, kSucceeds}));
  dummy->activate_light = switch_light;
  g_type_class_unref(dummy);
  EXPECT_THAT(recorded_calls(), ElementsAre("setup 0", "switch", "setup 1", "switch"));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Unable to deactivate light"},
                                        Line{LOG_ERR, "Unable to deactivate light"}));
}

TEST_F(LightControllerSetup, DeclaresItsEventAlsoWithoutLights) {
  fake_events() = {};
  EXPECT_TRUE(set_up({}));
  EXPECT_EQ(fake_events().declarations, 1U);
  EXPECT_EQ(controller_->declaration_id, 1);
}

}  // namespace
