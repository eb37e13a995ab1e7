#pragma once

#include <string>

#include "support/led_sysfs_fixture.h"
#include "support/temperature_service.h"

/// A light of attribute files before its setup, with a temperature service that knows no sensor.
class SysfsSetup : public SysfsLight {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  static FileAccess given_access() { return {kFreshAccess.owner, primary_group("light"), 0664}; }

  /// How many of the LEDs' files have been given, in their order; the others must be as they were.
  static int given_files() {
    int given = 0;
    for (int led = 0; led < 3 && std::filesystem::is_regular_file(led_file(led)); ++led)
      if (access_of(led_file(led)) == given_access() && given == led)
        ++given;
      else
        EXPECT_EQ(access_of(led_file(led)), kFreshAccess) << led;
    return given;
  }

  /// Nothing that comes after the table was begun.
  static void expect_untouched() {
    EXPECT_EQ(given_files(), 0);
    EXPECT_THAT(attribute_writes().tried, testing::IsEmpty());
    EXPECT_THAT(fake_data_cache().requests, testing::IsEmpty());
  }

  /// The rows: angle, then each intensity with its milliwatts.
  std::string table_text() const {
    std::string text;
    for (const IlluminationRow *row = light_->illumination_table; row->points != nullptr; ++row) {
      text += "[" + std::to_string(row->angle) + "]";
      for (const IlluminationPoint *point = row->points; point->levels != nullptr; ++point) {
        text += " " + std::to_string(point->intensity) + ":";
        for (int led = 0; led < light_->nbr_of_leds; ++led)
          text += " " + std::to_string(point->levels[led]);
      }
      text += "\n";
    }
    return text;
  }

  void expect_wrong_count(int found, int expected) const {
    EXPECT_THAT(
        log_.lines(),
        testing::ElementsAre(
            Line{LOG_INFO, kNoDimming},
            Line{LOG_ERR, "Wrong number of leds found in /etc/beamd/illumination.conf. Found " +
                              std::to_string(found) + " leds, should be " + std::to_string(expected)}));
  }

  TemperatureService service_;
};
