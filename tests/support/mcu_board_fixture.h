#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <filesystem>
#include <string>
#include <vector>

#include "daemon/debug.h"
#include "support/light_files.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

/// The attribute files of a board behind a micro-controller, at /sys/light, and the configuration files that
/// its driver reads: for a light of one LED, with the regulator enabled and without a sensor.
class McuBoard : public testing::Test {
 protected:
  static constexpr const char *kMark = "/sys/light/QXID";
  static constexpr const char *kChannel = "/sys/light/led0";
  static constexpr const char *kIllumination = "/etc/beamd/illumination.conf";
  static constexpr const char *kDimming = "/etc/beamd/dimming.conf";

  McuBoard() {
    for (const char *path : {"/sys/light", kIllumination, kDimming})
      std::filesystem::remove_all(path);
    write_file(kMark, "1");
    write_file(kChannel, "");
    write_file(kIllumination, "[info]\nleds=1\n[0]\n0=0;\n100=60;\n[100]\n0=0;\n100=80;\n");
    write_file(kDimming, "[regulator]\nenabled=true\nsample_time=5\n");
  }

  ~McuBoard() override { BEAMD_DEBUG_FLAG = 0; }

  /// A light of @p type whose hardware is that board.
  static LightPointer board_light(GType type) {
    auto light = make_light(type);
    light->basepath = g_strdup("/sys/light");
    return light;
  }

  /// The driver's own setup, without the base's.
  static bool set_up(const LightPointer &light, GError **error = nullptr) {
    return LED_BASE_GET_CLASS(light.get())->setup(light.get(), error);
  }

  SyslogCapture log_;
};
