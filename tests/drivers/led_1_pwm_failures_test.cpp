// What the PWM light makes of files that cannot be opened or written.

#include "support/pwm_board_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Led1PwmFailures : public ReadyPwmLight {
 protected:
  /// Makes a folder of the file, which then cannot be opened for writing.
  static void close_file(const std::string &path) {
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
  }

  static void open_file(const std::string &path) {
    std::filesystem::remove(path);
    write_file(path, "");
  }

  static Line not_opened(const std::string &purpose) {
    return {LOG_WARNING,
            "Failed to open pwm1 " + purpose + " fd for led 0 (/sys/class/pwm/pwmchip0/pwm1/enable),(21)"};
  }

  static Line not_written(const std::string &purpose, int error) {
    return {LOG_ERR, "Write failure to led 0 (pwm " + purpose + ")(" + std::to_string(error) + ")"};
  }

  const Line no_duty_cycle_ = {
      LOG_WARNING, "Failed to open fd for /pwm1/duty_cycle (/sys/class/pwm/pwmchip0/pwm1/duty_cycle)(21)"};
};

TEST_F(Led1PwmFailures, IsNotSwitchedOnWithoutTheDutyCycle) {
  set_up_with_lines(1);
  light_->intensity = 30;
  close_file(chip_file("/pwm1/duty_cycle"));
  EXPECT_FALSE(activate(light_, TRUE));
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_THAT(log_.lines(), ElementsAre(no_duty_cycle_));
}

TEST_F(Led1PwmFailures, IsNotSwitchedOnWithoutThePeriod) {
  set_up_with_lines(1);
  light_->intensity = 30;
  std::filesystem::remove(chip_file("/pwm1/period"));
  EXPECT_FALSE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900"));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING,
                                             "Failed to open fd for /pwm1/period "
                                             "(/sys/class/pwm/pwmchip0/pwm1/period)(2)"}));
}

TEST_F(Led1PwmFailures, BrightnessThatCouldNotBeWrittenIsNotRemembered) {
  set_up_with_lines(0);
  light_->intensity = 30;
  close_file(chip_file("/pwm1/period"));
  EXPECT_FALSE(activate(light_, TRUE));
  open_file(chip_file("/pwm1/period"));
  forget();
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=0",
                                     "/pwm1/enable=1", "/pwm1/enable=1"));
}

TEST_F(Led1PwmFailures, LightIsSwitchedAlthoughTheTimesAreNotTaken) {
  set_up_with_lines(1);
  shine(30);
  const std::vector<Line> complaints = {{LOG_ERR, "Write failure to /pwm1/duty_cycle (22)"},
                                        {LOG_ERR, "Write failure to /pwm1/period (16)"}};
  fail_writes("/pwm1/duty_cycle", {EINVAL, EINVAL});
  fail_writes("/pwm1/period", {EBUSY, EBUSY});
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(),
              ElementsAre("/pwm1/duty_cycle!", "/pwm1/period!", "/pwm1/enable=1", "/ir_led_0_0/value=1"));
  EXPECT_EQ(log_.lines(), complaints);

  log_.clear();
  EXPECT_TRUE(activate(light_, FALSE));
  EXPECT_THAT(written(),
              ElementsAre("/ir_led_0_0/value=0", "/pwm1/duty_cycle!", "/pwm1/period!", "/pwm1/enable=0"));
  EXPECT_EQ(log_.lines(), complaints);
}

TEST_F(Led1PwmFailures, RestartThatCannotBeOpenedIsNotRepeated) {
  set_up_with_lines(0);
  light_->intensity = 30;
  close_file(chip_file("/pwm1/enable"));
  EXPECT_FALSE(activate(light_, TRUE));
  EXPECT_THAT(log_.lines(), ElementsAre(not_opened("reenable"), not_opened("enable"), not_opened("disable")));

  open_file(chip_file("/pwm1/enable"));
  forget();
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=1"));
}

TEST_F(Led1PwmFailures, RestartFailsWhenNeitherWriteIsTaken) {
  set_up_with_lines(0);
  light_->intensity = 30;
  fail_writes("/pwm1/enable", {EIO, EINVAL});
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(log_.lines(), ElementsAre(not_written("disable", EINVAL)));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable!",
                                     "/pwm1/enable!", "/pwm1/enable=1"));

  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=1"))
      << "it is not repeated either";
}

TEST_F(Led1PwmFailures, RestartIsContentWithOneWriteOrABusyChannel) {
  set_up_with_lines(0);
  constexpr int kTaken = 0;
  for (const std::deque<int> &errors :
       {std::deque{EIO}, {kTaken, EIO}, {EBUSY, EBUSY}, {EBUSY, EIO}, {EIO, EBUSY}}) {
    light_->intensity += 10;
    fail_writes("/pwm1/enable", errors);
    EXPECT_TRUE(activate(light_, TRUE));
    EXPECT_THAT(log_.lines(), IsEmpty());
    EXPECT_THAT(written(), testing::SizeIs(5));
  }
}

