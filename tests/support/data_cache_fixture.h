#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "daemon/debug.h"
#include "drivers/data_cache.h"
#include "support/fake_data_cache.h"
#include "support/main_loop.h"
#include "support/refusing_glib.h"
#include "support/syslog_capture.h"

/// The descriptors of this process that stand for the device.
inline std::vector<int> open_devices() {
  std::vector<int> found;
  for (int descriptor = 0; descriptor < 64; ++descriptor) {
    char path[64] = {};
    const auto link = "/proc/self/fd/" + std::to_string(descriptor);
    if (readlink(link.c_str(), path, sizeof path - 1) > 0 && std::string{path} == "/dev/datacache0")
      found.push_back(descriptor);
  }
  return found;
}

inline bool is_source(guint id) { return g_main_context_find_source_by_id(nullptr, id) != nullptr; }

/// A data cache, and a subscription to its field of view that has not begun.
class DataCache : public testing::Test {
 protected:
  DataCache() {
    refusing_glib() = {};
    fake_data_cache() = {};
    FakeDataCache::plug_in();
  }

  ~DataCache() override {
    BEAMD_DEBUG_FLAG = 0;
    end();
    EXPECT_THAT(open_devices(), testing::IsEmpty());
  }

  /// Subscribes; each change is read, and what was read is kept.
  bool subscribe() {
    return view_->subscribe([this] {
      ++calls_;
      const auto degrees = view_->read();
      if (degrees)
        degrees_.push_back(*degrees);
      return degrees.has_value();
    });
  }

  /// Ends the subscription.
  void end() { view_.reset(); }

  void run_until_called(int calls) const {
    run_main_loop_until([&] { return calls_ >= calls; });
  }

  static FakeDataCache::Request last_request() { return fake_data_cache().requests.back(); }

  SyslogCapture log_;
  std::unique_ptr<FieldOfView> view_ = std::make_unique<FieldOfView>();
  int calls_ = 0;
  std::vector<float> degrees_;
};
