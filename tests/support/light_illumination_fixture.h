#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <ostream>
#include <string>

#include "led/light_error.h"
#include "support/light_setup_fixture.h"

/// A light of the base class, with a board and a table unless the test changes that.
class LightIllumination : public LightSetup {
 protected:
  static constexpr const char *kMark = "/sys/light/QXID";
  static constexpr const char *kFile = "/etc/beamd/illumination.conf";
  static constexpr const char *kTable = "[info]\nleds=2\n[0]\n0=0;0\n100=100;50\n[100]\n0=0;0\n100=50;100\n";

  LightIllumination() {
    for (const char *path : {kMark, kFile})
      std::filesystem::remove_all(path);
    write_file(kMark, "1");
    write_file(kFile, kTable);
    renew_light("/sys/light");
  }

  void renew_light(const char *basepath) {
    light_ = fresh_light(LED_TYPE_BASE);
    light_->basepath = g_strdup(basepath);
    light_->use_power_request = FALSE;
    log_.clear();
  }

  struct Result {
    bool is_fine;
    std::string error;  ///< "CODE TEXT" of an error of lights, "none"

    bool operator==(const Result &) const = default;
  };

  friend void PrintTo(const Result &result, std::ostream *stream) {
    *stream << (result.is_fine ? "fine" : "not fine") << " with error " << result.error;
  }

  /// Runs the light's own setup, without the rest of led_base_setup().
  Result probe() {
    g_autoptr(GError) error = nullptr;
    const bool is_fine = LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), &error) != FALSE;
    if (error == nullptr)
      return {is_fine, "none"};
    EXPECT_EQ(error->domain, LIGHT_CONTROL_ERROR);
    return {is_fine, std::to_string(error->code) + " " + error->message};
  }

  /// Likewise with @p text as the illumination file.
  Result probe_with(const std::string &text) {
    write_file(kFile, text);
    return probe();
  }

  bool has_table() const {
    return light_->nbr_of_leds == 2 && light_->illumination_table != nullptr &&
           light_->illumination_table[0].points != nullptr &&
           light_->illumination_table[1].points != nullptr &&
           light_->illumination_table[2].points == nullptr && light_->led_intensities != nullptr;
  }

  bool has_no_table() const {
    return light_->nbr_of_leds == 0 && light_->illumination_table == nullptr &&
           light_->led_intensities == nullptr;
  }

  static inline const Result kFine{true, "none"};
  static inline const Result kNoTable{false, "none"};
  static inline const Result kNoBoard{false, "6 No IR light PCB found"};
  static inline const Result kNoMark{false, "6 No QXID fs detected"};
};
