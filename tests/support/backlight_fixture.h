#pragma once

#include <string>
#include <vector>

#include "drivers/led_bl.h"
#include "support/gpio_line_files.h"
#include "support/milliwatt_light_fixture.h"

/// Light 2, whose LEDs are backlights: two LEDs with a GPIO line each, limits of 0 and 1000 milliwatts, and
/// the regulator enabled without a sensor.
class Backlight : public MilliwattDriver {
 protected:
  static constexpr int kLight = 2;
  static constexpr double kGranted = 1.2;
  static inline const std::vector<gint> kWanted{600, 200};

  Backlight() {
    write_dimming("enabled=true\nsample_time=5\nk_p=0.1\nref_temp=60\n");
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
    auto light = light_at(LED_TYPE_BL, "/sys/class/backlight/ir%d");
    led_base_set_light_id(light.get(), kLight);
    light->max_brightness_level = -1;
    return light;
  }

  LightPointer light_ = new_light();
};

class BacklightLight : public LightInUse<Backlight> {
 protected:
  /// Makes the light anew, with as many LEDs as @p milliwatts has, and so many lines.
  void change(const std::vector<gint> &milliwatts, int lines) {
    std::filesystem::remove_all("/sys/class/gpio");
    make_lines(lines);
    LightInUse::change(milliwatts);
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
