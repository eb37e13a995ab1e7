// Switching, the power grant and the angle: what happens, and in which order.

#include <gtest/gtest.h>
#include <syslog.h>

#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "led/led_base.h"
#include "led/light_error.h"
#include "support/fake_event_producer.h"
#include "support/key_files.h"
#include "support/light_files.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

// Takes the place of GLib's: the test wants to know of the sleep, not to wait for it.
void g_usleep(gulong microseconds) { recorded_calls().push_back("sleep " + std::to_string(microseconds)); }

namespace {

using Calls = std::vector<std::string>;
using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;

class LedBaseState : public testing::Test {
 protected:
  void SetUp() override {
    recorded_calls().clear();
    fake_events() = {};
    test_light_behaviour() = {};
  }

  void TearDown() override { EXPECT_EQ(fake_events().living_events, 0); }

  /// Asks for the light to be on or off, as a client does.
  void request(bool on, GError **error = nullptr) {
    recorded_calls().clear();
    light_->activate = on;
    led_base_update_light_state(light_.get(), error);
  }

  static LightPointer make_declared_light(GType type) {
    auto light = make_light(type);
    light->enabled = TRUE;
    light->event_producer = fake_event_producer();
    light->status_changed_decl = 1;
    light->status_decl = 2;
    return light;
  }

