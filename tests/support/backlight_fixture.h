#pragma once

#include <string>
#include <vector>

#include "drivers/led_bl.h"
#include "support/gpio_line_files.h"
#include "support/led_driver_fixture.h"

/// Light 2, whose LEDs are backlights: two LEDs with a GPIO line each, limits of 0 and 1000 milliwatts, and
/// the regulator enabled without a sensor.
class Backlight : public LedDriver {
 protected:
  static constexpr int kLight = 2;

  Backlight() {
    write_led_count("2");
    write_file(kDimming, "[regulator]\nenabled=true\nsample_time=5\nk_p=0.1\nref_temp=60\n");
    make_leds(2);
    make_lines(2);
  }

  static std::string led_file(int led, const std::string &name) {
    return "/sys/class/backlight/ir" + std::to_string(led) + "/" + name;
  }

  static void make_leds(int count) {
    for (int led = 0; led < count; ++led)
      for (const char *name : {"bl_power", "brightness"})
        write_fresh_file(led_file(led, name));
  }

  static void make_lines(int count) {
    for (int line = 0; line < count; ++line)
      make_gpio_line(kLight, line);
  }

  static LightPointer new_light() {
    auto light = make_light(LED_TYPE_BL);
    led_base_set_light_id(light.get(), kLight);
    light->basepath = g_strdup("/sys/class/backlight/ir%d");
    light->max_brightness_level = -1;
    light->intensity_high = 1000;
    light->intensity = 1000;
    return light;
  }

  LightPointer light_ = new_light();
};

/// The light after its setup, with 1.2 W granted, of which its LEDs want 600 and 200 mW.
class BacklightLight : public Backlight {
 protected:
  BacklightLight() { prepare(light_, {600, 200}); }

  static void prepare(const LightPointer &light, const std::vector<gint> &intensities) {
    EXPECT_EQ(set_up(light), kDone);
    light->power_intensity = 1.2;
    request(light, intensities);
    written();
  }

  /// Makes the light anew, with as many LEDs as @p intensities has, and so many lines.
  void change(const std::vector<gint> &intensities, int lines) {
    std::filesystem::remove_all("/sys/class/gpio");
    make_lines(lines);
    make_leds(static_cast<int>(intensities.size()));
    write_led_count(std::to_string(intensities.size()));
    light_ = new_light();
    prepare(light_, intensities);
  }

  static std::string brightness(int led, int value) {
    return "backlight/ir" + std::to_string(led) + "/brightness=" + std::to_string(value);
  }

  static std::string line(int line, int value) {
    return "gpio/ir_led_2_" + std::to_string(line) + "/value=" + std::to_string(value);
  }

  /// What is written to switch a light of two LEDs off.
  static std::vector<std::string> darkness() {
    return {line(0, 0), brightness(0, 0), line(1, 0), brightness(1, 0)};
  }

  /// What is written to switch it on.
  static std::vector<std::string> brightness_of_both(int first, int second) {
    return {brightness(0, first), line(0, first != 0), brightness(1, second), line(1, second != 0)};
  }
};
