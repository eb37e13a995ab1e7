#pragma once

#include <string>
#include <vector>

#include "drivers/led_fisheye_i2c.h"
#include "support/milliwatt_light_fixture.h"

/// A fisheye camera's light: two LEDs of up to 1000 milliwatts, and a regulator without a sensor.
class Fisheye : public MilliwattDriver {
 protected:
  static constexpr double kGranted = 2.0;
  static inline const std::vector<gint> kWanted{30, 10};

  Fisheye() {
    write_dimming("sample_time=5\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=60\n");
    make_leds(2);
  }

  static std::string led_file(int led) { return "/sys/class/leds/fisheye" + std::to_string(led) + "/power"; }

  static void make_leds(int count) {
    for (int led = 0; led < count; ++led)
      write_fresh_file(led_file(led), "0\n");
  }

  static LightPointer new_light() {
    return light_at(LED_TYPE_FISHEYE_I2C, "/sys/class/leds/fisheye%d/power");
  }

  LightPointer light_ = new_light();
};

class FisheyeLight : public LightInUse<Fisheye> {
 protected:
  /// The writes that give the LEDs these milliwatts.
  static std::vector<std::string> levels(const std::vector<int> &milliwatts) {
    std::vector<std::string> writes;
    for (std::size_t led = 0; led < milliwatts.size(); ++led)
      writes.push_back("leds/fisheye" + std::to_string(led) + "/power=" + std::to_string(milliwatts[led]));
    return writes;
  }
};
