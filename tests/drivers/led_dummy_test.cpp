#include "drivers/led_dummy.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/fake_event_producer.h"
#include "support/key_files.h"
#include "support/light_files.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {

using Calls = std::vector<std::string>;
using Lines = std::vector<SyslogCapture::Line>;

class Dummy : public testing::Test {
 protected:
  void SetUp() override {
    recorded_calls().clear();
    fake_events() = {};
    light_->enabled = TRUE;
    // The power daemon is not part of this.
    light_->use_power_request = FALSE;
    light_->event_producer = fake_event_producer();
    light_->status_changed_decl = 1;
    light_->status_decl = 2;
  }

  void request(bool on) {
    light_->activate = on;
    led_base_update_light_state(light_.get(), nullptr);
  }

  SyslogCapture log_;
  LightPointer light_ = make_light(LED_TYPE_DUMMY);
};

TEST_F(Dummy, IsALightOfThisName) {
  EXPECT_STREQ(g_type_name(LED_TYPE_DUMMY), "LedDummy");
  EXPECT_EQ(g_type_parent(LED_TYPE_DUMMY), LED_TYPE_BASE);
}

TEST_F(Dummy, AddsNothingToTheClassAndOverridesOnlyActivateLight) {
  GTypeQuery dummy{};
  GTypeQuery base{};
  g_type_query(LED_TYPE_DUMMY, &dummy);
  g_type_query(LED_TYPE_BASE, &base);
  ASSERT_EQ(dummy.class_size, base.class_size);
  EXPECT_GT(dummy.instance_size, base.instance_size) << "it has a private block";

  const auto base_light = make_light(LED_TYPE_BASE);
  const auto *dummy_slots = LED_BASE_GET_CLASS(light_.get());
  LedBaseClass expected = *LED_BASE_GET_CLASS(base_light.get());
  EXPECT_NE(dummy_slots->activate_light, nullptr);
  expected.activate_light = dummy_slots->activate_light;
  EXPECT_EQ(std::memcmp(reinterpret_cast<const char *>(dummy_slots) + sizeof(GObjectClass),
                        reinterpret_cast<const char *>(&expected) + sizeof(GObjectClass),
                        sizeof(LedBaseClass) - sizeof(GObjectClass)),
            0);
}

TEST_F(Dummy, IsSwitchedOnAndOffWithoutAWordFromTheDriver) {
  request(true);
  EXPECT_EQ(light_->light_on, 1);

  request(false);
  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(Dummy, TellsOfItsStateLikeEveryLight) {
  request(true);

  EXPECT_EQ(recorded_calls(), (Calls{"prepare 1", "set state=ON", "send 1", "free", "prepare 2",
                                     "set state=ON", "send 2", "free"}));
}

TEST_F(Dummy, TheFirstOffSucceeds) {
  request(false);

  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(log_.lines(), Lines{}) << "\"Unable to deactivate light\" is for lights that failed";
}

TEST_F(Dummy, ActivationTouchesNoState) {
  g_autoptr(GError) error = nullptr;
  light_->intensity = 80;
  const LedBase before = *light_;

  EXPECT_TRUE(led_base_activate_light(light_.get(), TRUE, &error));
  EXPECT_TRUE(led_base_activate_light(light_.get(), FALSE, &error));
  EXPECT_TRUE(led_base_activate_light(light_.get(), TRUE, nullptr));

  EXPECT_EQ(error, nullptr);
  EXPECT_EQ(std::memcmp(&before, light_.get(), sizeof before), 0);
  EXPECT_EQ(recorded_calls(), Calls{});
}

TEST_F(Dummy, TakesIntensitiesLikeTheBase) {
  request(true);

  led_base_set_intensity(light_.get(), 60);

  EXPECT_EQ(led_base_get_intensity(light_.get()), 60);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(Dummy, StoresItsAngleLikeTheBase) {
  const LightFiles files;
  files.write_state(state_text());
  light_->state_filename = g_strdup(files.state_path().c_str());
  light_->state = parsed(state_text()).release();

  led_base_set_angle_of_illumination(light_.get(), 35);

  EXPECT_EQ(led_base_get_current_angle_of_illumination(light_.get()), 35);
  EXPECT_EQ(read_file(files.state_path()), state_text({{{"zoom", "angleofillumination"}, "35"}}));
}

}  // namespace
