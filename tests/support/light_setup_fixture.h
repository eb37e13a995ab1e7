#pragma once

#include <gtest/gtest.h>
#include <syslog.h>

#include <filesystem>
#include <string>
#include <vector>

#include "daemon/debug.h"
#include "led/led_setup.h"
#include "support/light_files.h"
#include "support/private_bus.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

/// A light that is ready for led_base_setup(), with the files of light 0. What is set up meets a system bus
/// on which nobody is.
class LightSetup : public testing::Test {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  LightSetup() {
    recorded_calls().clear();
    test_light_behaviour() = {};
    test_light_behaviour().setup_leds = 2;
    files_.write_state(state_text());
    files_.write_defaults("[common]\nbasepath=/sys/light\n");
  }

  ~LightSetup() override { BEAMD_DEBUG_FLAG = 0; }

  static LightPointer fresh_light(GType type = TEST_TYPE_LIGHT) {
    return LightPointer{LED_BASE(g_object_new(type, nullptr)), &g_object_unref};
  }

  bool set_up() { return led_base_setup(light_.get(), nullptr); }

  bool set_up_with(const StateOverrides &overrides) {
    files_.write_state(state_text(overrides));
    return set_up();
  }

  std::vector<std::string> logged_at(int priority) const {
    std::vector<std::string> texts;
    for (const auto &line : log_.lines())
      if (line.priority == priority)
        texts.push_back(line.text);
    return texts;
  }

  LightFiles files_;
  SyslogCapture log_;
  LightPointer light_ = fresh_light();
};
