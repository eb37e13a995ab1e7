#include "led/light_control_switch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include "support/fake_bootblock.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

class LightControlSwitch : public testing::Test {
 protected:
  LightControlSwitch() { fake_bootblock() = {}; }

  SyslogCapture log_;
};

TEST_F(LightControlSwitch, IsOneBootParameter) {
  is_light_control_disabled();
  EXPECT_THAT(fake_bootblock().asked, ElementsAre("LIGHT_CONTROL_ENABLED"));
}

TEST_F(LightControlSwitch, IsOffWhenItSaysNo) {
  fake_bootblock().value = "no";
  EXPECT_TRUE(is_light_control_disabled());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightControlSwitch, IsOnWhateverElseItSays) {
  for (const char *value : {"yes", "", "No", "NO", "no ", " no", "nope", "n", "false", "0"}) {
    fake_bootblock().value = value;
    EXPECT_FALSE(is_light_control_disabled()) << value;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightControlSwitch, IsOnWhenItIsNotThere) {
  EXPECT_FALSE(is_light_control_disabled());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightControlSwitch, IsOnWhenItCannotBeRead) {
  fake_bootblock().error = EACCES;
  EXPECT_FALSE(is_light_control_disabled());
  EXPECT_FALSE(is_light_control_disabled("%m, alas"));
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO,
                               "Could not read bootblock parameter LIGHT_CONTROL_ENABLED: Permission denied"},
                          Line{LOG_INFO, "Permission denied, alas"}));
}

}  // namespace
