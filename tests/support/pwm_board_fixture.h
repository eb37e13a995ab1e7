#pragma once

#include <deque>
#include <string>
#include <vector>

#include "drivers/led_1_pwm.h"
#include "support/gpio_line_files.h"
#include "support/led_driver_fixture.h"

/// A PWM chip in sysfs whose channel is exported, without GPIO lines, and the configuration files that the
/// driver reads: for a duty cycle of 1200 less 10 a percent, and a regulator without a sensor.
class PwmBoard : public LedDriver {
 protected:
  static constexpr const char *kPwm = "/etc/beamd/pwm.conf";

  PwmBoard() {
    for (const char *name : {"/export", "/pwm1/enable", "/pwm1/period", "/pwm1/duty_cycle"})
      write_fresh_file(chip_file(name));
    write_file(kDimming, "[regulator]\nsample_time=5\n");
    write_file(kPwm, "[pwm]\nld_period=5000\nduty_high=1000\nduty_low=200\n");
    // Sensors are counted and not looked up: there is no bus here.
    fake_bootblock().value = "no";
  }

  /// A light whose hardware is that chip. Its intensities are percent, and need no grant.
  static LightPointer pwm_light() {
    auto light = make_light(LED_TYPE_1_PWM);
    light->basepath = g_strdup(chip_file("").c_str());
    light->intensity_high = 100;
    light->max_brightness_level = 100;
    light->use_power_request = FALSE;
    return light;
  }

  // Neither of these ever gives a reason.
  static bool set_up(const LightPointer &light) { return without_reason(LedDriver::set_up(light)); }
  static bool activate(const LightPointer &light, gboolean on) {
    return without_reason(LedDriver::activate(light, on));
  }

  static std::string chip_file(const std::string &name) { return "/sys/class/pwm/pwmchip0" + name; }

  /// Lets the next writes to the chip's file @p name fail, with these.
  static void fail_writes(const std::string &name, const std::deque<int> &errors) {
    attribute_writes().failures[chip_file(name)] = errors;
  }

  /// The writes since this was asked last, with paths that begin below the chip or among the GPIO lines.
  static std::vector<std::string> written() {
    auto writes = LedDriver::written();
    for (auto &write : writes)
      for (const std::string folder : {"pwm/pwmchip0", "gpio"})
        if (write.starts_with(folder))
          write.erase(0, folder.size());
    return writes;
  }

 private:
  static bool without_reason(const Outcome &outcome) {
    EXPECT_EQ(outcome.code, std::nullopt);
    return outcome.result;
  }
};

/// A light that has been set up.
class ReadyPwmLight : public PwmBoard {
 protected:
  /// Sets up the light with @p lines GPIO lines, not active low.
  void set_up_with_lines(int lines) {
    for (int line = 0; line < lines; ++line)
      make_gpio_line(light_->light_id, line);
    ASSERT_TRUE(set_up(light_));
    forget();
  }

  /// Switches it on at @p intensity, so that doing so again restarts nothing.
  void shine(gint intensity) {
    light_->intensity = intensity;
    ASSERT_TRUE(activate(light_, TRUE));
    forget();
  }

  void forget() {
    written();
    log_.clear();
  }

  LightPointer light_ = pwm_light();
};
