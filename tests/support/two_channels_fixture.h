#pragma once

#include "drivers/led_2_i2c.h"
#include "support/mcu_light_fixture.h"

/// A board of two channels and a table of two angles; at angle 0 and full intensity the channels give 30 and
/// 10.
class TwoChannels : public McuLight {
 protected:
  static constexpr gint kLeds = 2;
  static constexpr const char *kReadFailure = "failed reading file";
  static constexpr bool kDimmingComesFirst = false;
  static constexpr const char *kTable =
      "[info]\nleds=2\n[0]\n0=0;0;\n100=30;10;\n[100]\n0=0;0;\n100=10;30;\n";

  TwoChannels() : McuLight{2} {
    write_file(kIllumination, kTable);
    write_file(kDimming, "[regulator]\nsample_time=5\n");
  }

  static LightPointer new_light() { return board_light(LED_TYPE_2_I2C, kLeds); }

  static bool has_table(const LightPointer &light) { return has_illumination_table(light, kLeds); }
  static std::vector<Line> said_of_the_table() { return {}; }

  /// A light whose levels are those of angle 0.
  LightPointer ready_light() {
    auto light = set_up_silently(new_light());
    led_base_recalculate_angle_of_illumination(light.get(), 0);
    return light;
  }

  static void set_levels(const LightPointer &light, gint first, gint second) {
    light->led_intensities[0] = first;
    light->led_intensities[1] = second;
  }

  /// What is written when the light is switched.
  static std::vector<std::string> shown(const LightPointer &light, gboolean on = TRUE) {
    written();
    EXPECT_EQ(activate(light, on), kDone);
    return written();
  }
};
