#pragma once

#include <string>
#include <vector>

#include "support/led_driver_fixture.h"

/// For drivers whose intensities are milliwatts: two LEDs.
class MilliwattDriver : public LedDriver {
 protected:
  MilliwattDriver() { write_led_count("2"); }

  static void write_dimming(const std::string &lines) { write_file(kDimming, "[regulator]\n" + lines); }

  /// A light, not set up yet, that may give all that its LEDs can: 1000 milliwatts each.
  static LightPointer light_at(GType type, const char *basepath) {
    auto light = make_light(type);
    light->basepath = g_strdup(basepath);
    light->intensity_high = 1000;
    light->intensity = 1000;
    return light;
  }

  /// Who may do what with the files of LEDs once they are given away.
  static FileAccess lights_access() { return {kFreshAccess.owner, primary_group("light"), 0664}; }
};

/// The light of @p Driver after its setup. Granted are the watts kGranted, wanted the milliwatts kWanted.
template <typename Driver>
class LightInUse : public Driver {
 protected:
  LightInUse() { prepare(this->light_, Driver::kWanted); }

  static LightPointer ready_light(const std::vector<gint> &milliwatts = Driver::kWanted) {
    auto light = Driver::new_light();
    prepare(light, milliwatts);
    return light;
  }

  /// Makes the light anew, with as many LEDs as @p milliwatts has.
  void change(const std::vector<gint> &milliwatts) {
    Driver::make_leds(static_cast<int>(milliwatts.size()));
    Driver::write_led_count(std::to_string(milliwatts.size()));
    this->light_ = ready_light(milliwatts);
  }

 private:
  static void prepare(const LightPointer &light, const std::vector<gint> &milliwatts) {
    EXPECT_EQ(Driver::set_up(light), kDone);
    light->power_intensity = Driver::kGranted;
    Driver::request(light, milliwatts);
    Driver::written();
  }
};
