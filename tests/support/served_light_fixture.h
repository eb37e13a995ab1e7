#pragma once

#include <memory>

#include "led/led_interface.h"
#include "led/light_error.h"
#include "support/light_setup_fixture.h"
#include "support/published_light.h"

inline constexpr const char *kCommon = LED_INTERFACE_COMMON;
inline constexpr const char *kPower = LED_INTERFACE_POWER;
inline constexpr const char *kZoom = LED_INTERFACE_ZOOM;

/// What a light without its board, and one without enough power, answer.
inline const LightReply kNoBoard = refused(LIGHT_CONTROL_ERROR_NO_BOARD, "No IR light PCB found");
inline const LightReply kWrongPoe = refused(LIGHT_CONTROL_ERROR_WRONG_POE, "Wrong poe");
inline const LightReply kNoAngle =
    refused(LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Angle of illumination is not supported");
inline const LightReply kInvalidIntensity =
    refused(LIGHT_CONTROL_ERROR_INVALID_INTENSITY, "Invalid Intensity. Intensity is not set");
inline const LightReply kInvalidAngle = refused(
    LIGHT_CONTROL_ERROR_INVALID_ANGLE, "Invalid Angle of illumination. Angle of illumination is not set");

/// A light that was set up and stands on the bus. The calls that its setup recorded and its lines are
/// cleared.
class ServedLight : public LightSetup {
 protected:
  void SetUp() override { serve({}); }

  /// Starts over with a light of @p type, and with @p overrides in its state file.
  void serve(const StateOverrides &overrides, GType type = TEST_TYPE_LIGHT) {
    bus_.reset();
    light_ = fresh_light(type);
    ASSERT_TRUE(set_up_with(overrides));
    bus_ = std::make_unique<PublishedLight>(light_.get());
    recorded_calls().clear();
    log_.clear();
    mark_state_file();
  }

  /// A remark that goes when the file is written anew.
  void mark_state_file() { files_.write_state(kRemark + read_file(files_.state_path())); }
  bool state_file_was_written() const { return !read_file(files_.state_path()).starts_with(kRemark); }

  /// The value that stands in the state file now.
  std::string stored(const char *group, const char *key) const {
    g_autoptr(GKeyFile) file = g_key_file_new();
    g_key_file_load_from_file(file, files_.state_path().c_str(), G_KEY_FILE_NONE, nullptr);
    g_autofree gchar *value = g_key_file_get_value(file, group, key, nullptr);
    return value != nullptr ? value : "absent";
  }

  std::unique_ptr<PublishedLight> bus_;

 private:
  static inline const std::string kRemark = "# written by the test\n";
};