TEST_F(Led1PwmFailures, WhatCannotBeEnabledIsDisabled) {
  set_up_with_lines(0);
  shine(30);
  fail_writes("/pwm1/enable", {EIO});
  EXPECT_FALSE(activate(light_, TRUE));
  EXPECT_THAT(written(),
              ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable!", "/pwm1/enable=0"));
  EXPECT_THAT(log_.lines(), ElementsAre(not_written("enable", EIO)));
}

TEST_F(Led1PwmFailures, DisablingIsTriedOnce) {
  set_up_with_lines(0);
  shine(30);
  fail_writes("/pwm1/enable", {EIO, ENODEV});
  EXPECT_FALSE(activate(light_, TRUE));
  EXPECT_THAT(log_.lines(), ElementsAre(not_written("enable", EIO), not_written("disable", ENODEV)));
  EXPECT_THAT(written(),
              ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable!", "/pwm1/enable!"));
}

TEST_F(Led1PwmFailures, BusyChannelCountsAsEnabledAndAsDisabled) {
  set_up_with_lines(0);
  shine(30);
  fail_writes("/pwm1/enable", {EBUSY, EBUSY});
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_TRUE(activate(light_, FALSE));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led1PwmFailures, LineThatCannotBeDrivenDisablesTheChannel) {
  set_up_with_lines(3);
  shine(30);
  close_file(gpio_file(0, 1, "value"));
  EXPECT_FALSE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=1",
                                     "/ir_led_0_0/value=1", "/pwm1/enable=0"));
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_WARNING, "Failed to open value fd for led 0 (/sys/class/gpio/ir_led_0_1/value)"}));
}

TEST_F(Led1PwmFailures, EveryFailureOfALineEndsSwitchingOn) {
  light_->light_id = 2;
  set_up_with_lines(1);
  shine(30);
  const auto active_low = gpio_file(2, 0, "active_low");
  const auto fails_with = [this](const Line &line) {
    log_.clear();
    EXPECT_FALSE(activate(light_, TRUE));
    EXPECT_EQ(written().back(), "/pwm1/enable=0");
    EXPECT_THAT(log_.lines(), ElementsAre(line));
  };

  std::filesystem::remove(active_low);
  fails_with({LOG_WARNING, "Failed to open active_low fd for led 2 (" + active_low + ")"});
  std::filesystem::create_directory(active_low);
  fails_with({LOG_ERR, "Read failure for led 2 (active_low)"});
  open_file(active_low);
  fails_with({LOG_ERR, "Read failure for led 2 (active_low)"});

  write_file(active_low, "0\n");
  attribute_writes().failures[gpio_file(2, 0, "value")] = {EPERM};
  fails_with({LOG_ERR, "Write failure to led 2 (value)"});
  EXPECT_TRUE(activate(light_, TRUE));
}

TEST_F(Led1PwmFailures, LightIsDisabledAlthoughALineCannotBeDriven) {
  set_up_with_lines(1);
  shine(30);
  std::filesystem::remove(gpio_file(0, 0, "value"));
  EXPECT_FALSE(activate(light_, FALSE));
  EXPECT_EQ(written().back(), "/pwm1/enable=0");
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_WARNING, "Failed to open value fd for led 0 (/sys/class/gpio/ir_led_0_0/value)"}));
}

TEST_F(Led1PwmFailures, LightIsDisabledAlthoughDarknessCannotBeWritten) {
  set_up_with_lines(1);
  shine(30);
  close_file(chip_file("/pwm1/duty_cycle"));
  EXPECT_FALSE(activate(light_, FALSE));
  EXPECT_THAT(written(), ElementsAre("/ir_led_0_0/value=0", "/pwm1/enable=0"));
  EXPECT_THAT(log_.lines(), ElementsAre(no_duty_cycle_));
}

TEST_F(Led1PwmFailures, LightIsNotOffUntilItIsDisabled) {
  set_up_with_lines(1);
  shine(30);
  fail_writes("/pwm1/enable", {EIO});
  EXPECT_FALSE(activate(light_, FALSE));
  EXPECT_THAT(log_.lines(), ElementsAre(not_written("disable", EIO)));

  log_.clear();
  close_file(chip_file("/pwm1/enable"));
  EXPECT_FALSE(activate(light_, FALSE));
  EXPECT_THAT(log_.lines(), ElementsAre(not_opened("disable")));
}

TEST_F(Led1PwmFailures, LeaveNoFileOpen) {
  set_up_with_lines(2);
  const auto open_files = [] {
    const std::filesystem::directory_iterator all{"/proc/self/fd"};
    return std::distance(begin(all), end(all));
  };
  const auto before = open_files();
  for (const gint intensity : {30, 40}) {
    light_->intensity = intensity;
    fail_writes("/pwm1/enable", {EIO, EIO, EIO});
    EXPECT_FALSE(activate(light_, TRUE));
    fail_writes("/pwm1/duty_cycle", {EIO});
    EXPECT_TRUE(activate(light_, FALSE));
  }
  EXPECT_EQ(open_files(), before);
}

}  // namespace