  SyslogCapture log_;
  LightPointer light_ = make_declared_light(TEST_TYPE_LIGHT);
};

TEST_F(LedBaseState, SwitchingOnActivatesThenTellsThenAsksForPower) {
  request(true);

  EXPECT_EQ(light_->light_on, 1);
  EXPECT_EQ(recorded_calls(), (Calls{"activate 1", "prepare 1", "set state=ON", "send 1", "free", "prepare 2",
                                     "set state=ON", "send 2", "free", "request_power"}));
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(LedBaseState, SwitchingOffDeactivatesThenReleasesPowerThenTells) {
  request(true);
  request(false);

  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(recorded_calls(), (Calls{"activate 0", "request_power", "prepare 1", "set state=OFF", "send 1",
                                     "free", "prepare 2", "set state=OFF", "send 2", "free"}));
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(LedBaseState, TheLightIsOnWhenItAsksForPowerAndOffWhenItReleasesIt) {
  const ChangedSlots slots{light_.get()};
  slots->request_power = [](LedBase *light) {
    recorded_calls().push_back("request_power with light_on " + std::to_string(light->light_on));
  };

  request(true);
  EXPECT_EQ(recorded_calls().back(), "request_power with light_on 1");

  request(false);
  EXPECT_EQ(recorded_calls().at(1), "request_power with light_on 0");
}

TEST_F(LedBaseState, ASecondOnWritesTheHardwareButSendsNoEvent) {
  request(true);
  request(true);

  EXPECT_EQ(light_->light_on, 1);
  EXPECT_EQ(recorded_calls(), Calls{"activate 1"});
}

TEST_F(LedBaseState, AnOffOfADarkLightWritesTheHardwareButSendsNoEvent) {
  request(false);

  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(recorded_calls(), Calls{"activate 0"});
}

TEST_F(LedBaseState, WithoutPowerRequestsNoPowerIsAskedForOrReleased) {
  light_->use_power_request = FALSE;

  request(true);
  EXPECT_EQ(recorded_calls(), (Calls{"activate 1", "prepare 1", "set state=ON", "send 1", "free", "prepare 2",
                                     "set state=ON", "send 2", "free"}));
  request(false);
  EXPECT_EQ(recorded_calls(), (Calls{"activate 0", "prepare 1", "set state=OFF", "send 1", "free",
                                     "prepare 2", "set state=OFF", "send 2", "free"}));
}

TEST_F(LedBaseState, ALightThatIsNotEnabledStaysDark) {
  light_->enabled = FALSE;

  request(true);

  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(recorded_calls(), Calls{"activate 0"});
}

TEST_F(LedBaseState, DisablingALightSwitchesItOff) {
  request(true);
  light_->enabled = FALSE;

  request(true);

  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(recorded_calls().front(), "activate 0");
}

TEST_F(LedBaseState, AFailureToActivateIsLoggedAndChangesNothing) {
  test_light_behaviour().activate_result = false;
  test_light_behaviour().activate_error = LIGHT_CONTROL_ERROR_NO_BOARD;
  g_autoptr(GError) error = nullptr;

  request(true, &error);

  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(recorded_calls(), Calls{"activate 1"});
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Unable to activate light"}}));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code, LIGHT_CONTROL_ERROR_NO_BOARD);
}

TEST_F(LedBaseState, AFailureToRefreshALitLightLeavesItOn) {
  request(true);
  test_light_behaviour().activate_result = false;

  request(true);

  EXPECT_EQ(light_->light_on, 1);
  EXPECT_EQ(recorded_calls(), Calls{"activate 1"});
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Unable to activate light"}}));
}

TEST_F(LedBaseState, AFailureToDeactivateIsLoggedAndChangesNothing) {
  request(true);
  test_light_behaviour().activate_result = false;

  request(false);

  EXPECT_EQ(light_->light_on, 1);
  EXPECT_EQ(recorded_calls(), Calls{"activate 0"});
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Unable to deactivate light"}}));
}

TEST_F(LedBaseState, ALightWithoutActivateLightCanNeverBeSwitchedOn) {
  const ChangedSlots slots{light_.get()};
  slots->activate_light = nullptr;
  g_autoptr(GError) error = nullptr;

  request(true, &error);
  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(recorded_calls(), Calls{});
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Unable to activate light"}}));
  EXPECT_EQ(error, nullptr);

  log_.clear();
  request(false);
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Unable to deactivate light"}}));
}

TEST_F(LedBaseState, ABareBaseLightCanNeverBeSwitchedOn) {
  light_ = make_declared_light(LED_TYPE_BASE);

  request(true);

  EXPECT_EQ(light_->light_on, 0);
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Unable to activate light"}}));
}

TEST_F(LedBaseState, AGrantIsStoredAndAppliedToALitLight) {
  light_->light_on = 1;
  light_->angle_of_illumination = 30;

  led_base_set_power_intensity(light_.get(), 4.5);

  EXPECT_EQ(light_->power_intensity, 4.5);
  EXPECT_EQ(recorded_calls(), (Calls{"recalculate 30", "activate 1"}));
}

TEST_F(LedBaseState, AGrantDoesNotLightADarkLight) {
  light_->angle_of_illumination = 30;

  led_base_set_power_intensity(light_.get(), 4.5);

  EXPECT_EQ(light_->power_intensity, 4.5);
  EXPECT_EQ(recorded_calls(), Calls{"recalculate 30"});
}

TEST_F(LedBaseState, AGrantOnALightWithoutSlotsIsStored) {
  light_ = make_light(TEST_TYPE_BARE_LIGHT);
  light_->light_on = 1;

  led_base_set_power_intensity(light_.get(), 4.5);

  EXPECT_EQ(light_->power_intensity, 4.5);
}

TEST_F(LedBaseState, ALowerGrantWaitsForTheRampDownOnceTheLevelsAreWritten) {
  light_->light_on = 1;
  light_->rampdown_time = 250'000;
  light_->power_intensity = 5.0;

  led_base_set_power_intensity(light_.get(), 4.5);

  EXPECT_EQ(recorded_calls(), (Calls{"recalculate 0", "activate 1", "sleep 250000"}));
}

TEST_F(LedBaseState, AnEqualOrHigherGrantReturnsAtOnce) {
  light_->rampdown_time = 250'000;
  light_->power_intensity = 5.0;

  led_base_set_power_intensity(light_.get(), 5.0);
  led_base_set_power_intensity(light_.get(), 5.5);

  EXPECT_EQ(recorded_calls(), (Calls{"recalculate 0", "recalculate 0"}));
}

TEST_F(LedBaseState, ANegativeRampDownTimeMeansNoSleep) {
  light_->rampdown_time = -1;
  light_->power_intensity = 5.0;

  led_base_set_power_intensity(light_.get(), 4.5);

  EXPECT_EQ(recorded_calls(), Calls{"recalculate 0"});
}

TEST_F(LedBaseState, AGrantThatIsNoNumberIsAsNoPower) {
  light_->rampdown_time = 250'000;
  light_->power_intensity = 5.0;
  const double no_number = std::numeric_limits<double>::quiet_NaN();

  led_base_set_power_intensity(light_.get(), no_number);
  EXPECT_EQ(recorded_calls(), (Calls{"recalculate 0", "sleep 250000"}));

  led_base_set_power_intensity(light_.get(), 0.0);
  EXPECT_EQ(recorded_calls().back(), "recalculate 0");
}

TEST_F(LedBaseState, ADriversOwnGrantReplacesTheBasesButNotTheSleep) {
  const ChangedSlots slots{light_.get()};
  slots->set_power_intensity = [](LedBase *light, gdouble watts) {
    recorded_calls().push_back("grant " + std::to_string(watts));
    light->power_intensity = watts;
  };
  light_->light_on = 1;
  light_->rampdown_time = 250'000;
  light_->power_intensity = 5.0;

  led_base_set_power_intensity(light_.get(), 4.5);

  EXPECT_EQ(recorded_calls(), (Calls{"grant 4.500000", "sleep 250000"}));
}

TEST_F(LedBaseState, ADriverThatKeepsItsPowerNeedsNoRampDown) {
  const ChangedSlots slots{light_.get()};
  slots->set_power_intensity = [](LedBase *, gdouble) {};
  light_->rampdown_time = 250'000;
  light_->power_intensity = 5.0;

  led_base_set_power_intensity(light_.get(), 4.5);

  EXPECT_EQ(light_->power_intensity, 5.0);
  EXPECT_EQ(recorded_calls(), Calls{});
}

class LedBaseAngle : public LedBaseState {
 protected:
  void SetUp() override {
    LedBaseState::SetUp();
    files_.write_state("[common]\nintensity=80\n\n[zoom]\nangleofillumination=50\n");
    light_->state_filename = g_strdup(files_.state_path().c_str());
    light_->state = parsed(read_file(files_.state_path())).release();
  }

  LightFiles files_;
};

TEST_F(LedBaseAngle, OfALitLightIsAppliedAndStored) {
  light_->light_on = 1;

  led_base_set_angle_of_illumination(light_.get(), 35);

  EXPECT_EQ(light_->angle_of_illumination, 35);
  EXPECT_EQ(recorded_calls(), (Calls{"recalculate 35", "request_power", "activate 1"}));
  EXPECT_EQ(read_file(files_.state_path()), "[common]\nintensity=80\n\n[zoom]\nangleofillumination=35\n");
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(LedBaseAngle, OfADarkLightIsRecalculatedAndStored) {
  led_base_set_angle_of_illumination(light_.get(), 35);

  EXPECT_EQ(recorded_calls(), Calls{"recalculate 35"});
  EXPECT_EQ(read_file(files_.state_path()), "[common]\nintensity=80\n\n[zoom]\nangleofillumination=35\n");
}

TEST_F(LedBaseAngle, IsStoredBeforeAnybodyElseIsAsked) {
  const ChangedSlots slots{light_.get()};
  slots->recalculate_angle_of_illumination = [](LedBase *light, gint) {
    recorded_calls().push_back("recalculate with " + std::to_string(light->angle_of_illumination));
  };

  led_base_set_angle_of_illumination(light_.get(), 35);

  EXPECT_EQ(recorded_calls(), Calls{"recalculate with 35"});
}

TEST_F(LedBaseAngle, WithoutPowerRequestsAsksForNoPower) {
  light_->light_on = 1;
  light_->use_power_request = FALSE;

  led_base_set_angle_of_illumination(light_.get(), 35);

  EXPECT_EQ(recorded_calls(), (Calls{"recalculate 35", "activate 1"}));
}

TEST_F(LedBaseAngle, WithoutTheDriversSlotsIsStoredAllTheSame) {
  const ChangedSlots slots{light_.get()};
  slots->recalculate_angle_of_illumination = nullptr;
  slots->request_power = nullptr;
  slots->activate_light = nullptr;
  light_->light_on = 1;

  led_base_set_angle_of_illumination(light_.get(), 35);

  EXPECT_EQ(light_->angle_of_illumination, 35);
  EXPECT_EQ(read_file(files_.state_path()), "[common]\nintensity=80\n\n[zoom]\nangleofillumination=35\n");
}

TEST_F(LedBaseAngle, ThatCannotBeStoredIsAppliedAllTheSame) {
  std::filesystem::remove(files_.state_path());
  light_->light_on = 1;

  led_base_set_angle_of_illumination(light_.get(), 35);

  EXPECT_EQ(light_->angle_of_illumination, 35);
  EXPECT_EQ(recorded_calls(), (Calls{"recalculate 35", "request_power", "activate 1"}));
  EXPECT_EQ(g_key_file_get_integer(light_->state, "zoom", "angleofillumination", nullptr), 35);
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Store state failed: readlink"}}));
}

TEST_F(LedBaseAngle, OfALightWithoutFilesIsApplied) {
  g_clear_pointer(&light_->state, g_key_file_unref);
  g_clear_pointer(&light_->state_filename, g_free);

  led_base_set_angle_of_illumination(light_.get(), 35);

  EXPECT_EQ(light_->angle_of_illumination, 35);
}

}  // namespace
