#pragma once

#include "drivers/led_3_i2c.h"
#include "support/mcu_light_fixture.h"

/// What the light of three outputs says when nothing tells of its optics.
inline constexpr const char *kNoOptics = "No optics bootblock parameter found - using default config";

/// A board of three outputs on a supply of PoE class 3, and a table of three angles and three intensities.
class ThreeOutputs : public McuLight {
 protected:
  static constexpr gint kLeds = 2;
  static constexpr const char *kReadFailure = "Failed reading file";
  static constexpr bool kDimmingComesFirst = true;
  static constexpr const char *kPoeClass = "/var/run/poeclass";
  static constexpr const char *kTable =
      "[info]\nangle_div=50\nintensity_div=50\n"
      "[0]\n0=4;2;\n50=20;10;\n100=40;20;\n"
      "[50]\n0=5;3;\n50=25;15;\n100=50;30;\n"
      "[100]\n0=6;4;\n50=30;20;\n100=60;40;\n";

  ThreeOutputs() : McuLight{3} {
    replace(kPoeClass, with_content("", "3"));
    write_file(kIllumination, kTable);
    write_file(kDimming, "[regulator]\nsample_time=5\n");
  }

  static LightPointer new_light() { return board_light(LED_TYPE_3_I2C, kLeds); }
  /// A light with its table.
  LightPointer ready_light() { return set_up_silently(new_light()); }

  static bool has_table(const LightPointer &light) {
    return shown_at(light, 0) == std::vector<std::string>{"40", "20", "40"};
  }
  static std::vector<Line> said_of_the_table() { return {{LOG_INFO, kNoOptics}}; }

  /// A write of what the micro-controller takes: 12 bytes, of which the text leaves zeros.
  static std::string record(int output, std::string text) {
    text.resize(12);
    return "led" + std::to_string(output) + "=" + text;
  }

  /// What the outputs 0, 1 and 2 were given last.
  static std::vector<std::string> given() {
    std::vector<std::string> texts;
    for (int output = 0; output < 3; ++output) {
      const auto content = read_file(output_file(output));
      texts.push_back(content.substr(0, content.find('\0')));
    }
    return texts;
  }

  /// What they are given when the light is switched on.
  static std::vector<std::string> shown(const LightPointer &light) {
    EXPECT_EQ(activate(light, TRUE), kDone);
    return given();
  }

  /// The same at @p angle; a negative one is the last angle given.
  static std::vector<std::string> shown_at(const LightPointer &light, gint angle) {
    led_base_recalculate_angle_of_illumination(light.get(), angle);
    return shown(light);
  }
};
