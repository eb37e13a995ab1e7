#include "led/light_events.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <string>
#include <vector>

#include "support/fake_event_producer.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {

using Calls = std::vector<std::string>;
using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;

const Calls kBothOn{"prepare 1", "set state=ON", "send 1", "free",
                    "prepare 2", "set state=ON", "send 2", "free"};
const Calls kBothOff{"prepare 1", "set state=OFF", "send 1", "free",
                     "prepare 2", "set state=OFF", "send 2", "free"};
const Line kFailed{LOG_WARNING, "Failed to send event"};
const Line kTooEarly{LOG_INFO, "Event declaration process not complete. Event not sent."};

class LightEvents : public testing::Test {
 protected:
  void SetUp() override {
    fake_events() = {};
    test_light_behaviour() = {};
    led_base_set_light_id(light_.get(), 7);
    led_base_set_event_producer(light_.get(), fake_event_producer());
    light_->ledtype = g_strdup("IR");
    light_->enabled = TRUE;
    recorded_calls().clear();
  }

  void TearDown() override { EXPECT_EQ(fake_events().living_events, 0); }

  void declare() {
    light_events_declare(light_.get());
    recorded_calls().clear();
  }

  SyslogCapture log_;
  LightPointer light_ = make_light(TEST_TYPE_LIGHT);
};

TEST_F(LightEvents, AreDeclaredWithTheLightOff) {
  light_events_declare(light_.get());

  EXPECT_EQ(recorded_calls(), (Calls{"register com.velk.Event.LightStatusChanged state=OFF/4",
                                     "register com.velk.Event.LightStatus id=7/1 type=IR/4 state=OFF/4"}));
  EXPECT_EQ(light_->status_changed_decl, 1U);
  EXPECT_EQ(light_->status_decl, 2U);
}

TEST_F(LightEvents, AFailedDeclarationDoesNotPreventTheOther) {
  fake_events().failing_registrations = {"com.velk.Event.LightStatusChanged"};

  light_events_declare(light_.get());

  EXPECT_EQ(recorded_calls().size(), 2U);
  EXPECT_EQ(light_->status_changed_decl, 0U);
  EXPECT_EQ(light_->status_decl, 1U);
}

TEST_F(LightEvents, TellOnceThatTheLightIsOn) {
  declare();

  light_events_send(light_.get(), TRUE);

  EXPECT_EQ(recorded_calls(), kBothOn);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(LightEvents, TellOnceThatTheLightIsOff) {
  declare();

  light_events_send(light_.get(), FALSE);

  EXPECT_EQ(recorded_calls(), kBothOff);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(LightEvents, AFailureOfACompleteDeclarationIsAWarning) {
  declare();
  fake_events().failing_sends = {2};

  light_events_send(light_.get(), TRUE);

  EXPECT_EQ(recorded_calls(), kBothOn);
  EXPECT_EQ(log_.lines(), Lines{kFailed});
}

TEST_F(LightEvents, AFailureOfTheFirstDoesNotSkipTheSecond) {
  declare();
  fake_events().failing_sends = {1};

  light_events_send(light_.get(), TRUE);

  EXPECT_EQ(recorded_calls(), kBothOn);
  EXPECT_EQ(log_.lines(), Lines{kFailed});
}

TEST_F(LightEvents, BeforeTheDeclarationIsCompleteAFailureIsExpected) {
  declare();
  fake_events().failing_sends = {1, 2};
  fake_events().incomplete = {1, 2};

  light_events_send(light_.get(), FALSE);

  EXPECT_EQ(recorded_calls(), kBothOff);
  EXPECT_EQ(log_.lines(), (Lines{kTooEarly, kTooEarly}));
}

TEST_F(LightEvents, EachDeclarationIsAskedForItself) {
  declare();
  fake_events().failing_sends = {1, 2};
  fake_events().incomplete = {1};

  light_events_send(light_.get(), TRUE);

  EXPECT_EQ(log_.lines(), (Lines{kTooEarly, kFailed}));
}

TEST_F(LightEvents, WhatIsSentIsNotAskedForCompletion) {
  declare();
  fake_events().incomplete = {1, 2};

  light_events_send(light_.get(), TRUE);

  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(LightEvents, AnEventThatCannotBePreparedIsDropped) {
  declare();
  fake_events().failing_prepares = {1};

  light_events_send(light_.get(), TRUE);

  EXPECT_EQ(recorded_calls(), (Calls{"prepare 1", "prepare 2", "set state=ON", "send 2", "free"}));
  EXPECT_EQ(log_.lines(), Lines{kFailed});
}

TEST_F(LightEvents, AnEventWithoutItsStateIsFreedAndNotPassedOffAsSent) {
  declare();
  fake_events().failing_values = {1};

  light_events_send(light_.get(), TRUE);

  EXPECT_EQ(recorded_calls(),
            (Calls{"prepare 1", "set state=ON", "free", "prepare 2", "set state=ON", "send 2", "free"}));
  EXPECT_EQ(log_.lines(), Lines{kFailed});
}

TEST_F(LightEvents, AreWithdrawnWithTheLight) {
  declare();

  light_.reset();

  EXPECT_EQ(recorded_calls(), (Calls{"undeclare 1", "undeclare 2"}));
}

TEST_F(LightEvents, AreWithdrawnOnlyWhereTheyWereDeclared) {
  fake_events().failing_registrations = {"com.velk.Event.LightStatusChanged"};
  declare();

  light_.reset();

  EXPECT_EQ(recorded_calls(), Calls{"undeclare 1"});
}

TEST_F(LightEvents, ALightThatIsAlreadyOnSendsNone) {
  declare();
  light_->activate = TRUE;
  led_base_update_light_state(light_.get(), nullptr);
  recorded_calls().clear();

  led_base_update_light_state(light_.get(), nullptr);

  EXPECT_EQ(recorded_calls(), Calls{"activate 1"});
}

TEST_F(LightEvents, OffIsToldAfterPowerIsReleased) {
  declare();
  light_->light_on = 1;
  light_->activate = FALSE;

  led_base_update_light_state(light_.get(), nullptr);

  Calls expected{"activate 0", "request_power"};
  expected.insert(expected.end(), kBothOff.begin(), kBothOff.end());
  EXPECT_EQ(recorded_calls(), expected);
}

TEST_F(LightEvents, WithoutAnEventSystemAreNotSent) {
  led_base_set_event_producer(light_.get(), nullptr);

  light_events_declare(light_.get());
  light_events_send(light_.get(), TRUE);
  light_events_undeclare(light_.get());

  EXPECT_EQ(recorded_calls(), Calls{});
  EXPECT_EQ(log_.lines(), Lines{});
}

}  // namespace
