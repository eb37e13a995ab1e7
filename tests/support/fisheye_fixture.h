#pragma once

#include <string>
#include <vector>

#include "drivers/led_fisheye_i2c.h"
#include "support/led_driver_fixture.h"

/// A fisheye camera's light: two LEDs of up to 1000 milliwatts, and a regulator without a sensor.
class Fisheye : public LedDriver {
 protected:
  Fisheye() {
    write_led_count("2");
    write_dimming("sample_time=5\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=60\n");
    make_leds(2);
  }

  static std::string led_file(int led) { return "/sys/class/leds/fisheye" + std::to_string(led) + "/power"; }

  static void make_leds(int count) {
    for (int led = 0; led < count; ++led)
      write_fresh_file(led_file(led), "0\n");
  }

  static void write_dimming(const std::string &lines) { write_file(kDimming, "[regulator]\n" + lines); }

  static LightPointer new_light() {
    auto light = make_light(LED_TYPE_FISHEYE_I2C);
    light->basepath = g_strdup("/sys/class/leds/fisheye%d/power");
    light->intensity_high = 1000;
    light->intensity = 1000;
    return light;
  }

  LightPointer light_ = new_light();
};

/// The light after its setup, with 2 W granted, of which its LEDs want 30 and 10 mW.
class FisheyeLight : public Fisheye {
 protected:
  FisheyeLight() { prepare(light_, {30, 10}); }

  static void prepare(const LightPointer &light, const std::vector<gint> &intensities) {
    EXPECT_EQ(set_up(light), kDone);
    light->power_intensity = 2.0;
    request(light, intensities);
    written();
  }

  /// Makes the light anew, with as many LEDs as @p intensities has.
  void change(const std::vector<gint> &intensities) {
    make_leds(static_cast<int>(intensities.size()));
    write_led_count(std::to_string(intensities.size()));
    light_ = new_light();
    prepare(light_, intensities);
  }

  /// The writes that give the LEDs these milliwatts.
  static std::vector<std::string> levels(const std::vector<int> &milliwatts) {
    std::vector<std::string> writes;
    for (std::size_t led = 0; led < milliwatts.size(); ++led)
      writes.push_back("leds/fisheye" + std::to_string(led) + "/power=" + std::to_string(milliwatts[led]));
    return writes;
  }
};
