#pragma once

#include <string>
#include <utility>
#include <vector>

#include "drivers/led_sysfs.h"
#include "support/fake_data_cache.h"
#include "support/led_driver_fixture.h"

/// A light of three LEDs, with a table and a data cache, and without dimming.conf. Needs no grant.
class SysfsLight : public LedDriver {
 protected:
  static constexpr const char *kNoDimming =
      "/etc/beamd/dimming.conf could not be found. Dimming of leds is disabled";
  static constexpr const char *kNoPath = "Failed to create path";
  static constexpr const char *kUnreadDataCache = "Failed to read HFOV from datacache";

  /// Two points at each of three angles.
  static constexpr const char *kRows =
      "[30]\n0=0;0;0;\n100=300;600;900;\n"
      "[45]\n0=0;0;0;\n100=450;1000;2000;\n"
      "[60]\n0=0;0;0;\n100=600;400;200;\n";

  SysfsLight() {
    fake_data_cache() = {};
    FakeDataCache::plug_in();
    make_leds(3);
    write_table(kRows);
    attribute_writes().tried.clear();
  }

  static std::string led_file(int led) { return "/sys/class/leds/ir" + std::to_string(led) + "/brightness"; }

  static void make_leds(int count) {
    for (int led = 0; led < count; ++led)
      write_fresh_file(led_file(led), "7");
  }

  static void write_table(const std::string &rows, int leds = 3) {
    write_file(kIllumination, "[info]\nleds=" + std::to_string(leds) + "\n" + rows);
  }

  static LightPointer new_light() {
    auto light = make_light(LED_TYPE_SYSFS);
    light->basepath = g_strdup("/sys/class/leds/ir%d/brightness");
    light->use_power_request = FALSE;
    return light;
  }

  /// Sets the light up where that has to succeed. What it wrote and logged is forgotten.
  void set_up_light() {
    EXPECT_EQ(set_up(light_), kDone);
    forget();
  }

  void set_up_with(const std::string &rows, int leds = 3) {
    write_table(rows, leds);
    set_up_light();
  }

  void forget() {
    attribute_writes().tried.clear();
    fake_data_cache().requests.clear();
    log_.clear();
  }

  /// Makes the powers for @p intensity at @p angle.
  void calculate(gint intensity, gint angle) const {
    light_->intensity = intensity;
    light_->angle_of_illumination = angle;
    led_base_recalculate_angle_of_illumination(light_.get(), angle);
  }

  /// What was written since this was asked last: texts, which have to be for the LEDs in turn from the first.
  static std::vector<std::string> texts() {
    std::vector<std::string> texts;
    for (const auto &write : std::exchange(attribute_writes().tried, {})) {
      const std::string expected = led_file(static_cast<int>(texts.size())) + "=";
      EXPECT_EQ(write.substr(0, expected.size()), expected);
      texts.push_back(write.substr(std::min(expected.size(), write.size())));
    }
    return texts;
  }

  /// What activation writes, which has to succeed.
  std::vector<std::string> activated(gboolean on = TRUE) const {
    attribute_writes().tried.clear();
    EXPECT_EQ(activate(light_, on), kDone);
    return texts();
  }

  /// Lets the next write to the file of LED @p led fail.
  static void fail_write(int led, int error) { attribute_writes().failures[led_file(led)] = {error}; }

  LightPointer light_ = new_light();
};
