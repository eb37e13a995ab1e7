#pragma once

#include "drivers/led_1_i2c.h"
#include "support/mcu_light_fixture.h"

/// A board of one channel for a light of one LED, with the regulator enabled and without a sensor.
class OneChannel : public McuLight {
 protected:
  static constexpr gint kLeds = 1;
  static constexpr const char *kReadFailure = "Failed reading file";
  static constexpr bool kDimmingComesFirst = false;

  OneChannel() : McuLight{1} {
    write_file(kIllumination, "[info]\nleds=1\n[0]\n0=0;\n100=60;\n[100]\n0=0;\n100=80;\n");
    write_file(kDimming, "[regulator]\nenabled=true\nsample_time=5\n");
  }

  static LightPointer new_light() {
    auto light = board_light(LED_TYPE_1_I2C, kLeds);
    light->power_usage_factor = 0.02F;
    return light;
  }

  static bool has_table(const LightPointer &light) { return has_illumination_table(light, kLeds); }
  static std::vector<Line> said_of_the_table() { return {}; }

  /// Lets the light give @p intensity within what it is granted.
  static void set_intensity(const LightPointer &light, gint intensity) {
    light->intensity = intensity;
    led_base_recalculate_angle_of_illumination(light.get(), 0);
  }
};
