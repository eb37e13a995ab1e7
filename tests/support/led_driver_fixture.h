#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "daemon/debug.h"
#include "led/light_error.h"
#include "support/attribute_writes.h"
#include "support/fake_bootblock.h"
#include "support/file_access.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"
#include "support/thermal_zones.h"

/// What the driver's own operation said, apart from what it logged.
struct Outcome {
  bool result;
  std::optional<int> code;  ///< of the error, when there is one
  std::string text;

  bool operator==(const Outcome &) const = default;
};

inline const Outcome kDone = {true, std::nullopt, ""};
inline const Outcome kFailed = {false, std::nullopt, ""};

/// Failure with an error that says that there is no board.
inline Outcome refused_board(std::string reason) {
  return {false, LIGHT_CONTROL_ERROR_NO_BOARD, std::move(reason)};
}

inline void PrintTo(const Outcome &outcome, std::ostream *stream) {
  *stream << outcome.result;
  if (outcome.code)
    *stream << ", error " << *outcome.code << ": " << outcome.text;
}

/// For drivers whose lights have a file or folder per LED in /sys/class. Begins without any of them, and
/// without configuration files.
class LedDriver : public testing::Test {
 protected:
  using Line = SyslogCapture::Line;

  static constexpr const char *kIllumination = "/etc/beamd/illumination.conf";
  static constexpr const char *kDimming = "/etc/beamd/dimming.conf";

  LedDriver() {
    for (const char *folder : {"/sys/class", "/etc/beamd"})
      empty(folder);
    fake_bootblock() = {};
    attribute_writes() = {};
  }

  ~LedDriver() override {
    BEAMD_DEBUG_FLAG = 0;
    attribute_writes() = {};
  }

  static void write_led_count(const std::string &leds) {
    write_file(kIllumination, "[info]\nleds=" + leds + "\n");
  }

  static Outcome outcome_of(bool result, const GError *error) {
    if (error == nullptr)
      return {result, std::nullopt, ""};
    EXPECT_EQ(error->domain, LIGHT_CONTROL_ERROR);
    return {result, error->code, error->message};
  }

  /// The driver's own setup, without the base's.
  static Outcome set_up(const LightPointer &light) {
    g_autoptr(GError) error = nullptr;
    const bool result = LED_BASE_GET_CLASS(light.get())->setup(light.get(), &error);
    return outcome_of(result, error);
  }

  static Outcome activate(const LightPointer &light, gboolean on) {
    g_autoptr(GError) error = nullptr;
    const bool result = led_base_activate_light(light.get(), on, &error);
    return outcome_of(result, error);
  }

  /// Gives each LED an intensity of its own, which does not exceed that of the light.
  static void request(const LightPointer &light, const std::vector<gint> &intensities) {
    light->individual_intensity_support = TRUE;
    g_free(light->manual_intensities);
    light->manual_intensities = g_new(gint, intensities.size());
    std::copy(intensities.begin(), intensities.end(), light->manual_intensities);
  }

  /// Lets the light have these sensors, as if the temperature service had told.
  static void watch(const LightPointer &light, const std::vector<gint> &sensors) {
    g_free(light->temp_sensor_ids);
    light->temp_sensor_ids = g_new(gint, sensors.size());
    std::copy(sensors.begin(), sensors.end(), light->temp_sensor_ids);
    light->nbr_of_temp_sensors = static_cast<gint>(sensors.size());
  }

  /// The writes since this was asked last, without what their paths have in common.
  static std::vector<std::string> written() {
    constexpr std::string_view kCommon = "/sys/class/";
    auto writes = std::exchange(attribute_writes().tried, {});
    for (auto &write : writes)
      if (write.starts_with(kCommon))
        write.erase(0, kCommon.size());
    return writes;
  }

  static std::vector<Line> errors(const std::vector<std::string> &texts) { return lines(LOG_ERR, texts); }
  static std::vector<Line> prints(const std::vector<std::string> &texts) { return lines(LOG_INFO, texts); }

  SyslogCapture log_;

 private:
  static void empty(const char *folder) {
    if (std::getenv("BEAMD_TEST_WORK") == nullptr)
      throw std::runtime_error{"run this test with tests/support/in_sandbox"};
    std::filesystem::create_directories(folder);
    for (const auto &entry : std::filesystem::directory_iterator{folder})
      std::filesystem::remove_all(entry);
  }

  static std::vector<Line> lines(int priority, const std::vector<std::string> &texts) {
    std::vector<Line> lines;
    for (const auto &text : texts)
      lines.push_back({priority, text});
    return lines;
  }
};
