#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <memory>
#include <string>
#include <vector>

#include "daemon/debug.h"
#include "led/temperature_sensors.h"
#include "support/fake_bootblock.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

/// A light with its board, and key files that name sensors.
class TemperatureSensors : public testing::Test {
 protected:
  TemperatureSensors() { fake_bootblock() = {}; }
  ~TemperatureSensors() override { BEAMD_DEBUG_FLAG = 0; }

  /// Configures the light with a key file of the given text.
  int configure(const std::string &text) {
    const std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> file{g_key_file_new(), &g_key_file_unref};
    g_autoptr(GError) error = nullptr;
    EXPECT_TRUE(g_key_file_load_from_data(file.get(), text.c_str(), text.size(), G_KEY_FILE_NONE, nullptr));
    const int count = led_base_conf_temp_sensor_ids(light_.get(), file.get(), &error);
    EXPECT_EQ(error, nullptr);
    return count;
  }

  std::vector<int> ids() const {
    return {light_->temp_sensor_ids, light_->temp_sensor_ids + light_->nbr_of_temp_sensors};
  }

  LightPointer light_ = make_light(TEST_TYPE_LIGHT);
  SyslogCapture log_;
};
